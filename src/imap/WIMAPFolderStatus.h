// The script class IMAPFolderStatus: the values of a STATUS query.
#pragma once

#include <brennox/IMAPFolderStatus.h>

#include "main/Wrapper.h"

namespace velkor {

class WIMAPFolderStatus final : public Wrapper<WIMAPFolderStatus, brennox::IMAPFolderStatus,
                                               Teardown::kRelease, Adopt::kCopy> {
 public:
  static constexpr char kName[] = "IMAPFolderStatus";
  static Napi::Function Define(Napi::Env env);

  explicit WIMAPFolderStatus(const Napi::CallbackInfo& info) : Wrapper(info) {}
};

}  // namespace velkor
