// The script class IMAPSession: blocking access to an IMAP account, with an asynchronous twin of
// each long operation.
#pragma once

#include <brennox/IMAPSession.h>

#include "main/SessionWrapper.h"

namespace velkor {

class WIMAPSession final : public SessionWrapper<WIMAPSession, brennox::IMAPSession> {
 public:
  static constexpr char kName[] = "IMAPSession";
  static Napi::Function Define(Napi::Env env);

  explicit WIMAPSession(const Napi::CallbackInfo& info) : SessionWrapper(info) {}

 private:
  // Runs a call on the script thread.
  template <class Call>
  Napi::Value Block(const Napi::CallbackInfo& info);
  // The callback is the last argument; a function at `kPosition` serves when that is none.
  template <std::size_t kPosition>
  static Napi::Function Callback(const Napi::CallbackInfo& info, const char* text);
  // Runs a call on the worker pool.
  template <class Call, std::size_t kPosition>
  void Queue(const Napi::CallbackInfo& info);
  // As Queue, for methods that name the number of their arguments.
  template <class Call, std::size_t kPosition>
  void QueueCounted(const Napi::CallbackInfo& info);

  Napi::Value IsQResyncEnabled(const Napi::CallbackInfo& info);
};

}  // namespace velkor
