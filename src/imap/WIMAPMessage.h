// The script class IMAPMessage: one message as the server describes it.
#pragma once

#include <brennox/IMAPMessage.h>

#include "main/Wrapper.h"

namespace velkor {

class WIMAPMessage final : public Wrapper<WIMAPMessage, brennox::IMAPMessage, Teardown::kDelete,
                                          Adopt::kCopyOverDefault> {
 public:
  static constexpr char kName[] = "IMAPMessage";
  static Napi::Function Define(Napi::Env env);

  explicit WIMAPMessage(const Napi::CallbackInfo& info) : Wrapper(info) {}

 private:
  Napi::Value HtmlRendering(const Napi::CallbackInfo& info);
};

}  // namespace velkor
