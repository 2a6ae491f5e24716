// The script class POPSession: blocking access to a POP3 mailbox.
#pragma once

#include <brennox/POPSession.h>

#include "main/SessionWrapper.h"

namespace velkor {

class WPOPSession final : public SessionWrapper<WPOPSession, brennox::POPSession> {
 public:
  static constexpr char kName[] = "POPSession";
  static Napi::Function Define(Napi::Env env);

  explicit WPOPSession(const Napi::CallbackInfo& info) : SessionWrapper(info) {}

 private:
  using Operation = void (brennox::POPSession::*)(brennox::ErrorCode*);

  // A call without arguments; gives the error code.
  template <Operation kOperation>
  Napi::Value Call(const Napi::CallbackInfo& info);
  Napi::Value FetchMessages(const Napi::CallbackInfo& info);
  Napi::Value FetchHeader(const Napi::CallbackInfo& info);
  Napi::Value FetchMessage(const Napi::CallbackInfo& info);
  Napi::Value DeleteMessage(const Napi::CallbackInfo& info);
  void Disconnect(const Napi::CallbackInfo& info);
};

}  // namespace velkor
