// The script class Attachment.
#pragma once

#include <brennox/Attachment.h>

#include "main/Wrapper.h"

namespace velkor {

class WAttachment final
    : public Wrapper<WAttachment, brennox::Attachment, Teardown::kRelease, Adopt::kShare> {
 public:
  static constexpr char kName[] = "Attachment";
  static Napi::Function Define(Napi::Env env);

  explicit WAttachment(const Napi::CallbackInfo& info);

 private:
  Napi::Value Content(const Napi::CallbackInfo& info);
  void SetContent(const Napi::CallbackInfo& info, const Napi::Value& value);
};

}  // namespace velkor
