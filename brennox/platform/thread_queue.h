// Work that other threads hand to one thread, its owner, and that runs while the owner waits for
// it.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace brennox::platform {

// Work is run in the order of posting. On Windows it travels as a message to a hidden window of the
// owner: it also runs where the owner has a message loop of its own (GetMessage, DispatchMessage),
// and the owner's other messages are dispatched while it waits here.
class ThreadQueue {
 public:
  using Work = std::function<void()>;
  // How a piece of work is called.
  using Runner = void (*)(const Work& work);

  // The calling thread becomes the owner. Throws when the system has no window left to give.
  explicit ThreadQueue(Runner run);
  // Any thread, after close().
  ~ThreadQueue();
  ThreadQueue(const ThreadQueue&) = delete;
  ThreadQueue& operator=(const ThreadQueue&) = delete;

  // Any thread. False when the queue is closed; `work` is then destroyed on the calling thread.
  bool post(Work work);

  // Owner only. Runs what is posted until `done` says so; asked before waiting, after each piece of
  // work and at least once every `interval`. An exception of a piece of work passes through. On
  // Windows, a WM_QUIT that is met meanwhile is there again afterwards.
  void runUntil(const std::function<bool()>& done, std::chrono::milliseconds interval);

  // Owner only, before its thread ends: what is queued is dropped, later posts are refused.
  void close();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace brennox::platform
