// Base of all asynchronous work: what runs on the worker pool and how it reports to the script.
#pragma once

#include <napi.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "main/PendingWork.h"

namespace velkor {

// Made and queued on the script thread; deletes itself once the callback has returned. Keeps the
// script object that started it alive until then. An exception of the callback is an uncaught
// exception of the script, as for any callback of Node.js.
//
// When the script ends the process or the thread, work that is queued is dropped and running work
// is interrupted; nobody is told.
//
// A callback that is no function is accepted: the work is done and takes effect, nobody is told.
class Worker : public Napi::AsyncWorker {
 public:
  // `failureText` is what the callback gets when the work throws.
  Worker(Napi::Object owner, Napi::Value callback, const char* failureText);

  // Asks the running work to end soon, with whatever outcome. Not called on the work's own thread;
  // called again until the work has ended.
  virtual void Interrupt() {}

 protected:
  // The work. Worker pool: no script value in sight. Runs inside an AutoreleasePool. May call
  // SetError.
  virtual void Work() = 0;

  // Set when the work is not wanted any more. Any thread.
  const std::atomic<bool>& isEnding() const { return pending_->isEnding(); }

  // The work has ended without an error (script thread, before Result).
  virtual void Succeeded() {}
  // It has ended with one (script thread, before the callback is called).
  virtual void Failed() {}

  // What the callback gets after null; an empty value stands for nothing at all.
  virtual Napi::Value Result(Napi::Env env);

 private:
  void Execute() final;
  void OnOK() final;
  void OnError(const Napi::Error& error) final;

  const std::shared_ptr<PendingWork> pending_;
  Napi::ObjectReference owner_;
  const char* failureText_;
};

// Makes a worker of the type and queues it.
template <class Work, class... Args>
void Start(Args&&... args) {
  auto worker = std::make_unique<Work>(std::forward<Args>(args)...);
  worker->Queue();
  // Deletes itself from here on.
  static_cast<void>(worker.release());
}

}  // namespace velkor
