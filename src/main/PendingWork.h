// The asynchronous work of one environment, so that its end need not wait for servers.
#pragma once

#include <napi.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>

#include "main/ExitFlag.h"

namespace velkor {

class Worker;

// Node.js lets the worker pool finish before the process or a thread ends. When the script ends
// them (process.exit(), an uncaught exception), work that is queued is dropped and running work is
// interrupted.
class PendingWork {
 public:
  // Of the environment that the calling script thread runs. The first call has it told of the end.
  static std::shared_ptr<PendingWork> Of(Napi::Env env);

  // Around the work itself (worker pool). False when it must not begin any more.
  bool Begin(Worker* worker);
  void End(Worker* worker);

  // The ExitFlag. Any thread.
  const std::atomic<bool>& isEnding() const { return *isEnding_; }

 private:
  void Stop();

  const std::shared_ptr<const std::atomic<bool>> isEnding_ = ExitFlag();
  std::mutex lock_;
  // Both with `lock_`: what runs at the moment, and that something has ended.
  std::set<Worker*> running_;
  std::condition_variable ended_;
};

}  // namespace velkor
