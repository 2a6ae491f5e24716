// Puts the parts of a message into a tree no deeper than they need:
//
//   multipart/mixed                     with attachments beside a body
//     multipart/related                 with related attachments and an HTML body
//       multipart/alternative           with a plain and an HTML body
//         text/plain, text/html
//       related attachments
//     attachments
//
// and has mime write it, message protect it if that was asked for.
#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/Attachment.h>
#include <brennox/MessageBuilder.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>

#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/unique_token.h"
#include "message/protect.h"
#include "mime/writer.h"
#include "rfc822/header_writer.h"
#include "rfc822/message_id.h"

namespace brennox {

namespace {

// What tells one message from another. Kept from one reading to the next, so that the bytes are
// the same as long as nothing changes.
struct Identity {
  std::string messageID;
  std::time_t date;
  std::string boundarySeed;
};

}  // namespace

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
  std::optional<Identity> identity;
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

using mime::Disposition;
using mime::OutgoingEntity;
using mime::WriteOptions;

std::string_view domainOf(std::string_view mailbox) {
  const std::size_t at = mailbox.rfind('@');
  return at == std::string_view::npos ? std::string_view() : mailbox.substr(at + 1);
}

bool hasUsableMessageID(MessageHeader* header) {
  std::string field;
  rfc822::writeMessageID("Message-ID", textOf(header->messageID()), field);
  return !field.empty();
}

// The fields of the message itself; those of its body belong to the entity.
std::string messageFields(MessageHeader* header, const Identity& identity) {
  std::string fields;
  if (header->date() == -1) {
    rfc822::writeDate("Date", identity.date, fields);
  }
  if (!hasUsableMessageID(header)) {
    rfc822::writeMessageID("Message-ID", identity.messageID, fields);
  }
  rfc822::writeHeader(header, fields);
  fields += "MIME-Version: 1.0\r\n";
  return fields;
}

void appendAttachments(Array* attachments, Disposition disposition, const WriteOptions& options,
                       std::vector<OutgoingEntity>& parts) {
  for (unsigned int i = 0; attachments != nullptr && i < attachments->count(); ++i) {
    auto* const attachment = dynamic_cast<Attachment*>(attachments->objectAtIndex(i));
    if (attachment != nullptr) {
      const bool isInline = attachment->isInlineAttachment() && !attachment->isAttachment();
      parts.push_back(mime::attachmentEntity(
          attachment, isInline ? Disposition::Inline : disposition, options));
    }
  }
}

// An attached message cannot be the whole of another one: it would be taken for it.
bool isMessage(const OutgoingEntity& entity) {
  return entity.fields.starts_with("Content-Type: message/");
}

unsigned int countOf(Array* array) {
  return array == nullptr ? 0 : array->count();
}

// An empty body is none; without either body and without attachments there is an empty plain one.
OutgoingEntity compose(std::string_view plain, std::string_view html, Array* attachments,
                       Array* related, bool isSigned) {
  const unsigned int attachmentCount = countOf(attachments) + countOf(related);
  WriteOptions options;
  options.isSigned = isSigned;
  options.standsAlone = attachmentCount + (plain.empty() ? 0 : 1) + (html.empty() ? 0 : 1) <= 1;

  std::vector<OutgoingEntity> parts;
  if (!plain.empty()) {
    parts.push_back(mime::textEntity(plain, "plain", options));
  }
  if (!html.empty()) {
    parts.push_back(mime::textEntity(html, "html", options));
  }
  if (parts.size() == 2) {
    OutgoingEntity alternative = mime::multipartEntity("alternative", std::move(parts));
    parts = std::vector<OutgoingEntity>();
    parts.push_back(std::move(alternative));
  }
  appendAttachments(related, Disposition::Inline, options, parts);
  if (!html.empty() && countOf(related) > 0) {
    OutgoingEntity group = mime::multipartEntity("related", std::move(parts));
    parts = std::vector<OutgoingEntity>();
    parts.push_back(std::move(group));
  }
  appendAttachments(attachments, Disposition::Attachment, options, parts);
  if (parts.empty()) {
    parts.push_back(mime::textEntity("", "plain", options));
  }
  if (parts.size() == 1 && !isMessage(parts.front())) {
    return std::move(parts.front());
  }
  return mime::multipartEntity("mixed", std::move(parts));
}

// Everybody a message names.
std::vector<std::string> mailboxesOf(MessageHeader* header) {
  std::vector<std::string> mailboxes;
  const auto add = [&](Address* address) {
    if (address != nullptr) {
      mailboxes.emplace_back(textOf(address->mailbox()));
    }
  };
  add(header->from());
  add(header->sender());
  for (Array* const list : {header->to(), header->cc(), header->bcc()}) {
    for (unsigned int i = 0; list != nullptr && i < list->count(); ++i) {
      add(dynamic_cast<Address*>(list->objectAtIndex(i)));
    }
  }
  return mailboxes;
}

}  // namespace

