// The script class IMAPAsyncSession: a diagnostic probe over the library's operations.
#pragma once

#include <brennox/IMAPAsyncSession.h>

#include "main/SessionWrapper.h"

namespace velkor {

class WIMAPAsyncSession final
    : public SessionWrapper<WIMAPAsyncSession, brennox::IMAPAsyncSession> {
 public:
  static constexpr char kName[] = "IMAPAsyncSession";
  static Napi::Function Define(Napi::Env env);

  explicit WIMAPAsyncSession(const Napi::CallbackInfo& info) : SessionWrapper(info) {}

 private:
  Napi::Value FetchAllFolders(const Napi::CallbackInfo& info);
};

}  // namespace velkor
