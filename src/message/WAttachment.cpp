#include "message/WAttachment.h"

#include "main/Arguments.h"
#include "main/Kinds.h"

namespace velkor {

Napi::Function WAttachment::Define(Napi::Env env) {
  using A = brennox::Attachment;
  // Four properties share the text of one that is itself spelled otherwise; scripts match on it.
  static constexpr char kUniqueIdText[] = "uniqueId value must be string";
  const Members members = {
      Property<OptionalText, &A::partID, &A::setPartID>("partId", "partId value must be string"),
      Accessor<&WAttachment::Content, &WAttachment::SetContent>("data"),
      ReadOnly<Text, &A::decodedString>("decodedString"),
      Property<Text, &A::filename, &A::setFilename>("filename", "filename value must be string"),
      Property<Text, &A::mimeType, &A::setMimeType>("mimeType", "mimeType value must be string"),
      Property<Text, &A::charset, &A::setCharset>("charset", "charset value must be string"),
      Property<Text, &A::uniqueID, &A::setUniqueID>("uniqeID", kUniqueIdText),
      Property<Text, &A::contentID, &A::setContentID>("contentID", kUniqueIdText),
      Property<Text, &A::contentLocation, &A::setContentLocation>("contentLocation", kUniqueIdText),
      Property<Text, &A::contentDescription, &A::setContentDescription>("contentDescription",
                                                                        kUniqueIdText),
  };
  return DefineClass(env, kName, members);
}

WAttachment::WAttachment(const Napi::CallbackInfo& info) : Wrapper(info) {
  if (info[0].IsUndefined()) {
    return;
  }
  brennox::AutoreleasePool pool;
  const brennox::Ref<brennox::Data> content =
      BufferArgument(info, 0, "first parameter must be a Buffer");
  brennox::String* filename = nullptr;
  if (info.Length() > 1) {
    // An undefined file name is coerced like any other value: the file is then called "undefined".
    // The text speaks of a Buffer although a string is expected; scripts match on it.
    Require(info[1].IsString() || info[1].IsUndefined(), info.Env(),
            "second parameter must be a Buffer");
    filename = Text::FromScript(info[1]);
  }
  Hold(brennox::Attachment::attachmentWithData(filename, content.get()));
  Weigh(content->length());
}

Napi::Value WAttachment::Content(const Napi::CallbackInfo& info) {
  brennox::Ref<brennox::Data> content;
  {
    // Ends before the Buffer is made: content that was decoded for this call alone then has no
    // other holder, and need not be copied.
    brennox::AutoreleasePool pool;
    content = held()->data();
  }
  return BufferOf(info.Env(), std::move(content));
}

void WAttachment::SetContent(const Napi::CallbackInfo& info, const Napi::Value& value) {
  if (!value.IsBuffer()) {
    // No TypeError: the text is that of Node-API's own failure.
    throw Napi::Error::New(info.Env(), "Invalid argument");
  }
  const brennox::Ref<brennox::Data> content = CopyBytes(value);
  held()->setData(content.get());
  Weigh(content->length());
}

}  // namespace velkor
