// Runs operations one after another on a thread of its own.
#pragma once

#include <brennox/Object.h>

#include <memory>

namespace brennox {

class Operation;

// The thread exists only while there is work; nothing waits for it at process exit. May be used
// from any thread.
class BRENNOX_EXPORT OperationQueue : public Object {
 public:
  OperationQueue();
  ~OperationQueue() override;

  // Retains the operation until it has run.
  void addOperation(Operation* operation);
  // Cancels what is queued and what is running.
  void cancelAllOperations();
  unsigned int count();

 protected:
  const char* className() const override { return "OperationQueue"; }

 private:
  void runThread();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace brennox
