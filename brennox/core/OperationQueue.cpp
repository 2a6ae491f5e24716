#include <brennox/AutoreleasePool.h>
#include <brennox/Operation.h>
#include <brennox/OperationQueue.h>
#include <brennox/Ref.h>

#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace brennox {

struct OperationQueue::State {
  std::mutex lock;
  // All guarded by `lock`. The operation that runs stays first in line until it has ended.
  std::deque<Ref<Operation>> operations;
  bool threadRuns = false;
};

OperationQueue::OperationQueue() : state_(std::make_unique<State>()) {}
OperationQueue::~OperationQueue() = default;

void OperationQueue::addOperation(Operation* operation) {
  const std::lock_guard<std::mutex> guard(state_->lock);
  state_->operations.emplace_back(operation);
  if (state_->threadRuns) {
    return;
  }
  // Detached: the process must be able to exit while a server keeps the thread waiting. The thread
  // holds the queue, and so outlives whoever made it.
  try {
    std::thread([self = Ref<OperationQueue>(this)] { self->runThread(); }).detach();
  } catch (...) {
    state_->operations.pop_back();
    throw;
  }
  state_->threadRuns = true;
}

void OperationQueue::runThread() {
  for (;;) {
    Ref<Operation> operation;
    {
      const std::lock_guard<std::mutex> guard(state_->lock);
      if (state_->operations.empty()) {
        state_->threadRuns = false;
        return;
      }
      operation = state_->operations.front();
    }
    {
      const AutoreleasePool pool;
      operation->run();
    }
    const std::lock_guard<std::mutex> guard(state_->lock);
    state_->operations.pop_front();
  }
}

void OperationQueue::cancelAllOperations() {
  std::vector<Ref<Operation>> operations;
  {
    const std::lock_guard<std::mutex> guard(state_->lock);
    operations.assign(state_->operations.begin(), state_->operations.end());
  }
  for (const Ref<Operation>& operation : operations) {
    operation->cancel();
  }
}

unsigned int OperationQueue::count() {
  const std::lock_guard<std::mutex> guard(state_->lock);
  return static_cast<unsigned int>(state_->operations.size());
}

}  // namespace brennox
