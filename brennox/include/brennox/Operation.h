// A unit of work on an operation queue.
#pragma once

#include <brennox/ErrorCode.h>
#include <brennox/Object.h>

#include <functional>
#include <memory>

namespace brennox {

class Operation;
class OperationQueue;

// Told on the thread that started the operation, from within its run loop (RunLoop.h). Borrowed by
// the operation: it must live until it was told or the operation was cancelled.
class BRENNOX_EXPORT OperationCallback {
 public:
  virtual ~OperationCallback();
  virtual void operationFinished(Operation* operation);
};

// Started once; the queue retains it until its callback has been told. start() and the callback
// belong to one thread; cancel(), isCancelled(), isFinished() may be called from any.
class BRENNOX_EXPORT Operation : public Object {
 public:
  Operation();
  ~Operation() override;

  virtual void setCallback(OperationCallback* callback);
  virtual OperationCallback* callback();

  // The queue that start() puts the operation on; without one it gets a queue of its own.
  virtual void setQueue(OperationQueue* queue);

  // A second call does nothing.
  virtual void start();
  // A queued operation never runs; a running one is asked to end. The callback is not told any
  // more.
  virtual void cancel();
  virtual bool isCancelled();
  // True once afterMainOnMainThread has run and the callback has been told.
  virtual bool isFinished();
  // How main() ended.
  virtual ErrorCode error();

  // The work (queue thread).
  virtual void main();
  // Before the callback is told (starting thread).
  virtual void afterMainOnMainThread();

 protected:
  const char* className() const override { return "Operation"; }
  void setError(ErrorCode error);
  // Runs `work` on the starting thread's run loop, unless the operation has been cancelled by then.
  void performOnStartingThread(std::function<void()> work);

 private:
  friend class OperationQueue;
  // Queue thread: main() and the notification, nothing when cancelled.
  void run();

  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace brennox
