// A lock that is given in the order in which it was asked for.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace brennox::imap {

class TicketLock {
 public:
  // False, and no lock, when this thread holds it already.
  bool lock() {
    std::unique_lock<std::mutex> guard(mutex_);
    if (held_ && owner_ == std::this_thread::get_id()) {
      return false;
    }
    const std::uint64_t ticket = next_++;
    turn_.wait(guard, [&] { return serving_ == ticket; });
    take();
    return true;
  }

  // False when somebody holds it or waits for it.
  bool tryLock() {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (held_ || serving_ != next_) {
      return false;
    }
    ++next_;
    take();
    return true;
  }

  void unlock() {
    {
      const std::lock_guard<std::mutex> guard(mutex_);
      held_ = false;
      ++serving_;
    }
    turn_.notify_all();
  }

 private:
  void take() {
    held_ = true;
    owner_ = std::this_thread::get_id();
  }

  std::mutex mutex_;
  std::condition_variable turn_;
  std::uint64_t next_ = 0;
  std::uint64_t serving_ = 0;
  bool held_ = false;
  std::thread::id owner_;
};

}  // namespace brennox::imap
