// The script class Data: a handle on the library's bytes.
#pragma once

#include <brennox/Data.h>

#include "main/Wrapper.h"

namespace velkor {

class WData final : public Wrapper<WData, brennox::Data, Teardown::kRelease, Adopt::kCopy> {
 public:
  static constexpr char kName[] = "Data";
  static Napi::Function Define(Napi::Env env);

  explicit WData(const Napi::CallbackInfo& info);
  void Adopted() { Weigh(held()->length()); }

 private:
  Napi::Value Length(const Napi::CallbackInfo& info);
  Napi::Value Bytes(const Napi::CallbackInfo& info);
  Napi::Value WriteToFile(const Napi::CallbackInfo& info);
};

}  // namespace velkor
