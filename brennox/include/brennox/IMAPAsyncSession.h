// Access to an IMAP account by operations that run on a queue of their own.
#pragma once

#include <brennox/Flags.h>
#include <brennox/Object.h>
#include <brennox/Ref.h>

#include <cstdint>

namespace brennox {

class IMAPFetchFoldersOperation;
class IMAPFetchMessagesOperation;
class IMAPSession;
class IndexSet;
class OperationQueue;
class String;

// One connection and one queue: the operations of a session run one after another. Settings as in
// IMAPSession; they take effect with the next connection. Any number of sessions may work at once.
class BRENNOX_EXPORT IMAPAsyncSession : public Object {
 public:
  IMAPAsyncSession();
  ~IMAPAsyncSession() override;

  virtual String* hostname();
  virtual void setHostname(String* hostname);
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
  // Seconds without progress.
  virtual std::int64_t timeout();
  virtual void setTimeout(std::int64_t seconds);

  // Autoreleased operations that are still to be started.
  virtual IMAPFetchMessagesOperation* fetchMessagesByUIDOperation(String* folder,
                                                                  IMAPMessagesRequestKind kind,
                                                                  IndexSet* uids);
  virtual IMAPFetchFoldersOperation* fetchAllFoldersOperation();
  virtual void cancelAllOperations();

  // What the operations call, on the queue's thread.
  IMAPSession* session() { return session_.get(); }

 protected:
  const char* className() const override { return "IMAPAsyncSession"; }

 private:
  Ref<IMAPSession> session_;
  Ref<OperationQueue> queue_;
};

}  // namespace brennox
