#include <brennox/AutoreleasePool.h>
#include <brennox/Ref.h>
#include <brennox/RunLoop.h>

#include <condition_variable>
#include <deque>
#include <mutex>

namespace brennox {

struct RunLoop::State {
  std::mutex lock;
  std::condition_variable posted;
  // Both guarded by `lock`.
  std::deque<std::function<void()>> work;
  bool closed = false;
};

// Closes the loop when its thread ends; operations may hold it for longer.
struct RunLoopOfThread {
  Ref<RunLoop> loop = Ref<RunLoop>::adopt(new RunLoop);
  ~RunLoopOfThread() { loop->close(); }
};

RunLoop::RunLoop() : state_(std::make_unique<State>()) {}
RunLoop::~RunLoop() = default;

RunLoop* RunLoop::current() {
  thread_local RunLoopOfThread own;
  return own.loop.get();
}

bool RunLoop::post(std::function<void()> work) {
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

void RunLoop::runUntil(const std::function<bool()>& done, std::chrono::milliseconds interval) {
  while (!done()) {
    std::function<void()> work;
    {
      std::unique_lock<std::mutex> guard(state_->lock);
      if (!state_->posted.wait_for(guard, interval, [this] { return !state_->work.empty(); })) {
        continue;
      }
      work = std::move(state_->work.front());
      state_->work.pop_front();
    }
    const AutoreleasePool pool;
    work();
  }
}

void RunLoop::close() {
  // Dropped outside the lock: releasing what the work holds may run anything.
  std::deque<std::function<void()>> dropped;
  {
    const std::lock_guard<std::mutex> guard(state_->lock);
    state_->closed = true;
    dropped.swap(state_->work);
  }
}

}  // namespace brennox
