// A unit of work on an operation queue.
#pragma once

#include <brennox/ErrorCode.h>
#include <brennox/Object.h>

#include <memory>

namespace brennox {

class Operation;

class BRENNOX_EXPORT OperationCallback {
 public:
  virtual ~OperationCallback();
  virtual void operationFinished(Operation* operation);
};

// Runs on its session's queue thread; its callback is told on the thread that called start(), from
// within that thread's run loop (RunLoop.h). Retained by the queue from start() until then.
class BRENNOX_EXPORT Operation : public Object {
 public:
  Operation();
  ~Operation() override;

  virtual void setCallback(OperationCallback* callback);
  virtual OperationCallback* callback();
  virtual void start();
  // A queued operation never runs; a running one ends with ErrorCancelled. The callback is not told.
  virtual void cancel();
  virtual bool isCancelled();
  // True once the callback has been told.
  virtual bool isFinished();
  virtual ErrorCode error();

  // The work (queue thread), and what is done before the callback (starting thread).
  virtual void main();
  virtual void afterMain();
  virtual void beforeMainOnMainThread();
  virtual void afterMainOnMainThread();

 protected:
  const char* className() const override { return "Operation"; }
  void setError(ErrorCode error);

 private:
  friend class OperationQueue;
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace brennox
