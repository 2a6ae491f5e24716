#include <brennox/Attachment.h>

#include "mime/mime_types.h"
#include "text/charset.h"

namespace brennox {

namespace {

Attachment* attachmentWithMarkup(const char* mimeType, String* text) {
  auto* const attachment = makeAutoreleased<Attachment>();
  attachment->setMimeType(String::uniquedStringWithUTF8Characters(mimeType));
  attachment->setCharset(String::uniquedStringWithUTF8Characters("utf-8"));
  attachment->setData(text == nullptr ? Data::data() : text->dataUsingUTF8());
  return attachment;
}

}  // namespace

Attachment::Attachment() = default;

Attachment::Attachment(Attachment* other) : AbstractPart(other) {
  if (other != nullptr) {
    partID_ = other->partID();
    data_ = other->data();
  }
}

Attachment::~Attachment() = default;

String* Attachment::mimeTypeForFilename(String* filename) {
  return String::uniquedStringWithUTF8Characters(mime::mimeTypeForFilename(textOf(filename)));
}

Attachment* Attachment::attachmentWithData(String* filename, Data* data) {
  auto* const attachment = makeAutoreleased<Attachment>();
  attachment->setMimeType(mimeTypeForFilename(filename));
  attachment->setFilename(filename);
  attachment->setData(data);
  attachment->setAttachment(true);
  return attachment;
}

Attachment* Attachment::attachmentWithText(String* text) {
  return attachmentWithMarkup("text/plain", text);
}

Attachment* Attachment::attachmentWithHTMLString(String* html) {
  return attachmentWithMarkup("text/html", html);
}

Data* Attachment::data() {
  return data_.get();
}

void Attachment::setData(Data* data) {
  data_ = data;
}

String* Attachment::decodedString() {
  const Ref<Data> content = data();
  if (!content) {
    return nullptr;
  }
  return text::decodedText(content->view(), textOf(charset()));
}

Object* Attachment::copy() {
  return makeAutoreleased<Attachment>(this);
}

}  // namespace brennox
