// What the sessions of all protocols that read mailboxes have in common.
#pragma once

#include <brennox/Flags.h>
#include <brennox/Object.h>

#include <cstdint>
#include <memory>

namespace brennox {

class String;
namespace net {
class Settings;
}

// The settings of an account. They may be changed from any thread, also while an operation runs,
// and take effect with the next connection. Strings are null unless set.
class BRENNOX_EXPORT Session : public Object {
 public:
  ~Session() override;

  virtual String* hostname();
  virtual void setHostname(String* hostname);
  // 0 is the protocol's own port for the connection type.
  virtual unsigned int port();
  virtual void setPort(unsigned int port);
  virtual String* username();
  virtual void setUsername(String* username);
  virtual String* password();
  virtual void setPassword(String* password);
  virtual String* OAuth2Token();
  virtual void setOAuth2Token(String* token);
  virtual AuthType authType();
  virtual void setAuthType(AuthType type);
  virtual ConnectionType connectionType();
  virtual void setConnectionType(ConnectionType type);
  virtual bool isCheckCertificateEnabled();
  virtual void setCheckCertificateEnabled(bool enabled);
  virtual bool isStrictGost();
  virtual void setStrictGost(bool strict);
  // Seconds without progress before an operation fails with ErrorConnection. So does one whose
  // answer has come in at less than 64 bytes a second through four times as many.
  virtual std::int64_t timeout();
  virtual void setTimeout(std::int64_t seconds);

 protected:
  Session();
  // Has the settings of `other`; what is set on one shows on both.
  explicit Session(Session* other);

  net::Settings& settings() { return *settings_; }

 private:
  std::shared_ptr<net::Settings> settings_;
};

}  // namespace brennox
