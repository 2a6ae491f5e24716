#include <brennox/IMAPMessage.h>
#include <brennox/IMAPPart.h>
#include <brennox/IMAPSession.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>

#include <stdexcept>

namespace brennox {

IMAPMessage::IMAPMessage() = default;
IMAPMessage::~IMAPMessage() = default;

IMAPMessage::IMAPMessage(IMAPMessage* other) {
  if (other == nullptr) {
    return;
  }
  sequenceNumber_ = other->sequenceNumber_;
  uid_ = other->uid_;
  size_ = other->size_;
  flags_ = other->flags_;
  originalFlags_ = other->originalFlags_;
  modSeqValue_ = other->modSeqValue_;
  header_ = other->header_;
  mainPart_ = other->mainPart_;
  session_ = other->session_;
}

MessageHeader* IMAPMessage::header() {
  return static_cast<MessageHeader*>(header_.get());
}

void IMAPMessage::setHeader(MessageHeader* header) {
  header_ = static_cast<Object*>(header);
}

IMAPPart* IMAPMessage::mainPart() {
  return static_cast<IMAPPart*>(mainPart_.get());
}

void IMAPMessage::setMainPart(IMAPPart* part) {
  mainPart_ = static_cast<Object*>(part);
}

IMAPSession* IMAPMessage::session() {
  return static_cast<IMAPSession*>(session_.get());
}

void IMAPMessage::setSession(IMAPSession* session) {
  session_ = static_cast<Object*>(session);
}

String* IMAPMessage::htmlRendering(String* /*folder*/, HTMLRendererIMAPCallback* /*callback*/,
                                   HTMLRendererTemplateCallback* /*templates*/) {
  throw std::logic_error("Not implemented");
}

String* IMAPMessage::description() {
  return String::stringWithText("<IMAPMessage: uid " + std::to_string(uid_) + " number " +
                                std::to_string(sequenceNumber_) + " flags " +
                                std::to_string(flags_) + ">");
}

Object* IMAPMessage::copy() {
  return makeAutoreleased<IMAPMessage>(this);
}

}  // namespace brennox
