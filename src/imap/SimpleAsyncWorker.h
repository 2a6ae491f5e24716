// Base of the IMAP session's asynchronous methods.
#pragma once

#include <brennox/ErrorCode.h>
#include <brennox/IMAPSession.h>
#include <cpcurl.h>

#include <string>
#include <utility>

#include "main/Worker.h"

namespace velkor {

// "Error code: 5"
std::string ErrorCodeText(brennox::ErrorCode error);

// A failed operation calls back with "Error code: %d", or with what Fail was told; one that throws
// with a text that is the same for all operations.
class SimpleAsyncWorker : public Worker {
 protected:
  SimpleAsyncWorker(Napi::Object session, Napi::Value callback)
      : Worker(session, callback, "Unknown error while fetching messages") {}

  // The library call (worker pool). `error` is ErrorNone at first.
  virtual void Operation(brennox::ErrorCode* error) = 0;
  // What the callback gets after null.
  Napi::Value Result(Napi::Env env) override = 0;

  void Fail(std::string text) { failure_ = std::move(text); }

 private:
  void Work() final;

  std::string failure_;
};

// The twin of a blocking method: the same call on the worker pool.
template <class Call>
class CallWorker final : public SimpleAsyncWorker {
 public:
  CallWorker(const Napi::CallbackInfo& info, brennox::IMAPSession& session, Call call,
             Napi::Value callback)
      : SimpleAsyncWorker(info.This().As<Napi::Object>(), callback),
        session_(session),
        call_(std::move(call)) {}

  void Interrupt() override { session_.cancel(); }

 private:
  void Operation(brennox::ErrorCode* error) override {
    // An upload has a connection of its own.
    const cpcurl::StopWhen stop(isEnding());
    call_.Run(session_, error);
    if constexpr (requires { Call::kNullText; }) {
      if (!call_.result) {
        Fail(Call::kNullText + (". " + ErrorCodeText(*error)));
      }
    }
  }
  Napi::Value Result(Napi::Env env) override { return call_.Result(env, brennox::ErrorNone); }

  brennox::IMAPSession& session_;
  Call call_;
};

}  // namespace velkor
