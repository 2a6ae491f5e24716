// Work that other threads hand to one thread.
#pragma once

#include <brennox/Object.h>

#include <chrono>
#include <functional>
#include <memory>

namespace brennox {

// Every thread has one, made when it is first asked for. What is posted runs on the owning thread,
// in order, while that thread is inside runUntil(). When the thread ends, what is still queued is
// dropped and later posts are refused. post() may be called from any thread.
//
// On Windows, work travels through the thread's message queue. It also runs while the thread
// dispatches messages in a loop of its own (GetMessage, DispatchMessage), without runUntil(); an
// exception of a piece of work ends the process there. runUntil() dispatches the thread's other
// messages while it waits, and a WM_QUIT that it meets is in the queue again when it returns.
class BRENNOX_EXPORT RunLoop : public Object {
 public:
  // Of the calling thread; borrowed, lives at least as long as the thread.
  static RunLoop* current();

  ~RunLoop() override;

  // False when the owning thread has ended; `work` is then destroyed on the calling thread.
  bool post(std::function<void()> work);

  // Owning thread only. Runs what is posted until `done` says so; asked before waiting, after each
  // piece of work and at least once every `interval`. An exception of a piece of work passes
  // through.
  void runUntil(const std::function<bool()>& done, std::chrono::milliseconds interval);

 protected:
  const char* className() const override { return "RunLoop"; }

 private:
  friend struct RunLoopOfThread;
  RunLoop();
  void close();

  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace brennox
