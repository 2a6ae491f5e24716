#include <brennox/HTMLRendererCallback.h>
#include <brennox/IMAPMessage.h>
#include <brennox/IMAPPart.h>
#include <brennox/IMAPSession.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>

#include "imap/MessageDetails.h"
#include "imap/body_structure.h"
#include "imap/envelope.h"
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
  details_ = other->details_;
  textOffset_ = other->textOffset_;
}

imap::MessageDetails& IMAPMessage::own() {
  if (!details_) {
    details_ = make<imap::MessageDetails>();
  } else if (details_->retainCount() > 1) {
    details_ = make<imap::MessageDetails>(details_.get());
  }
  return *details_;
}

void IMAPMessage::setFetched(imap::MessageDetails* listing, std::uint32_t offset, bool header,
                             bool structure) {
  if (header && structure) {
    details_ = listing;
    textOffset_ = offset;
    return;
  }
  // What an earlier response told stays, unless this one tells it anew.
  if (!header) {
    this->header();
  }
  if (!structure) {
    mainPart();
  }
  imap::MessageDetails& details = own();
  details.session = listing->session;
  details.text = listing->text;
  textOffset_ = offset;
  if (header) {
    details.header = nullptr;
    details.headerIsInText = true;
  }
  if (structure) {
    details.mainPart = nullptr;
    details.partsAreInText = true;
  }
}

MessageHeader* IMAPMessage::header() {
  if (details_ && details_->headerIsInText) {
    const imap::FetchedText::Words words = details_->text->wordsAt(textOffset_);
    const Ref<MessageHeader> header = imap::headerOf(words.envelope, words.fields);
    if (words.internalDate != -1) {
      header->setReceivedDate(words.internalDate);
    }
    setHeader(header.get());
  }
  return details_ ? details_->header.get() : nullptr;
}

void IMAPMessage::setHeader(MessageHeader* header) {
  imap::MessageDetails& details = own();
  details.header = header;
  details.headerIsInText = false;
}

IMAPPart* IMAPMessage::mainPart() {
  if (details_ && details_->partsAreInText) {
    setMainPart(imap::parseBodyStructure(details_->text->wordsAt(textOffset_).structure).get());
  }
  return details_ ? details_->mainPart.get() : nullptr;
}

void IMAPMessage::setMainPart(IMAPPart* part) {
  imap::MessageDetails& details = own();
  details.mainPart = part;
  details.partsAreInText = false;
}

IMAPSession* IMAPMessage::session() {
  return details_ ? details_->session.get() : nullptr;
}

void IMAPMessage::setSession(IMAPSession* session) {
  own().session = session;
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
