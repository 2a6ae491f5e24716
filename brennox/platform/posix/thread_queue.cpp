#include "platform/thread_queue.h"

#include <condition_variable>
#include <deque>
#include <mutex>

namespace brennox::platform {

struct ThreadQueue::State {
  Runner run = nullptr;
  std::mutex lock;
  std::condition_variable posted;
  // Both guarded by `lock`.
  std::deque<Work> work;
  bool closed = false;
};

ThreadQueue::ThreadQueue(Runner run) : state_(std::make_unique<State>()) {
  state_->run = run;
}
ThreadQueue::~ThreadQueue() = default;

bool ThreadQueue::post(Work work) {
  {
    const std::lock_guard<std::mutex> guard(state_->lock);
    if (state_->closed) {
      return false;
    }
    state_->work.push_back(std::move(work));
  }
  state_->posted.notify_one();
  return true;
}

void ThreadQueue::runUntil(const std::function<bool()>& done, std::chrono::milliseconds interval) {
  while (!done()) {
    Work work;
    {
      std::unique_lock<std::mutex> guard(state_->lock);
      if (!state_->posted.wait_for(guard, interval, [this] { return !state_->work.empty(); })) {
        continue;
      }
      work = std::move(state_->work.front());
      state_->work.pop_front();
    }
    state_->run(work);
  }
}

void ThreadQueue::close() {
  // Dropped outside the lock: releasing what the work holds may run anything.
  std::deque<Work> dropped;
  {
    const std::lock_guard<std::mutex> guard(state_->lock);
    state_->closed = true;
    dropped.swap(state_->work);
  }
}

}  // namespace brennox::platform
