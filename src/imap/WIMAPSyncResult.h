// The script class IMAPSyncResult: the outcome of a synchronisation.
#pragma once

#include <brennox/IMAPSyncResult.h>

#include "main/Wrapper.h"

namespace velkor {

class WIMAPSyncResult final
    : public Wrapper<WIMAPSyncResult, brennox::IMAPSyncResult, Teardown::kRelease, Adopt::kCopy> {
 public:
  static constexpr char kName[] = "IMAPSyncResult";
  static Napi::Function Define(Napi::Env env);

  explicit WIMAPSyncResult(const Napi::CallbackInfo& info) : Wrapper(info) {}

 private:
  Napi::Value ModifiedOrAddedMessages(const Napi::CallbackInfo& info);
  Napi::Value VanishedMessages(const Napi::CallbackInfo& info);
};

}  // namespace velkor
