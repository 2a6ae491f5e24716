#include <brennox/AbstractPart.h>

namespace brennox {

AbstractPart::AbstractPart(AbstractPart* other) {
  if (other == nullptr) {
    return;
  }
  // Through the accessors: a subclass may make a value only when it is asked for.
  partType_ = other->partType();
  inline_ = other->isInlineAttachment();
  attachment_ = other->isAttachment();
  filename_ = other->filename();
  mimeType_ = other->mimeType();
  charset_ = other->charset();
  uniqueID_ = other->uniqueID();
  contentID_ = other->contentID();
  contentLocation_ = other->contentLocation();
  contentDescription_ = other->contentDescription();
}

String* AbstractPart::description() {
  std::string text = "<";
  text += className();
  text += ": ";
  text += mimeType() == nullptr ? "no type" : mimeType()->view();
  if (filename() != nullptr) {
    text += " \"";
    text += filename()->view();
    text += '"';
  }
  text += '>';
  return makeAutoreleased<String>(std::move(text));
}

}  // namespace brennox
