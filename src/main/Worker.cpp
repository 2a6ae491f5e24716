#include "main/Worker.h"

#include <brennox/AutoreleasePool.h>

#include <vector>

namespace velkor {

Worker::Worker(Napi::Object owner, Napi::Value callback, const char* failureText)
    : Napi::AsyncWorker(owner.Env()),
      pending_(PendingWork::Of(owner.Env())),
      owner_(Napi::Persistent(owner)),
      failureText_(failureText) {
  if (callback.IsFunction()) {
    Receiver() = Napi::Persistent(Napi::Object::New(owner.Env()));
    Callback() = Napi::Persistent(callback.As<Napi::Function>());
  }
}

Napi::Value Worker::Result(Napi::Env) {
  return {};
}

void Worker::Execute() {
  if (!pending_->Begin(this)) {
    SetError(failureText_);
    return;
  }
  {
    brennox::AutoreleasePool pool;
    try {
      Work();
    } catch (...) {
      SetError(failureText_);
    }
  }
  pending_->End(this);
}

void Worker::OnOK() {
  brennox::AutoreleasePool pool;
  Succeeded();
  if (Callback().IsEmpty()) {
    return;
  }
  std::vector<napi_value> arguments = {Env().Null()};
  try {
    const Napi::Value result = Result(Env());
    if (!result.IsEmpty()) {
      arguments.push_back(result);
    }
  } catch (const Napi::Error& error) {
    Napi::AsyncWorker::OnError(error);
    return;
  }
  Callback().Call(Receiver().Value(), arguments);
}

void Worker::OnError(const Napi::Error& error) {
  Failed();
  Napi::AsyncWorker::OnError(error);
}

}  // namespace velkor
