#include <brennox/IMAPPart.h>
#include <brennox/MessageHeader.h>

namespace brennox {

IMAPPart::IMAPPart() = default;
IMAPPart::~IMAPPart() = default;

// Children are shared, as everything below a part is only ever read.
IMAPPart::IMAPPart(IMAPPart* other) : AbstractPart(other) {
  if (other == nullptr) {
    return;
  }
  partID_ = other->partID();
  encoding_ = other->encoding();
  size_ = other->size();
  flowed_ = other->isFlowed();
  deletesFlowedSpaces_ = other->deletesFlowedSpaces();
  if (other->parts() != nullptr) {
    parts_ = make<Array>(other->parts());
  }
  mainPart_ = static_cast<IMAPPart*>(other->mainPart());
  header_ = other->header();
}

MessageHeader* IMAPPart::header() {
  return static_cast<MessageHeader*>(header_.get());
}

void IMAPPart::setHeader(MessageHeader* header) {
  header_ = static_cast<Object*>(header);
}

Object* IMAPPart::copy() {
  return makeAutoreleased<IMAPPart>(this);
}

}  // namespace brennox
