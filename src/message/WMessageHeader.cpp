#include "message/WMessageHeader.h"

#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/String.h>

#include <vector>

#include "main/Arguments.h"
#include "main/Kinds.h"

namespace velkor {
namespace {

constexpr char kNameText[] = "first parameter must be a string";

brennox::String* Uniqued(Napi::Value name) {
  return brennox::String::uniquedStringWithText(Utf8(name));
}

}  // namespace

Napi::Function WMessageHeader::Define(Napi::Env env) {
  using H = brennox::MessageHeader;
  const Members members = {
      // "messageId", not "messageID": scripts match on the text.
      Property<Text, &H::messageID, &H::setMessageID>("messageID",
                                                      "messageId value must be string"),
      Property<TextList, &H::inReplyTo, &H::setInReplyTo>("inReplyTo",
                                                          "inReplyTo value must be Array"),
      Property<TextList, &H::references, &H::setReferences>("references",
                                                            "references value must be Array"),
      Property<OptionalSeconds, &H::date, &H::setDate>("date", "date value must be Date"),
      Property<Seconds, &H::receivedDate, &H::setReceivedDate>("receivedDate",
                                                               "receivedDate value must be Date"),
      Property<Mailbox, &H::sender, &H::setSender>("sender", "sender value must be String"),
      Property<Mailbox, &H::from, &H::setFrom>("from", "from value must be String"),
      Property<MailboxList, &H::to, &H::setTo>("to", "to value must be Array"),
      Property<MailboxList, &H::cc, &H::setCc>("cc", "cc value must be Array"),
      Property<MailboxList, &H::bcc, &H::setBcc>("bcc", "bcc value must be Array"),
      Property<MailboxList, &H::replyTo, &H::setReplyTo>("replyTo", "replyTo value must be Array"),
      Property<Text, &H::subject, &H::setSubject>("subject", "subject value must be String"),
      Property<Text, &H::userAgent, &H::setUserAgent>("userAgent",
                                                      "userAgent value must be String"),
      Accessor<&WMessageHeader::ExtraHeaders>("extraHeaders"),

      Method<&WMessageHeader::SetExtraHeader>("setExtraHeader"),
      Method<&WMessageHeader::RemoveExtraHeader>("removeExtraHeader"),
      Method<&WMessageHeader::ExtraHeaderValueForName>("extraHeaderValueForName"),
  };
  return DefineClass(env, kName, members);
}

Napi::Value WMessageHeader::ExtraHeaders(const Napi::CallbackInfo& info) {
  const Napi::Env env = info.Env();
  Napi::Object result = Napi::Object::New(env);
  std::vector<napi_property_descriptor> fields;
  for (const brennox::Ref<brennox::Object>& entry : *held()->allExtraHeadersNames()) {
    auto* const name = static_cast<brennox::String*>(entry.get());
    brennox::String* const value = held()->extraHeaderValueForName(name);
    if (value != nullptr) {
      napi_property_descriptor field{};
      field.name = Text::ToScript(env, name);
      field.value = Text::ToScript(env, value);
      field.attributes = napi_default_jsproperty;
      fields.push_back(field);
    }
  }
  // Defined, not assigned: a message may carry a field of the name "__proto__".
  if (napi_define_properties(env, result, fields.size(), fields.data()) != napi_ok) {
    throw Napi::Error::New(env);
  }
  return result;
}

void WMessageHeader::SetExtraHeader(const Napi::CallbackInfo& info) {
  Require(info[0].IsString() && info[1].IsString(), info.Env(),
          "first and second parameter must be a string");
  held()->setExtraHeader(Uniqued(info[0]), Text::FromScript(info[1]));
}

void WMessageHeader::RemoveExtraHeader(const Napi::CallbackInfo& info) {
  Require(info[0].IsString(), info.Env(), kNameText);
  held()->removeExtraHeader(Text::FromScript(info[0]));
}

Napi::Value WMessageHeader::ExtraHeaderValueForName(const Napi::CallbackInfo& info) {
  Require(info[0].IsString(), info.Env(), kNameText);
  return Text::ToScript(info.Env(), held()->extraHeaderValueForName(Text::FromScript(info[0])));
}

}  // namespace velkor
