// The module's entry: defines the script classes and attaches them to the exports.

#include <napi.h>

#include "data/WData.h"
#include "main/ConstructorMap.h"
#include "message/WAttachment.h"
#include "message/WMessageBuilder.h"
#include "message/WMessageHeader.h"
#include "message/WMessageParser.h"

namespace velkor {
namespace {

enum class Registry { kListed, kNotListed };

template <class Class, Registry kRegistry = Registry::kNotListed>
void Export(Napi::Env env, Napi::Object exports) {
  const Napi::Function constructor = Class::Define(env);
  if constexpr (kRegistry == Registry::kListed) {
    ConstructorMap::Set(env, Class::kName, constructor);
  }
  exports.Set(Class::kName, constructor);
}

Napi::Object Init(Napi::Env env, Napi::Object exports) {
  // The order is part of the interface.
  Export<WData, Registry::kListed>(env, exports);
  Export<WMessageHeader, Registry::kListed>(env, exports);
  Export<WMessageParser>(env, exports);
  Export<WAttachment, Registry::kListed>(env, exports);
  Export<WMessageBuilder>(env, exports);
  return exports;
}

}  // namespace
}  // namespace velkor

// What the loader calls, once for each environment.
extern "C" __attribute__((visibility("default"))) napi_value velkor_brennox2_init(
    napi_env env, napi_value exports) {
  return Napi::RegisterModule(env, exports, velkor::Init);
}
