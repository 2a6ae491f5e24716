// What module tests need from native code: foreign wrapped objects, and a class registry of this
// addon's own.

#include <napi.h>

#include <string>

#include "main/ConstructorMap.h"

namespace {

int g_foreign = 0;

// wrap(object): makes it carry a native pointer that is none of the module's.
void Wrap(const Napi::CallbackInfo& info) {
  if (napi_wrap(info.Env(), info[0], &g_foreign, nullptr, nullptr, nullptr) != napi_ok) {
    throw Napi::Error::New(info.Env());
  }
}

// set(name, constructor)
void Set(const Napi::CallbackInfo& info) {
  velkor::ConstructorMap::Set(info.Env(), info[0].As<Napi::String>().Utf8Value().c_str(),
                              info[1].As<Napi::Function>());
}

// newInstance(name)
Napi::Value NewInstance(const Napi::CallbackInfo& info) {
  return velkor::ConstructorMap::NewInstance(info.Env(),
                                             info[0].As<Napi::String>().Utf8Value().c_str());
}

Napi::Object Init(Napi::Env env, Napi::Object exports) {
  exports.Set("wrap", Napi::Function::New(env, Wrap));
  exports.Set("set", Napi::Function::New(env, Set));
  exports.Set("newInstance", Napi::Function::New(env, NewInstance));
  return exports;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) napi_value napi_register_module_v1(
    napi_env env, napi_value exports) {
  return Napi::RegisterModule(env, exports, Init);
}
