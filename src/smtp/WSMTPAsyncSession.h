// The script class ISMTPAsyncSession: the settings of an SMTP server and the two ways to send with
// them. It holds no connection; every send makes its own.
#pragma once

#include "main/Wrapper.h"
#include "smtp/SMTPSettings.h"

namespace velkor {

class WSMTPAsyncSession final : public ScriptClass<WSMTPAsyncSession> {
 public:
  static constexpr char kName[] = "ISMTPAsyncSession";
  static Napi::Function Define(Napi::Env env);

  explicit WSMTPAsyncSession(const Napi::CallbackInfo& info);

  // Any thread.
  SMTPSettings& settings() { return settings_; }

 private:
  template <auto kField>
  auto Get() const {
    return settings_.with([](const SMTPFields& fields) { return fields.*kField; });
  }
  template <auto kField, class Value>
  void Set(Value value) {
    settings_.with([&value](SMTPFields& fields) { fields.*kField = std::move(value); });
  }

  Napi::Value AuthType(const Napi::CallbackInfo& info);
  void SetAuthType(const Napi::CallbackInfo& info, const Napi::Value& value);

  Napi::Value CheckAccount(const Napi::CallbackInfo& info);
  Napi::Value Send(const Napi::CallbackInfo& info);
  void SendMessageOperation(const Napi::CallbackInfo& info);
  void Disconnect(const Napi::CallbackInfo&) {}
  Napi::Value IsDisconnected(const Napi::CallbackInfo& info);

  SMTPSettings settings_;
};

}  // namespace velkor
