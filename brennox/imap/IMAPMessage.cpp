#include <brennox/HTMLRendererCallback.h>
#include <brennox/IMAPMessage.h>
#include <brennox/IMAPPart.h>
#include <brennox/IMAPSession.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>

#include "imap/body_structure.h"
#include "imap/envelope.h"
#include "imap/fetched_text.h"
#include "imap/rendering.h"

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
  textOffset_ = other->textOffset_;
}

void IMAPMessage::setFetched(imap::FetchedText* text, std::uint32_t offset, bool header,
                             bool structure) {
  // What an earlier response told stays, unless this one tells it anew.
  if (!header) {
    this->header();
  }
  if (!structure) {
    mainPart();
  }
  textOffset_ = offset;
  if (header) {
    header_ = static_cast<Object*>(text);
  }
  if (structure) {
    mainPart_ = static_cast<Object*>(text);
  }
}

MessageHeader* IMAPMessage::header() {
  if (const auto* const text = dynamic_cast<imap::FetchedText*>(header_.get())) {
    const imap::FetchedText::Words words = text->wordsAt(textOffset_);
    const Ref<MessageHeader> header = imap::headerOf(words.envelope, words.fields);
    if (words.internalDate != -1) {
      header->setReceivedDate(words.internalDate);
    }
    header_ = static_cast<Object*>(header.get());
  }
  return static_cast<MessageHeader*>(header_.get());
}

void IMAPMessage::setHeader(MessageHeader* header) {
  header_ = static_cast<Object*>(header);
}

IMAPPart* IMAPMessage::mainPart() {
  if (const auto* const text = dynamic_cast<imap::FetchedText*>(mainPart_.get())) {
    const Ref<IMAPPart> part = imap::parseBodyStructure(text->wordsAt(textOffset_).structure);
    mainPart_ = static_cast<Object*>(part.get());
  }
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

String* IMAPMessage::htmlRendering(String* folder, HTMLRendererIMAPCallback* callback,
                                   HTMLRendererTemplateCallback* templates) {
  const Ref<HTMLRendererIMAPCallback> own = make<HTMLRendererIMAPCallback>();
  imap::Rendering rendering(this, folder, callback == nullptr ? own.get() : callback);
  return html::htmlRendering(header(), mainPart(), rendering, templates);
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
