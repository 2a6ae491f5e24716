// The script class IMAPFetchFoldersOperation: a holder of a folder listing.
#pragma once

#include <brennox/IMAPFetchFoldersOperation.h>

#include "main/Wrapper.h"

namespace velkor {

class WIMAPFetchFoldersOperation final
    : public Wrapper<WIMAPFetchFoldersOperation, brennox::IMAPFetchFoldersOperation,
                     Teardown::kLeave> {
 public:
  static constexpr char kName[] = "IMAPFetchFoldersOperation";
  static Napi::Function Define(Napi::Env env);

  explicit WIMAPFetchFoldersOperation(const Napi::CallbackInfo& info) : Wrapper(info) {}

 private:
  Napi::Value Folders(const Napi::CallbackInfo& info);
};

}  // namespace velkor
