// An operation of an asynchronous IMAP session.
#pragma once

#include <brennox/IMAPProgressCallback.h>
#include <brennox/Operation.h>
#include <brennox/Ref.h>

#include <mutex>

namespace brennox {

class IMAPAsyncSession;
class IMAPOperation;

// Told on the thread that started the operation; borrowed, as OperationCallback is.
class BRENNOX_EXPORT IMAPOperationCallback {
 public:
  virtual ~IMAPOperationCallback();
  // Bytes of a message body.
  virtual void bodyProgress(IMAPOperation* operation, unsigned int current, unsigned int maximum);
  // Messages of a listing.
  virtual void itemProgress(IMAPOperation* operation, unsigned int current, unsigned int maximum);
};

class BRENNOX_EXPORT IMAPOperation : public Operation, public IMAPProgressCallback {
 public:
  IMAPOperation();
  ~IMAPOperation() override;

  virtual void setSession(IMAPAsyncSession* session);
  virtual IMAPAsyncSession* session();
  virtual void setImapCallback(IMAPOperationCallback* callback);
  virtual IMAPOperationCallback* imapCallback();

  void cancel() override;
  // Does nothing without a session.
  void main() final;

  virtual void bodyProgressOnMainThread(unsigned int current, unsigned int maximum);
  virtual void itemsProgressOnMainThread(unsigned int current, unsigned int maximum);

 protected:
  const char* className() const override { return "IMAPOperation"; }
  // The calls to the server (queue thread); progress reaches the IMAP callback by itself.
  virtual void perform(IMAPSession& session, IMAPProgressCallback* progress, ErrorCode* error);

 private:
  void bodyProgress(IMAPSession* session, unsigned int current, unsigned int maximum) override;
  void itemsProgress(IMAPSession* session, unsigned int current, unsigned int maximum) override;

  Ref<IMAPAsyncSession> session_;
  IMAPOperationCallback* imapCallback_ = nullptr;
  std::mutex lock_;
  // Guarded by `lock_`: cancelling must not hit an operation of the same session that runs later.
  bool runs_ = false;
};

}  // namespace brennox