MessageBuilder::MessageBuilder() : state_(std::make_unique<State>()) {}

MessageBuilder::~MessageBuilder() = default;

MessageHeader* MessageBuilder::header() {
  return state_->header.get();
}

void MessageBuilder::setHeader(MessageHeader* header) {
  state_->header = header;
  state_->identity.reset();
}

String* MessageBuilder::htmlBody() {
  return state_->htmlBody.get();
}

void MessageBuilder::setHTMLBody(String* html) {
  state_->htmlBody = html;
  state_->identity.reset();
}

String* MessageBuilder::textBody() {
  return state_->textBody.get();
}

void MessageBuilder::setTextBody(String* text) {
  state_->textBody = text;
  state_->identity.reset();
}

Array* MessageBuilder::attachments() {
  return state_->attachments.get();
}

void MessageBuilder::setAttachments(Array* attachments) {
  state_->attachments = ownList(attachments);
  state_->identity.reset();
}

void MessageBuilder::addAttachment(Attachment* attachment) {
  append(state_->attachments, attachment);
  state_->identity.reset();
}

Array* MessageBuilder::relatedAttachments() {
  return state_->relatedAttachments.get();
}

void MessageBuilder::setRelatedAttachments(Array* attachments) {
  state_->relatedAttachments = ownList(attachments);
  state_->identity.reset();
}

void MessageBuilder::addRelatedAttachment(Attachment* attachment) {
  append(state_->relatedAttachments, attachment);
  state_->identity.reset();
}

String* MessageBuilder::boundaryPrefix() {
  return state_->boundaryPrefix.get();
}

void MessageBuilder::setBoundaryPrefix(String* prefix) {
  state_->boundaryPrefix = prefix;
  state_->identity.reset();
}

void MessageBuilder::setSigningCertificate(String* certificate, String* second) {
  state_->signingCertificate = certificate;
  state_->signingSecond = second;
  state_->identity.reset();
}

void MessageBuilder::setRecipientsCertificates(Array* certificates) {
  state_->recipientsCertificates = ownList(certificates);
  state_->identity.reset();
}

String* MessageBuilder::keyUsagePolicy() {
  return state_->keyUsagePolicy.get();
}

void MessageBuilder::setKeyUsagePolicy(String* policy) {
  state_->keyUsagePolicy = policy;
  state_->identity.reset();
}

String* MessageBuilder::getTempFolder() {
  return state_->tempFolder.get();
}

void MessageBuilder::setTempFolder(String* path) {
  state_->tempFolder = path;
}

Data* MessageBuilder::data() {
  const State& state = *state_;
  const Ref<MessageHeader> header = state.header ? state.header : make<MessageHeader>();
  if (!state_->identity) {
    Address* const from = header->from();
    const std::string_view domain = domainOf(from == nullptr ? "" : textOf(from->mailbox()));
    state_->identity =
        Identity{rfc822::newMessageID(domain), std::time(nullptr), core::uniqueToken()};
  }

  message::Protection protection;
  protection.signer = state.signingCertificate.get();
  protection.signerSecond = state.signingSecond.get();
  protection.recipients = state.recipientsCertificates.get();
  protection.keyUsagePolicy = state.keyUsagePolicy.get();
  protection.sender = header->from() == nullptr ? nullptr : header->from()->mailbox();

  OutgoingEntity content =
      compose(textOf(state.textBody.get()), textOf(state.htmlBody.get()), state.attachments.get(),
              state.relatedAttachments.get(), protection.isSigned());
  const std::string stem = mime::assignBoundaries(content, textOf(state.boundaryPrefix.get()),
                                                  state.identity->boundarySeed);
  const std::string fields = messageFields(header.get(), *state.identity);
  if (!protection.isSigned() && !protection.isEncrypted()) {
    return mime::assemble(fields, content).autoreleased();
  }
  protection.boundaryStem = stem;
  protection.mailboxes = mailboxesOf(header.get());
  const auto write = [&](std::string_view front, std::size_t room) {
    return mime::assembleWithRoom(front, content, room);
  };
  return message::protect(fields, write, protection).autoreleased();
}

ErrorCode MessageBuilder::writeToFile(String* path) {
  return data()->writeToFile(path);
}

}  // namespace brennox
