#include "main/ExitFlag.h"

namespace velkor {
namespace {

struct Exit {
  const std::shared_ptr<std::atomic<bool>> flag = std::make_shared<std::atomic<bool>>(false);
  bool isWatched = false;
};

Exit& OfThread() {
  thread_local Exit exit;
  return exit;
}

}  // namespace

std::shared_ptr<const std::atomic<bool>> ExitFlag() {
  return OfThread().flag;
}

void WatchExit(Napi::Env env) {
  Exit& exit = OfThread();
  // Scripts may load the module any number of times; one listener is enough.
  if (exit.isWatched) {
    return;
  }
  exit.isWatched = true;
  try {
    const Napi::Object process = env.Global().Get("process").As<Napi::Object>();
    const Napi::Function once = process.Get("once").As<Napi::Function>();
    const auto listener = [flag = exit.flag](const Napi::CallbackInfo&) { *flag = true; };
    once.Call(process, {Napi::String::New(env, "exit"), Napi::Function::New(env, listener)});
  } catch (const Napi::Error&) {
    // A host without `process` has no process.exit either.
  }
}

}  // namespace velkor
