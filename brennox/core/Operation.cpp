#include <brennox/AutoreleasePool.h>
#include <brennox/Operation.h>
#include <brennox/OperationQueue.h>
#include <brennox/Ref.h>
#include <brennox/RunLoop.h>

#include <atomic>

namespace brennox {

OperationCallback::~OperationCallback() = default;
void OperationCallback::operationFinished(Operation*) {}

struct Operation::State {
  OperationCallback* callback = nullptr;
  Ref<OperationQueue> queue;
  Ref<RunLoop> startingLoop;
  std::atomic<bool> started{false};
  std::atomic<bool> cancelled{false};
  std::atomic<bool> finished{false};
  std::atomic<ErrorCode> error{ErrorNone};
};

Operation::Operation() : state_(std::make_unique<State>()) {}
Operation::~Operation() = default;

void Operation::setCallback(OperationCallback* callback) {
  state_->callback = callback;
}
OperationCallback* Operation::callback() {
  return state_->callback;
}
void Operation::setQueue(OperationQueue* queue) {
  state_->queue = queue;
}

void Operation::start() {
  if (state_->started.exchange(true)) {
    return;
  }
  state_->startingLoop = RunLoop::current();
  if (!state_->queue) {
    state_->queue = make<OperationQueue>();
  }
  state_->queue->addOperation(this);
}

void Operation::cancel() {
  state_->cancelled = true;
}
bool Operation::isCancelled() {
  return state_->cancelled;
}
bool Operation::isFinished() {
  return state_->finished;
}
ErrorCode Operation::error() {
  return state_->error;
}
void Operation::setError(ErrorCode error) {
  state_->error = error;
}

void Operation::main() {}
void Operation::afterMainOnMainThread() {}

void Operation::performOnStartingThread(std::function<void()> work) {
  state_->startingLoop->post([self = Ref<Operation>(this), work = std::move(work)] {
    if (!self->isCancelled()) {
      work();
    }
  });
}

void Operation::run() {
  if (isCancelled()) {
    return;
  }
  try {
    main();
  } catch (...) {
    // A library call that throws here (memory ran out) must not end the process.
    setError(ErrorFetch);
  }
  performOnStartingThread([this] {
    afterMainOnMainThread();
    if (state_->callback != nullptr) {
      state_->callback->operationFinished(this);
    }
    state_->finished = true;
  });
}

}  // namespace brennox
