#include <brennox/POPMessageInfo.h>

namespace brennox {

POPMessageInfo::POPMessageInfo(POPMessageInfo* other) {
  if (other != nullptr) {
    uid_ = other->uid_;
    index_ = other->index_;
    size_ = other->size_;
  }
}

String* POPMessageInfo::description() {
  return String::stringWithText("<POPMessageInfo: " + std::to_string(index_) + " " +
                                std::string(textOf(uid_.get())) + " " + std::to_string(size_) +
                                ">");
}

Object* POPMessageInfo::copy() {
  return makeAutoreleased<POPMessageInfo>(this);
}

}  // namespace brennox
