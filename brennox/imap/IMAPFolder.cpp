#include <brennox/IMAPFolder.h>

#include "imap/modified_utf7.h"

namespace brennox {

IMAPFolder::IMAPFolder(IMAPFolder* other) {
  if (other != nullptr) {
    path_ = other->path();
    delimiter_ = other->delimiter();
    flags_ = other->flags();
  }
}

String* IMAPFolder::decodePath(String* path) {
  return String::stringWithText(imap::decodeModifiedUTF7(textOf(path)));
}

String* IMAPFolder::encodePath(String* text) {
  return String::stringWithText(imap::encodeModifiedUTF7(textOf(text)));
}

String* IMAPFolder::description() {
  std::string text = "<IMAPFolder: ";
  text += textOf(path_.get());
  if (delimiter_ != 0) {
    text += " '";
    text += delimiter_;
    text += '\'';
  }
  text += " flags " + std::to_string(flags_) + ">";
  return String::stringWithText(text);
}

Object* IMAPFolder::copy() {
  return makeAutoreleased<IMAPFolder>(this);
}

}  // namespace brennox
