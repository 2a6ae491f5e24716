// Access to an IMAP account by operations that run on a queue of their own.
#pragma once

#include <brennox/Flags.h>
#include <brennox/Ref.h>
#include <brennox/Session.h>

namespace brennox {

class IMAPFetchFoldersOperation;
class IMAPFetchMessagesOperation;
class IMAPSession;
class IndexSet;
class OperationQueue;
class String;

// One connection and one queue: the operations of a session run one after another. Any number of
// sessions may work at once.
class BRENNOX_EXPORT IMAPAsyncSession : public Session {
 public:
  IMAPAsyncSession();
  ~IMAPAsyncSession() override;

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
  explicit IMAPAsyncSession(Ref<IMAPSession> session);

  Ref<IMAPSession> session_;
  Ref<OperationQueue> queue_;
};

}  // namespace brennox
