#include <brennox/Array.h>
#include <brennox/Attachment.h>
#include <brennox/MessageBuilder.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>

#include <stdexcept>

namespace brennox {

struct MessageBuilder::State {
  Ref<MessageHeader> header;
  Ref<String> htmlBody;
  Ref<String> textBody;
  Ref<Array> attachments;
  Ref<Array> relatedAttachments;
  Ref<String> boundaryPrefix;
  Ref<String> signingCertificate;
  Ref<String> signingSecond;
  Ref<Array> recipientsCertificates;
  Ref<String> keyUsagePolicy;
  Ref<String> tempFolder;
};

namespace {

// The list is the builder's own, so that adding to it does not show in the caller's.
Ref<Array> ownList(Array* list) {
  return list == nullptr ? Ref<Array>() : make<Array>(list);
}

void append(Ref<Array>& list, Attachment* attachment) {
  if (!list) {
    list = make<Array>();
  }
  list->addObject(attachment);
}

}  // namespace

MessageBuilder::MessageBuilder() : state_(std::make_unique<State>()) {}

MessageBuilder::~MessageBuilder() = default;

MessageHeader* MessageBuilder::header() {
  return state_->header.get();
}

void MessageBuilder::setHeader(MessageHeader* header) {
  state_->header = header;
}

String* MessageBuilder::htmlBody() {
  return state_->htmlBody.get();
}

void MessageBuilder::setHTMLBody(String* html) {
  state_->htmlBody = html;
}

String* MessageBuilder::textBody() {
  return state_->textBody.get();
}

void MessageBuilder::setTextBody(String* text) {
  state_->textBody = text;
}

Array* MessageBuilder::attachments() {
  return state_->attachments.get();
}

void MessageBuilder::setAttachments(Array* attachments) {
  state_->attachments = ownList(attachments);
}

void MessageBuilder::addAttachment(Attachment* attachment) {
  append(state_->attachments, attachment);
}

Array* MessageBuilder::relatedAttachments() {
  return state_->relatedAttachments.get();
}

void MessageBuilder::setRelatedAttachments(Array* attachments) {
  state_->relatedAttachments = ownList(attachments);
}

void MessageBuilder::addRelatedAttachment(Attachment* attachment) {
  append(state_->relatedAttachments, attachment);
}

String* MessageBuilder::boundaryPrefix() {
  return state_->boundaryPrefix.get();
}

void MessageBuilder::setBoundaryPrefix(String* prefix) {
  state_->boundaryPrefix = prefix;
}

void MessageBuilder::setSigningCertificate(String* certificate, String* second) {
  state_->signingCertificate = certificate;
  state_->signingSecond = second;
}

void MessageBuilder::setRecipientsCertificates(Array* certificates) {
  state_->recipientsCertificates = ownList(certificates);
}

String* MessageBuilder::keyUsagePolicy() {
  return state_->keyUsagePolicy.get();
}

void MessageBuilder::setKeyUsagePolicy(String* policy) {
  state_->keyUsagePolicy = policy;
}

String* MessageBuilder::getTempFolder() {
  return state_->tempFolder.get();
}

void MessageBuilder::setTempFolder(String* path) {
  state_->tempFolder = path;
}

Data* MessageBuilder::data() {
  throw std::logic_error("Not implemented");
}

ErrorCode MessageBuilder::writeToFile(String* path) {
  return data()->writeToFile(path);
}

}  // namespace brennox
