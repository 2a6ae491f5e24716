// The script class MessageHeader.
#pragma once

#include <brennox/MessageHeader.h>

#include "main/Wrapper.h"

namespace velkor {

class WMessageHeader final
    : public Wrapper<WMessageHeader, brennox::MessageHeader, Teardown::kRelease, Adopt::kCopy> {
 public:
  static constexpr char kName[] = "MessageHeader";
  static Napi::Function Define(Napi::Env env);

  explicit WMessageHeader(const Napi::CallbackInfo& info) : Wrapper(info) {}

 private:
  Napi::Value ExtraHeaders(const Napi::CallbackInfo& info);
  void SetExtraHeader(const Napi::CallbackInfo& info);
  void RemoveExtraHeader(const Napi::CallbackInfo& info);
  Napi::Value ExtraHeaderValueForName(const Napi::CallbackInfo& info);
};

}  // namespace velkor
