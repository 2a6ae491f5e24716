#include "message/WMessageBuilder.h"

#include <brennox/Array.h>
#include <brennox/Attachment.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>

#include <stdexcept>

#include "main/Arguments.h"
#include "main/Kinds.h"
#include "message/BuilderWorkers.h"
#include "message/WAttachment.h"
#include "message/WMessageHeader.h"

namespace velkor {
namespace {

constexpr char kAttachmentsText[] = "Attachments value must be array";
constexpr char kPathText[] = "first parameter must be a string";

// The attachments of a script array, each an independent copy, one by one in index order.
template <class Take>
void EachAttachmentCopy(Napi::Value list, Take take) {
  Require(list.IsArray(), list.Env(), kAttachmentsText);
  const Napi::Array array = list.As<Napi::Array>();
  const std::uint32_t length = array.Length();
  for (std::uint32_t i = 0; i < length; ++i) {
    Napi::HandleScope scope(array.Env());
    take(static_cast<brennox::Attachment*>(WAttachment::Expect(array.Get(i)).held()->copy()));
  }
}

}  // namespace

Napi::Function WMessageBuilder::Define(Napi::Env env) {
  using B = brennox::MessageBuilder;
  // Both bodies have the one text; scripts match on it.
  static constexpr char kBodyText[] = "htmlBody value must be string";
  const Members members = {
      Accessor<&WMessageBuilder::Header, &WMessageBuilder::SetHeader>("header"),
      Property<Text, &B::htmlBody, &B::setHTMLBody>("htmlBody", kBodyText),
      Property<Text, &B::textBody, &B::setTextBody>("textBody", kBodyText),
      Accessor<&WMessageBuilder::Attachments<&B::attachments>,
               &WMessageBuilder::SetAttachments<&B::setAttachments>>("attachments"),
      Accessor<&WMessageBuilder::Attachments<&B::relatedAttachments>,
               &WMessageBuilder::SetAttachments<&B::setRelatedAttachments>>("relatedAttachments"),
      Property<Text, &B::boundaryPrefix, &B::setBoundaryPrefix>(
          "boundaryPrefix", "boundaryPrefix value must be string"),
      Accessor<&WMessageBuilder::Bytes>("data"),
      Property<PolicyName, &B::keyUsagePolicy, &B::setKeyUsagePolicy>(
          "keyUsagePolicy", "keyUsagePolicy value must be string"),

      Method<&WMessageBuilder::AddAttachments<&B::addAttachment>>("addAttachments"),
      Method<&WMessageBuilder::AddAttachments<&B::addRelatedAttachment>>("addRelatedAttachments"),
      Method<&WMessageBuilder::GetDataAsync>("getDataAsync"),
      Method<&WMessageBuilder::Write>("Write"),
      Method<&WMessageBuilder::WriteAsync>("WriteAsync"),
      Method<&WMessageBuilder::SetSignerCert>("SetSignerCert"),
      Method<&WMessageBuilder::SetRecipientsCerts>("SetRecipientsCerts"),
      Method<&WMessageBuilder::SetTempFolder>("SetTempFolder"),
  };
  return DefineClass(env, kName, members);
}

brennox::Ref<brennox::Data> WMessageBuilder::Build() {
  const std::lock_guard lock(building_);
  brennox::AutoreleasePool pool;
  return held()->data();
}

brennox::ErrorCode WMessageBuilder::BuildToFile(const std::string& path) {
  const std::lock_guard lock(building_);
  brennox::AutoreleasePool pool;
  return held()->writeToFile(brennox::String::stringWithText(path));
}

Napi::Value WMessageBuilder::Header(const Napi::CallbackInfo& info) {
  brennox::MessageHeader* const header = held()->header();
  return header == nullptr ? info.Env().Undefined()
                           : WMessageHeader::NewInstance(info.Env(), header);
}

void WMessageBuilder::SetHeader(const Napi::CallbackInfo& info, const Napi::Value& value) {
  const WMessageHeader* const header = WMessageHeader::From(value.ToObject());
  if (header == nullptr) {
    // No TypeError: the text is that of Node-API's own failure to unwrap an object.
    throw Napi::Error::New(info.Env(), "Invalid argument");
  }
  held()->setHeader(static_cast<brennox::MessageHeader*>(header->held()->copy()));
}

template <WMessageBuilder::Get kGet>
Napi::Value WMessageBuilder::Attachments(const Napi::CallbackInfo& info) {
  const Napi::Env env = info.Env();
  return ArrayOf<brennox::Attachment>(env, (held()->*kGet)(), [env](brennox::Attachment* part) {
    return WAttachment::NewInstance(env, part);
  });
}

template <WMessageBuilder::Set kSet>
void WMessageBuilder::SetAttachments(const Napi::CallbackInfo&, const Napi::Value& value) {
  auto* const parts = brennox::Array::array();
  EachAttachmentCopy(value, [parts](brennox::Attachment* part) { parts->addObject(part); });
  (held()->*kSet)(parts);
}

template <WMessageBuilder::Add kAdd>
void WMessageBuilder::AddAttachments(const Napi::CallbackInfo& info) {
  EachAttachmentCopy(info[0], [this](brennox::Attachment* part) { (held()->*kAdd)(part); });
}

Napi::Value WMessageBuilder::Bytes(const Napi::CallbackInfo& info) {
  try {
    return BufferOf(info.Env(), Build());
  } catch (const Napi::Error&) {
    throw;
  } catch (const std::runtime_error&) {
    throw;  // becomes an Error with its own text
  } catch (...) {
    throw Napi::Error::New(info.Env(), "Unknown error!");
  }
}

void WMessageBuilder::GetDataAsync(const Napi::CallbackInfo& info) {
  const Napi::Function callback = FunctionArgument(info, 0, "first parameter must be a callback");
  Start<DataWorker>(info, *this, callback);
}

void WMessageBuilder::Write(const Napi::CallbackInfo& info) {
  const std::string path = StringArgument(info, 0, kPathText);
  try {
    static_cast<void>(BuildToFile(path));
  } catch (...) {
    // This method reports nothing; WriteAsync and `data` do.
  }
}

void WMessageBuilder::WriteAsync(const Napi::CallbackInfo& info) {
  std::string path = StringArgument(info, 0, kPathText);
  // The text names the other parameter; scripts match on it.
  const Napi::Function callback = FunctionArgument(info, 1, "first parameter must be a callback");
  Start<WriteWorker>(info, *this, std::move(path), callback);
}

void WMessageBuilder::SetSignerCert(const Napi::CallbackInfo& info) {
  // The text speaks of a Buffer although a string is expected; scripts match on it.
  Require(info[0].IsString(), info.Env(), "first parameter must be a Buffer");
  brennox::String* second = nullptr;
  if (info.Length() > 1) {
    // A second argument that is given as undefined is coerced to text like any other value.
    Require(info[1].IsString() || info[1].IsUndefined(), info.Env(),
            "second parameter must be a string if specified");
    second = Text::FromScript(info[1]);
  }
  held()->setSigningCertificate(Text::FromScript(info[0]), second);
}

void WMessageBuilder::SetRecipientsCerts(const Napi::CallbackInfo& info) {
  Require(info[0].IsArray(), info.Env(), "first parameter must be Array");
  held()->setRecipientsCertificates(TextsOf(info[0], "Value must be Array of strings"));
}

void WMessageBuilder::SetTempFolder(const Napi::CallbackInfo& info) {
  Require(info[0].IsString(), info.Env(), kPathText);
  held()->setTempFolder(Text::FromScript(info[0]));
}

}  // namespace velkor
