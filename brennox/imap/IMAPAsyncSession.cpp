#include <brennox/IMAPAsyncSession.h>
#include <brennox/IMAPFetchFoldersOperation.h>
#include <brennox/IMAPFetchMessagesOperation.h>
#include <brennox/IMAPSession.h>
#include <brennox/OperationQueue.h>

namespace brennox {

IMAPAsyncSession::IMAPAsyncSession() : IMAPAsyncSession(make<IMAPSession>()) {}
IMAPAsyncSession::IMAPAsyncSession(Ref<IMAPSession> session)
    : Session(session.get()), session_(std::move(session)), queue_(make<OperationQueue>()) {}
IMAPAsyncSession::~IMAPAsyncSession() = default;

IMAPFetchMessagesOperation* IMAPAsyncSession::fetchMessagesByUIDOperation(
    String* folder, IMAPMessagesRequestKind kind, IndexSet* uids) {
  auto* const operation = makeAutoreleased<IMAPFetchMessagesOperation>();
  operation->setSession(this);
  operation->setQueue(queue_.get());
  operation->setFolder(folder);
  operation->setKind(kind);
  operation->setIndexes(uids);
  return operation;
}

IMAPFetchFoldersOperation* IMAPAsyncSession::fetchAllFoldersOperation() {
  auto* const operation = makeAutoreleased<IMAPFetchFoldersOperation>();
  operation->setSession(this);
  operation->setQueue(queue_.get());
  return operation;
}

void IMAPAsyncSession::cancelAllOperations() {
  queue_->cancelAllOperations();
}

}  // namespace brennox
