#include "smtp/WSMTPAsyncSession.h"

#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/Data.h>
#include <brennox/MessageHeader.h>
#include <brennox/MessageParser.h>
#include <brennox/String.h>

#include <array>
#include <string>

#include "main/Arguments.h"
#include "main/Kinds.h"
#include "smtp/CurlSend.h"
#include "smtp/SendMessageOperationWorker.h"

namespace velkor {
namespace {

constexpr char kFromText[] = "from value must be string";
constexpr char kRecipientsText[] = "recipients value must be string array";

// The library's authentication types for scripts, and curl's bits for each. Reading takes the first
// row that fits, so 128 reads back as 4.
struct AuthRow {
  std::int32_t script;
  std::int32_t stored;
};
constexpr std::array<AuthRow, 7> kAuthTypes = {{
    {0, 0},     // none
    {4, 4},     // CURLAUTH_NEGOTIATE
    {8, 2},     // CURLAUTH_DIGEST
    {16, -17},  // CURLAUTH_ANY
    {64, 8},    // CURLAUTH_NTLM
    {128, 4},   // CURLAUTH_NEGOTIATE
    {256, 64},  // CURLAUTH_BEARER
}};

[[noreturn]] void ThrowUnsupportedAuthType(Napi::Env env) {
  throw Napi::Error::New(env, "Specified authentication type is not supported");
}

bool IsMessage(Napi::Value value) {
  return value.IsString() || value.IsBuffer();
}

brennox::Ref<brennox::Data> MessageOf(Napi::Value value) {
  if (value.IsBuffer()) {
    return CopyBytes(value);
  }
  const std::string text = Utf8(value);
  return brennox::make<brennox::Data>(text.data(), text.size());
}

brennox::Address* MailboxOf(Napi::Value value) {
  return brennox::Address::addressWithMailbox(brennox::String::stringWithText(Utf8(value)));
}

// Elements that are no strings are coerced.
brennox::Array* MailboxesOf(Napi::Value value) {
  const Napi::Array list = value.As<Napi::Array>();
  auto* const mailboxes = brennox::Array::array();
  const std::uint32_t length = list.Length();
  for (std::uint32_t i = 0; i < length; ++i) {
    Napi::HandleScope scope(list.Env());
    mailboxes->addObject(MailboxOf(list.Get(i)));
  }
  return mailboxes;
}

// An operation's argument errors are plain ones.
void RequireOrError(bool condition, Napi::Env env, const char* text) {
  if (!condition) {
    throw Napi::Error::New(env, text);
  }
}

}  // namespace

Napi::Function WSMTPAsyncSession::Define(Napi::Env env) {
  using W = WSMTPAsyncSession;
  using F = SMTPFields;
  static constexpr char kString[] = "Value must be string";
  static constexpr char kNumber[] = "Value must be number";
  static constexpr char kBoolean[] = "Value must be boolean";
  const Members members = {
      Property<PlainText, &W::Get<&F::hostname>, &W::Set<&F::hostname, std::string>>("hostname",
                                                                                     kString),
      Property<Int32, &W::Get<&F::port>, &W::Set<&F::port, std::int32_t>>("port", kNumber),
      Property<PlainText, &W::Get<&F::username>, &W::Set<&F::username, std::string>>("username",
                                                                                     kString),
      Property<PlainText, &W::Get<&F::password>, &W::Set<&F::password, std::string>>("password",
                                                                                     kString),
      Property<Flag, &W::Get<&F::checkCertificateEnabled>,
               &W::Set<&F::checkCertificateEnabled, bool>>("checkCertificateEnabled", kBoolean),
      Property<PlainText, &W::Get<&F::OAuth2Token>, &W::Set<&F::OAuth2Token, std::string>>(
          "OAuth2Token", kString),
      Accessor<&W::AuthType, &W::SetAuthType>("authType"),
      Property<Int32, &W::Get<&F::connectionType>, &W::Set<&F::connectionType, std::int32_t>>(
          "connectionType", kNumber),
      Property<Flag, &W::Get<&F::strictGost>, &W::Set<&F::strictGost, bool>>("strictGost",
                                                                             kBoolean),

      Method<&W::CheckAccount>("checkAccount"),
      Method<&W::Send>("sendMessage"),
      Method<&W::SendMessageOperation>("sendMessageOperation"),
      Method<&W::Disconnect>("disconnect"),
      Method<&W::IsDisconnected>("isDisconnected"),
  };
  return DefineClass(env, kName, members);
}

WSMTPAsyncSession::WSMTPAsyncSession(const Napi::CallbackInfo& info)
    : ScriptClass<WSMTPAsyncSession>(info) {}

Napi::Value WSMTPAsyncSession::AuthType(const Napi::CallbackInfo& info) {
  const std::int32_t stored = Get<&SMTPFields::authType>();
  for (const AuthRow& row : kAuthTypes) {
    if (row.stored == stored) {
      return Napi::Number::New(info.Env(), row.script);
    }
  }
  ThrowUnsupportedAuthType(info.Env());
}

void WSMTPAsyncSession::SetAuthType(const Napi::CallbackInfo& info, const Napi::Value& value) {
  Require(value.IsNumber(), info.Env(), "Value must be number");
  const std::int32_t type = Int32::FromScript(value);
  for (const AuthRow& row : kAuthTypes) {
    if (row.script == type) {
      Set<&SMTPFields::authType>(row.stored);
      return;
    }
  }
  ThrowUnsupportedAuthType(info.Env());
}

Napi::Value WSMTPAsyncSession::CheckAccount(const Napi::CallbackInfo& info) {
  Require(info[0].IsString(), info.Env(), "Value must be string");
  static_cast<void>(brennox::Address::addressWithRFC822String(Text::FromScript(info[0])));
  return Napi::Number::New(info.Env(), 0);
}

Napi::Value WSMTPAsyncSession::Send(const Napi::CallbackInfo& info) {
  const Napi::Env env = info.Env();
  Require(IsMessage(info[0]), env, "Value must be string or buffer");
  const brennox::Ref<brennox::Data> message = MessageOf(info[0]);

  brennox::Address* sender = nullptr;
  brennox::Array* recipients = nullptr;
  if (info.Length() == 3 && !info[1].IsUndefined() && !info[2].IsUndefined()) {
    Require(info[1].IsString(), env, kFromText);
    Require(info[2].IsArray(), env, kRecipientsText);
    sender = MailboxOf(info[1]);
    recipients = MailboxesOf(info[2]);
  } else {
    auto* const parser = brennox::MessageParser::messageParserWithData(message.get());
    brennox::MessageHeader* const header = parser == nullptr ? nullptr : parser->header();
    RequireOrError(header != nullptr, env,
                   "Send error: unable to get from and recipients from message");
    sender = header->from();
    recipients = brennox::Array::array();
    for (const brennox::Array* const list : {header->to(), header->cc(), header->bcc()}) {
      if (list != nullptr) {
        recipients->addObjectsFromArray(list);
      }
    }
  }
  brennox::ErrorCode error = brennox::ErrorNone;
  SendMessageWithRetries(settings_, sender, recipients, *message, &error);
  return Napi::Number::New(env, error);
}

void WSMTPAsyncSession::SendMessageOperation(const Napi::CallbackInfo& info) {
  const Napi::Env env = info.Env();
  RequireOrError(info.Length() >= 5, env, "Invalid arguments count. Must be 5 arguments");
  RequireOrError(info[0].IsString(), env, kFromText);
  RequireOrError(info[1].IsArray(), env, kRecipientsText);
  RequireOrError(IsMessage(info[2]), env, "message value must be string or buffer");
  RequireOrError(info[3].IsNumber(), env, "notify value must be number");
  brennox::Address* const sender = MailboxOf(info[0]);
  brennox::Array* const recipients = MailboxesOf(info[1]);
  brennox::Ref<brennox::Data> message = MessageOf(info[2]);
  const std::int32_t notify = Int32::FromScript(info[3]);
  const Napi::Object callback = info[4].ToObject();
  Start<SendMessageOperationWorker>(info, *this, sender, recipients, std::move(message), notify,
                                    callback);
}

Napi::Value WSMTPAsyncSession::IsDisconnected(const Napi::CallbackInfo& info) {
  return Napi::Boolean::New(info.Env(), true);
}

}  // namespace velkor
