#include <brennox/IMAPAsyncSession.h>
#include <brennox/IMAPOperation.h>
#include <brennox/IMAPSession.h>

namespace brennox {

IMAPOperationCallback::~IMAPOperationCallback() = default;
void IMAPOperationCallback::bodyProgress(IMAPOperation*, unsigned int, unsigned int) {}
void IMAPOperationCallback::itemProgress(IMAPOperation*, unsigned int, unsigned int) {}

IMAPOperation::IMAPOperation() = default;
IMAPOperation::~IMAPOperation() = default;

void IMAPOperation::setSession(IMAPAsyncSession* session) {
  session_ = session;
}
IMAPAsyncSession* IMAPOperation::session() {
  return session_.get();
}
void IMAPOperation::setImapCallback(IMAPOperationCallback* callback) {
  imapCallback_ = callback;
}
IMAPOperationCallback* IMAPOperation::imapCallback() {
  return imapCallback_;
}

void IMAPOperation::cancel() {
  const std::lock_guard<std::mutex> guard(lock_);
  Operation::cancel();
  if (runs_) {
    session_->session()->cancel();
  }
}

void IMAPOperation::main() {
  if (!session_) {
    return;
  }
  {
    const std::lock_guard<std::mutex> guard(lock_);
    if (isCancelled()) {
      return;
    }
    runs_ = true;
  }
  ErrorCode error = ErrorNone;
  try {
    perform(*session_->session(), this, &error);
  } catch (...) {
    error = ErrorFetch;
  }
  setError(error);
  const std::lock_guard<std::mutex> guard(lock_);
  runs_ = false;
}

void IMAPOperation::perform(IMAPSession&, IMAPProgressCallback*, ErrorCode*) {}

void IMAPOperation::bodyProgressOnMainThread(unsigned int current, unsigned int maximum) {
  if (imapCallback_ != nullptr) {
    imapCallback_->bodyProgress(this, current, maximum);
  }
}

void IMAPOperation::itemsProgressOnMainThread(unsigned int current, unsigned int maximum) {
  if (imapCallback_ != nullptr) {
    imapCallback_->itemProgress(this, current, maximum);
  }
}

void IMAPOperation::bodyProgress(IMAPSession*, unsigned int current, unsigned int maximum) {
  performOnStartingThread([this, current, maximum] { bodyProgressOnMainThread(current, maximum); });
}

void IMAPOperation::itemsProgress(IMAPSession*, unsigned int current, unsigned int maximum) {
  performOnStartingThread(
      [this, current, maximum] { itemsProgressOnMainThread(current, maximum); });
}

}  // namespace brennox
