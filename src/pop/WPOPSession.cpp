#include "pop/WPOPSession.h"

#include <brennox/Array.h>
#include <brennox/Data.h>
#include <brennox/MessageHeader.h>
#include <brennox/POPMessageInfo.h>

#include <string>

#include "data/WData.h"
#include "main/Arguments.h"
#include "main/Kinds.h"
#include "message/WMessageHeader.h"
#include "pop/WPOPMessageInfo.h"

namespace velkor {
namespace {

using Code = Enum<brennox::ErrorCode>;

// The library object of a listing's entry.
brennox::POPMessageInfo* InfoOf(Napi::Value value) {
  const Napi::Env env = value.Env();
  void* anything = nullptr;
  // Only objects can carry a wrapper; whatever else is given carries none.
  if (!(value.IsObject() || value.IsFunction()) || napi_unwrap(env, value, &anything) != napi_ok) {
    ThrowTypeError(env, "Error extracting message info");
  }
  WPOPMessageInfo* const info = WPOPMessageInfo::From(value);
  Require(info != nullptr, env, "Error unwrapping message info");
  return info->held();
}

// Calls `call` with the message that the first argument names: its number or a listing's entry.
template <class Call>
auto WithMessage(const Napi::CallbackInfo& info, Call call) {
  Require(info.Length() > 0, info.Env(), "parameter must be specified");
  return info[0].IsNumber() ? call(UInt32::FromScript(info[0])) : call(InfoOf(info[0]));
}

}  // namespace

Napi::Function WPOPSession::Define(Napi::Env env) {
  using S = brennox::POPSession;
  const Members members = {
      Hostname(),
      Port(),
      Username(),
      Password(),
      CheckCertificateEnabled(),
      AuthType(),
      ConnectionType(),
      Timeout(),
      StrictGost(),

      Method<&WPOPSession::Call<&S::connect>>("connect"),
      Method<&WPOPSession::Call<&S::login>>("login"),
      Method<&WPOPSession::Call<&S::checkAccount>>("checkAccount"),
      Method<&WPOPSession::FetchMessages>("fetchMessages"),
      Method<&WPOPSession::FetchHeader>("fetchHeader"),
      Method<&WPOPSession::FetchMessage>("fetchMessage"),
      Method<&WPOPSession::DeleteMessage>("deleteMessage"),
      Method<&WPOPSession::Call<&S::noop>>("noop"),
      Method<&WPOPSession::Disconnect>("disconnect"),
  };
  return DefineClass(env, kName, members);
}

template <WPOPSession::Operation kOperation>
Napi::Value WPOPSession::Call(const Napi::CallbackInfo& info) {
  brennox::ErrorCode error = brennox::ErrorNone;
  (held()->*kOperation)(&error);
  return Code::ToScript(info.Env(), error);
}

Napi::Value WPOPSession::FetchMessages(const Napi::CallbackInfo& info) {
  const Napi::Env env = info.Env();
  brennox::ErrorCode error = brennox::ErrorNone;
  brennox::Array* const messages = held()->fetchMessages(&error);
  if (messages == nullptr && error != brennox::ErrorNone) {
    throw Napi::Error::New(env, "Error code: " + std::to_string(static_cast<int>(error)));
  }
  return ArrayOf<brennox::POPMessageInfo>(env, messages, [env](brennox::POPMessageInfo* message) {
    return WPOPMessageInfo::NewInstance(env, message);
  });
}

// A failed fetch and a missing message look alike, here and in FetchMessage.
Napi::Value WPOPSession::FetchHeader(const Napi::CallbackInfo& info) {
  brennox::ErrorCode error = brennox::ErrorNone;
  brennox::MessageHeader* const header =
      WithMessage(info, [&](auto message) { return held()->fetchHeader(message, &error); });
  return header == nullptr ? info.Env().Undefined()
                           : WMessageHeader::NewInstance(info.Env(), header);
}

Napi::Value WPOPSession::FetchMessage(const Napi::CallbackInfo& info) {
  brennox::ErrorCode error = brennox::ErrorNone;
  brennox::Data* const bytes = WithMessage(
      info, [&](auto message) { return held()->fetchMessage(message, nullptr, &error); });
  return bytes == nullptr ? info.Env().Undefined() : WData::NewInstance(info.Env(), bytes);
}

Napi::Value WPOPSession::DeleteMessage(const Napi::CallbackInfo& info) {
  brennox::ErrorCode error = brennox::ErrorNone;
  WithMessage(info, [&](auto message) { held()->deleteMessage(message, &error); });
  return Code::ToScript(info.Env(), error);
}

void WPOPSession::Disconnect(const Napi::CallbackInfo&) {
  held()->disconnect();
}

}  // namespace velkor
