#include "main/PendingWork.h"

#include <chrono>

#include "main/Worker.h"

namespace velkor {
namespace {

// How long the end waits for interrupted work, and how often it interrupts again: an operation that
// waited for its turn may have begun meanwhile.
constexpr std::chrono::seconds kPatience{5};
constexpr std::chrono::milliseconds kInterval{20};

}  // namespace

std::shared_ptr<PendingWork> PendingWork::Of(Napi::Env env) {
  // An environment has a thread of its own.
  thread_local std::shared_ptr<PendingWork> pending;
  if (pending) {
    return pending;
  }
  auto created = std::make_shared<PendingWork>();
  const Napi::Value process = env.Global().Get("process");
  const Napi::Value on =
      process.IsObject() ? process.As<Napi::Object>().Get("on") : env.Undefined();
  if (on.IsFunction()) {
    const auto stop = [created](const Napi::CallbackInfo&) { created->Stop(); };
    on.As<Napi::Function>().Call(process,
                                 {Napi::String::New(env, "exit"), Napi::Function::New(env, stop)});
  }
  pending = std::move(created);
  return pending;
}

bool PendingWork::Begin(Worker* worker) {
  const std::lock_guard<std::mutex> guard(lock_);
  if (*isEnding_) {
    return false;
  }
  running_.insert(worker);
  return true;
}

void PendingWork::End(Worker* worker) {
  const std::lock_guard<std::mutex> guard(lock_);
  running_.erase(worker);
  ended_.notify_all();
}

void PendingWork::Stop() {
  std::unique_lock<std::mutex> guard(lock_);
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  // The flag is set by now: its listener is as old as the module.
  while (!running_.empty() && std::chrono::steady_clock::now() < deadline) {
    for (Worker* const worker : running_) {
      worker->Interrupt();
    }
    ended_.wait_for(guard, kInterval);
  }
}

}  // namespace velkor
