// The script class IMAPFolderInfo: the values that selecting a folder yields.
#pragma once

#include <brennox/IMAPFolderInfo.h>

#include "main/Wrapper.h"

namespace velkor {

class WIMAPFolderInfo final
    : public Wrapper<WIMAPFolderInfo, brennox::IMAPFolderInfo, Teardown::kLeave> {
 public:
  static constexpr char kName[] = "IMAPFolderInfo";
  static Napi::Function Define(Napi::Env env);

  explicit WIMAPFolderInfo(const Napi::CallbackInfo& info) : Wrapper(info) {}
};

}  // namespace velkor
