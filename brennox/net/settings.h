// The settings that the sessions of all protocols share.
#pragma once

#include <brennox/Flags.h>
#include <brennox/Ref.h>
#include <brennox/String.h>

#include <cstdint>
#include <mutex>

#include "net/Stream.h"
#include "net/sasl.h"

namespace brennox::net {

// May be changed from any thread while an operation runs; what an operation takes from here is a
// snapshot. Strings read as null where nothing was set.
class Settings {
 public:
  String* hostname() { return get(hostname_).autoreleased(); }
  void setHostname(String* value) { set(&hostname_, Ref<String>(value)); }
  String* username() { return get(username_).autoreleased(); }
  void setUsername(String* value) { set(&username_, Ref<String>(value)); }
  String* password() { return get(password_).autoreleased(); }
  void setPassword(String* value) { set(&password_, Ref<String>(value)); }
  String* token() { return get(token_).autoreleased(); }
  void setToken(String* value) { set(&token_, Ref<String>(value)); }
  unsigned int port() { return get(port_); }
  void setPort(unsigned int value) { set(&port_, value); }
  AuthType authType() { return get(authType_); }
  void setAuthType(AuthType value) { set(&authType_, value); }
  ConnectionType connectionType() { return get(connectionType_); }
  void setConnectionType(ConnectionType value) { set(&connectionType_, value); }
  bool checkCertificate() { return get(checkCertificate_); }
  void setCheckCertificate(bool value) { set(&checkCertificate_, value); }
  bool strictGost() { return get(strictGost_); }
  void setStrictGost(bool value) { set(&strictGost_, value); }
  // Seconds without progress that end an operation.
  std::int64_t timeout() { return get(timeout_); }
  void setTimeout(std::int64_t value) { set(&timeout_, value); }

  Endpoint endpoint(Protocol protocol);
  void fill(Credentials* credentials, Protocol protocol);

 private:
  template <class T>
  T get(const T& member) {
    const std::lock_guard<std::mutex> guard(lock_);
    return member;
  }
  template <class T>
  void set(T* member, T value) {
    const std::lock_guard<std::mutex> guard(lock_);
    // The old value is released after the lock.
    std::swap(*member, value);
  }

  std::mutex lock_;
  Ref<String> hostname_;
  Ref<String> username_;
  Ref<String> password_;
  Ref<String> token_;
  unsigned int port_ = 0;
  AuthType authType_ = AuthTypeSASLNone;
  ConnectionType connectionType_ = ConnectionTypeTLS;
  bool checkCertificate_ = true;
  bool strictGost_ = false;
  std::int64_t timeout_ = 30;
};

}  // namespace brennox::net
