#include "message/WMessageParser.h"

#include <brennox/Array.h>
#include <brennox/Attachment.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>

#include <utility>

#include "main/Arguments.h"
#include "main/Kinds.h"
#include "message/CustomHTMLRendererTemplateCallback.h"
#include "message/ParserWorkers.h"
#include "message/WAttachment.h"
#include "message/WMessageHeader.h"

namespace velkor {
namespace {

constexpr char kPathText[] = "first parameter must be a string";
constexpr char kBufferText[] = "first parameter must be a Buffer";

// Parses on the script thread.
template <class Input>
void ParseNow(Napi::Env env, WMessageParser& parser, const Input& input) {
  brennox::Ref<brennox::MessageParser> result;
  try {
    result = input.Parse();
  } catch (...) {
    parser.Take(nullptr);
    throw Napi::Error::New(env, Input::kFailureText);
  }
  const bool succeeded = static_cast<bool>(result);
  parser.Take(std::move(result));
  if (!succeeded) {
    throw Napi::Error::New(env, Input::kNoParserText);
  }
}

}  // namespace

Napi::Function WMessageParser::Define(Napi::Env env) {
  using P = brennox::MessageParser;
  const Members members = {
      Property<Flag, &P::doNotDecrypt, &P::setDoNotDecrypt>("doNotDecrypt",
                                                            "doNotDecrypt value must be boolean"),
      Property<PolicyName, &P::keyUsagePolicy, &P::setKeyUsagePolicy>(
          "keyUsagePolicy", "keyUsagePolicy value must be string"),
      Accessor<&WMessageParser::Header>("header"),
      Accessor<&WMessageParser::Nothing>("mainPart"),
      Accessor<&WMessageParser::Attachments<&P::attachments>>("attachments"),
      Accessor<&WMessageParser::Attachments<&P::htmlInlineAttachments>>("htmlInlineAttachments"),
      Accessor<&WMessageParser::Nothing>("requiredPartsForRendering"),
      ReadOnly<Flag, &P::isSigned>("isSigned"),
      ReadOnly<Flag, &P::isEncrypted>("isEncrypted"),
      ReadOnly<Flag, &P::VerifyResult>("verifyResult"),
      Accessor<&WMessageParser::SignerCertificate>("signerCertificate"),
      Accessor<&WMessageParser::ExtendedSignInfo>("extendedSignInfo"),
      ReadOnly<Flag, &P::DecryptResult>("decryptResult"),
      ReadOnly<Text, &P::DecryptResultMessage>("decryptMessage"),

      Method<&WMessageParser::SetTempFolder>("SetTempFolder"),
      Method<&WMessageParser::Read>("Read"),
      Method<&WMessageParser::ReadAsync>("ReadAsync"),
      Method<&WMessageParser::Import>("Import"),
      Method<&WMessageParser::ImportAsync>("ImportAsync"),
      Method<&WMessageParser::HtmlRendering>("HtmlRendering"),
      Getter<Text, &P::htmlBodyRendering>("HtmlBodyRendering"),
      Getter<Text, &P::plainTextRendering>("PlainTextRendering"),
      Method<&WMessageParser::PlainTextBodyRendering>("PlainTextBodyRendering"),
      Method<&WMessageParser::Clear>("clear"),
  };
  return DefineClass(env, kName, members);
}

void WMessageParser::Take(brennox::Ref<brennox::MessageParser> parser) {
  Hold(parser ? std::move(parser) : brennox::make<brennox::MessageParser>());
  brennox::Data* const message = held()->data();
  Weigh(message == nullptr ? 0 : message->length());
}

Napi::Value WMessageParser::Header(const Napi::CallbackInfo& info) {
  // A copy of no header is an empty one.
  return WMessageHeader::NewInstance(info.Env(), held()->header());
}

// The part tree is not shown to scripts.
Napi::Value WMessageParser::Nothing(const Napi::CallbackInfo& info) {
  return info.Env().Undefined();
}

template <brennox::Array* (brennox::MessageParser::*kGet)()>
Napi::Value WMessageParser::Attachments(const Napi::CallbackInfo& info) {
  const Napi::Env env = info.Env();
  return ArrayOf<brennox::Attachment>(env, (held()->*kGet)(), [env](brennox::Attachment* part) {
    return WAttachment::NewInstance(env, part);
  });
}

Napi::Value WMessageParser::SignerCertificate(const Napi::CallbackInfo& info) {
  return BufferOf(info.Env(), held()->SignerCert());
}

Napi::Value WMessageParser::ExtendedSignInfo(const Napi::CallbackInfo& info) {
  const Napi::Env env = info.Env();
  if (!held()->isSigned()) {
    return env.Undefined();
  }
  Napi::Object result = Napi::Object::New(env);
  result.Set("creationDate", Text::ToScript(env, held()->CreationDate()));
  result.Set("signAlg", Text::ToScript(env, held()->SignAlg()));
  result.Set("hashAlg", Text::ToScript(env, held()->HashAlg()));
  return result;
}

void WMessageParser::SetTempFolder(const Napi::CallbackInfo& info) {
  Require(info[0].IsString(), info.Env(), kPathText);
  held()->setTempFolder(Text::FromScript(info[0]));
}

void WMessageParser::Read(const Napi::CallbackInfo& info) {
  ParseNow(info.Env(), *this, FileInput(*held(), StringArgument(info, 0, kPathText)));
}

void WMessageParser::ReadAsync(const Napi::CallbackInfo& info) {
  FileInput input(*held(), StringArgument(info, 0, kPathText));
  const Napi::Function callback = FunctionArgument(info, 1, "second parameter must be a callback");
  Start<ReadWorker>(info, *this, std::move(input), callback);
}

void WMessageParser::Import(const Napi::CallbackInfo& info) {
  ParseNow(info.Env(), *this, DataInput(*held(), BufferArgument(info, 0, kBufferText)));
}

void WMessageParser::ImportAsync(const Napi::CallbackInfo& info) {
  DataInput input(*held(), BufferArgument(info, 0, kBufferText));
  // The callback is not checked here: without one the import still takes effect.
  Start<ImportWorker>(info, *this, std::move(input), info[1]);
}

Napi::Value WMessageParser::HtmlRendering(const Napi::CallbackInfo& info) {
  const auto templates = brennox::make<CustomHTMLRendererTemplateCallback>();
  return Text::ToScript(info.Env(), held()->htmlRendering(templates.get()));
}

Napi::Value WMessageParser::PlainTextBodyRendering(const Napi::CallbackInfo& info) {
  return Text::ToScript(info.Env(), held()->plainTextBodyRendering(false));
}

void WMessageParser::Clear(const Napi::CallbackInfo& info) {
  try {
    Take(nullptr);
  } catch (...) {
    throw Napi::Error::New(info.Env(), "Error while clearing message data");
  }
}

}  // namespace velkor
