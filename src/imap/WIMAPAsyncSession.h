// The script class IMAPAsyncSession: a diagnostic probe over the library's operations.
#pragma once

#include <brennox/IMAPAsyncSession.h>

#include "main/Wrapper.h"

namespace velkor {

// The library session outlives the script object.
class WIMAPAsyncSession final
    : public Wrapper<WIMAPAsyncSession, brennox::IMAPAsyncSession, Teardown::kLeave> {
 public:
  static constexpr char kName[] = "IMAPAsyncSession";
  static Napi::Function Define(Napi::Env env);

  explicit WIMAPAsyncSession(const Napi::CallbackInfo& info) : Wrapper(info) {}

 private:
  Napi::Value FetchAllFolders(const Napi::CallbackInfo& info);
};

}  // namespace velkor
