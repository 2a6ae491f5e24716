#include <brennox/AutoreleasePool.h>
#include <brennox/Ref.h>
#include <brennox/RunLoop.h>

#include "platform/thread_queue.h"

namespace brennox {

struct RunLoop::State {
  platform::ThreadQueue queue{[](const std::function<void()>& work) {
    const AutoreleasePool pool;
    work();
  }};
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
  return state_->queue.post(std::move(work));
}

void RunLoop::runUntil(const std::function<bool()>& done, std::chrono::milliseconds interval) {
  state_->queue.runUntil(done, interval);
}

void RunLoop::close() {
  state_->queue.close();
}

}  // namespace brennox
