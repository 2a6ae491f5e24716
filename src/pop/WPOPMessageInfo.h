// The script class POPMessageInfo: one message of a mailbox listing.
#pragma once

#include <brennox/POPMessageInfo.h>

#include "main/Wrapper.h"

namespace velkor {

class WPOPMessageInfo final
    : public Wrapper<WPOPMessageInfo, brennox::POPMessageInfo, Teardown::kLeave, Adopt::kCopy> {
 public:
  static constexpr char kName[] = "POPMessageInfo";
  static Napi::Function Define(Napi::Env env);

  explicit WPOPMessageInfo(const Napi::CallbackInfo& info) : Wrapper(info) {}
};

}  // namespace velkor
