// A parsed header is an index of its fields; each property is decoded when it is first asked for.
// Setting a property makes what was parsed for it forgotten.
#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/Data.h>
#include <brennox/MessageHeader.h>
#include <brennox/Ref.h>
#include <brennox/String.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "rfc822/address_list.h"
#include "rfc822/date.h"
#include "rfc822/header_access.h"
#include "rfc822/header_fields.h"
#include "rfc822/message_id.h"
#include "rfc822/parameters.h"
#include "rfc822/subject.h"
#include "text/ascii.h"
#include "text/charset.h"
#include "text/encoded_word.h"

namespace brennox {

using rfc822::FieldId;
using rfc822::HeaderField;

namespace {

// Fields beyond it are not looked at; their bytes stay in the message.
constexpr std::size_t kMaxFields = 200'000;
// Up to so many extra fields a walk is quicker than a table.
constexpr std::size_t kMaxWalk = 32;
// Room for them is made at once.
constexpr std::size_t kUsualFields = 16;

Ref<Array> copyOfTexts(Array* texts) {
  return texts == nullptr ? Ref<Array>() : make<Array>(texts);
}

Ref<Array> copyOfAddresses(Array* addresses) {
  if (addresses == nullptr) {
    return nullptr;
  }
  Ref<Array> result = make<Array>();
  result->reserve(addresses->count());
  for (const Ref<Object>& address : *addresses) {
    result->addObject(make<Address>(static_cast<const Address*>(address.get())).get());
  }
  return result;
}

Ref<Address> copyOfAddress(const Address* address) {
  return address == nullptr ? Ref<Address>() : make<Address>(address);
}

bool hasProperty(FieldId id) {
  switch (id) {
    case FieldId::kMessageID:
    case FieldId::kInReplyTo:
    case FieldId::kReferences:
    case FieldId::kDate:
    case FieldId::kSender:
    case FieldId::kFrom:
    case FieldId::kTo:
    case FieldId::kCc:
    case FieldId::kBcc:
    case FieldId::kReplyTo:
    case FieldId::kSubject:
    case FieldId::kUserAgent:
      return true;
    default:
      return false;
  }
}

Ref<Address> addressOf(rfc822::Mailbox mailbox) {
  Ref<Address> address = make<Address>();
  if (!mailbox.name.empty()) {
    address->setDisplayName(make<String>(std::move(mailbox.name)).get());
  }
  address->setMailbox(make<String>(std::move(mailbox.address)).get());
  return address;
}

// What a header was parsed from. It never changes, so that copies of the header share it.
struct FieldIndex final : public Object {
  // Owns the bytes that the views look at.
  Ref<Data> source;
  std::vector<HeaderField> fields;
};

}  // namespace

struct MessageHeader::Fields {
  // A field without a property. What was parsed keeps its raw text until it is asked for.
  struct Extra {
    std::string_view rawName;
    std::string_view rawValue;
    bool parsed = false;
    Ref<String> name;
    Ref<String> value;

    std::string_view key() const { return parsed ? rawName : name->view(); }
  };

  // Null for a header that was not parsed.
  Ref<FieldIndex> index;
  Ref<String> givenCharset;
  std::optional<std::string> ownCharset;
  // One bit a field whose property has not been decoded yet.
  std::uint32_t pending = 0;
  bool extrasPending = false;

  Ref<String> messageID;
  Ref<Array> inReplyTo;
  Ref<Array> references;
  std::time_t date = -1;
  std::time_t receivedDate = -1;
  Ref<Address> sender;
  Ref<Address> from;
  Ref<Array> to;
  Ref<Array> cc;
  Ref<Array> bcc;
  Ref<Array> replyTo;
  Ref<String> subject;
  Ref<String> userAgent;
  std::vector<Extra> extras;
  // The first extra field of each name (in lower case), once there are many.
  std::unordered_map<std::string, std::size_t> extraIndex;
  bool extraIndexValid = false;

  static constexpr std::uint32_t bit(FieldId id) {
    return std::uint32_t{1} << static_cast<int>(id);
  }

  const std::vector<HeaderField>& parsed() const {
    static const std::vector<HeaderField> kNothing;
    return index ? index->fields : kNothing;
  }

  // True once for each field of a parsed header: the caller decodes it.
  bool take(FieldId id) {
    const bool taken = (pending & bit(id)) != 0;
    pending &= ~bit(id);
    return taken;
  }

  // Only what is not ASCII needs one.
  std::string_view charsetFor(std::string_view raw) {
    if (text::isAscii(raw)) {
      return {};
    }
    if (givenCharset) {
      return givenCharset->view();
    }
    if (!ownCharset) {
      ownCharset = std::string();
      if (const HeaderField* const type = first(FieldId::kContentType)) {
        ownCharset = rfc822::parseParameterized(type->value).get("charset");
      }
    }
    return *ownCharset;
  }

  const HeaderField* first(FieldId id) const {
    for (const HeaderField& field : parsed()) {
      if (field.id == id) {
        return &field;
      }
    }
    return nullptr;
  }

  // The text of the first field that has one.
  Ref<String> textOfField(FieldId id) {
    for (const HeaderField& field : parsed()) {
      if (field.id == id) {
        std::string text = text::decodeWords(field.value, charsetFor(field.value));
        if (!text.empty()) {
          return make<String>(std::move(text));
        }
      }
    }
    return nullptr;
  }

  std::vector<rfc822::Mailbox> mailboxes(FieldId id, bool firstOnly) {
    std::vector<rfc822::Mailbox> result;
    for (const HeaderField& field : parsed()) {
      if (field.id == id) {
        rfc822::parseAddressList(field.value, charsetFor(field.value),
                                 rfc822::EncodedWords::kDecode, result);
        if (firstOnly && !result.empty()) {
          break;
        }
      }
    }
    return result;
  }

  Ref<Address> address(FieldId id) {
    std::vector<rfc822::Mailbox> found = mailboxes(id, true);
    return found.empty() ? Ref<Address>() : addressOf(std::move(found.front()));
  }

  Ref<Array> addresses(FieldId id) {
    std::vector<rfc822::Mailbox> found = mailboxes(id, false);
    if (found.empty()) {
      return nullptr;
    }
    Ref<Array> result = make<Array>();
    result->reserve(static_cast<unsigned int>(found.size()));
    for (rfc822::Mailbox& mailbox : found) {
      result->addObject(addressOf(std::move(mailbox)).get());
    }
    return result;
  }

  Ref<Array> identifiers(FieldId id) {
    std::vector<std::string> found;
    for (const HeaderField& field : parsed()) {
      if (field.id == id) {
        rfc822::parseMessageIDs(field.value, found);
      }
    }
    if (found.empty()) {
      return nullptr;
    }
    Ref<Array> result = make<Array>();
    result->reserve(static_cast<unsigned int>(found.size()));
    for (std::string& identifier : found) {
      result->addObject(make<String>(std::move(identifier)).get());
    }
    return result;
  }

  void loadExtras() {
    if (!extrasPending) {
      return;
    }
    extrasPending = false;
    extraIndexValid = false;
    extras.reserve(static_cast<std::size_t>(
        std::count_if(parsed().begin(), parsed().end(),
                      [](const HeaderField& field) { return !hasProperty(field.id); })));
    for (const HeaderField& field : parsed()) {
      if (!hasProperty(field.id)) {
        extras.push_back({field.name, field.value, true, nullptr, nullptr});
      }
    }
  }

  String* nameOf(Extra& extra) {
    if (!extra.name) {
      extra.name = make<String>(text::decodeRawText(extra.rawName));
    }
    return extra.name.get();
  }

  String* valueOf(Extra& extra) {
    if (!extra.value) {
      extra.value = make<String>(text::decodeWords(extra.rawValue, charsetFor(extra.rawValue)));
    }
    return extra.value.get();
  }

  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  // Where the first extra field of a name stands, or kNone.
  std::size_t find(std::string_view name) {
    loadExtras();
    if (extras.size() <= kMaxWalk) {
      for (std::size_t i = 0; i < extras.size(); ++i) {
        // Names that were listed before are asked for in their own case.
        const std::string_view key = extras[i].key();
        if (key == name || text::equalsIgnoringCase(key, name)) {
          return i;
        }
      }
      return kNone;
    }
    if (!extraIndexValid) {
      extraIndex.clear();
      for (std::size_t i = 0; i < extras.size(); ++i) {
        extraIndex.emplace(text::lowered(extras[i].key()), i);
      }
      extraIndexValid = true;
    }
    const auto found = extraIndex.find(text::lowered(name));
    return found == extraIndex.end() ? kNone : found->second;
  }

  // Removes the fields of a name from the place `start` on.
  void remove(std::string_view name, std::size_t start) {
    const auto begin = extras.begin() + static_cast<std::ptrdiff_t>(start);
    const auto kept = std::remove_if(begin, extras.end(), [&](const Extra& extra) {
      return text::equalsIgnoringCase(extra.key(), name);
    });
    if (kept != extras.end()) {
      extras.erase(kept, extras.end());
      extraIndexValid = false;
    }
  }
};

MessageHeader::MessageHeader() : fields_(std::make_unique<Fields>()) {}

MessageHeader::MessageHeader(MessageHeader* other) {
  if (other == nullptr) {
    fields_ = std::make_unique<Fields>();
    return;
  }
  fields_ = std::make_unique<Fields>(*other->fields_);
  // Strings are immutable and may be shared; what has been decoded into objects that change may
  // not.
  Fields& own = *fields_;
  own.inReplyTo = copyOfTexts(own.inReplyTo.get());
  own.references = copyOfTexts(own.references.get());
  own.sender = copyOfAddress(own.sender.get());
  own.from = copyOfAddress(own.from.get());
  own.to = copyOfAddresses(own.to.get());
  own.cc = copyOfAddresses(own.cc.get());
  own.bcc = copyOfAddresses(own.bcc.get());
  own.replyTo = copyOfAddresses(own.replyTo.get());
}

MessageHeader::~MessageHeader() = default;

MessageHeader* MessageHeader::headerWithData(Data* data) {
  auto* const header = makeAutoreleased<MessageHeader>();
  header->importHeadersData(data);
  return header;
}

void MessageHeader::importHeadersData(Data* data) {
  auto fields = std::make_unique<Fields>();
  if (data != nullptr) {
    fields->index = make<FieldIndex>();
    FieldIndex& index = *fields->index;
    index.source = make<Data>(data);
    index.fields.reserve(kUsualFields);
    rfc822::FieldScanner scanner(index.source->view());
    HeaderField field;
    while (index.fields.size() < kMaxFields && scanner.next(field)) {
      fields->pending |= Fields::bit(field.id);
      index.fields.push_back(field);
    }
    fields->extrasPending = true;
  }
  fields_ = std::move(fields);
}

void MessageHeader::setRawCharset(String* charset) {
  fields_->givenCharset = textOf(charset).empty() ? nullptr : charset;
}

String* MessageHeader::messageID() {
  Fields& fields = *fields_;
  if (fields.take(FieldId::kMessageID)) {
    for (const HeaderField& field : fields.parsed()) {
      if (field.id == FieldId::kMessageID && !fields.messageID) {
        std::string identifier = rfc822::parseMessageID(field.value);
        if (!identifier.empty()) {
          fields.messageID = make<String>(std::move(identifier));
        }
      }
    }
  }
  return fields.messageID.get();
}

void MessageHeader::setMessageID(String* messageID) {
  fields_->take(FieldId::kMessageID);
  fields_->messageID = messageID;
}

bool MessageHeader::isMessageIDAutoGenerated() {
  return textOf(messageID()).empty();
}

Array* MessageHeader::inReplyTo() {
  if (fields_->take(FieldId::kInReplyTo)) {
    fields_->inReplyTo = fields_->identifiers(FieldId::kInReplyTo);
  }
  return fields_->inReplyTo.get();
}

void MessageHeader::setInReplyTo(Array* inReplyTo) {
  fields_->take(FieldId::kInReplyTo);
  fields_->inReplyTo = inReplyTo;
}

Array* MessageHeader::references() {
  if (fields_->take(FieldId::kReferences)) {
    fields_->references = fields_->identifiers(FieldId::kReferences);
  }
  return fields_->references.get();
}

void MessageHeader::setReferences(Array* references) {
  fields_->take(FieldId::kReferences);
  fields_->references = references;
}

std::time_t MessageHeader::date() {
  Fields& fields = *fields_;
  if (fields.take(FieldId::kDate)) {
    for (const HeaderField& field : fields.parsed()) {
      if (field.id == FieldId::kDate && fields.date == -1) {
        fields.date = rfc822::parseDate(field.value);
      }
    }
  }
  return fields.date;
}

void MessageHeader::setDate(std::time_t date) {
  fields_->take(FieldId::kDate);
  fields_->date = date;
}

std::time_t MessageHeader::receivedDate() {
  Fields& fields = *fields_;
  if (fields.take(FieldId::kReceived)) {
    // Every relay puts its field in front: the first one is the newest.
    for (const HeaderField& field : fields.parsed()) {
      if (field.id == FieldId::kReceived && fields.receivedDate == -1) {
        fields.receivedDate = rfc822::parseReceivedDate(field.value);
      }
    }
  }
  return fields.receivedDate;
}

void MessageHeader::setReceivedDate(std::time_t date) {
  fields_->take(FieldId::kReceived);
  fields_->receivedDate = date;
}

Address* MessageHeader::sender() {
  if (fields_->take(FieldId::kSender)) {
    fields_->sender = fields_->address(FieldId::kSender);
  }
  return fields_->sender.get();
}

void MessageHeader::setSender(Address* sender) {
  fields_->take(FieldId::kSender);
  fields_->sender = sender;
}

Address* MessageHeader::from() {
  if (fields_->take(FieldId::kFrom)) {
    fields_->from = fields_->address(FieldId::kFrom);
  }
  return fields_->from.get();
}

void MessageHeader::setFrom(Address* from) {
  fields_->take(FieldId::kFrom);
  fields_->from = from;
}

Array* MessageHeader::to() {
  if (fields_->take(FieldId::kTo)) {
    fields_->to = fields_->addresses(FieldId::kTo);
  }
  return fields_->to.get();
}

void MessageHeader::setTo(Array* to) {
  fields_->take(FieldId::kTo);
  fields_->to = to;
}

Array* MessageHeader::cc() {
  if (fields_->take(FieldId::kCc)) {
    fields_->cc = fields_->addresses(FieldId::kCc);
  }
  return fields_->cc.get();
}

void MessageHeader::setCc(Array* cc) {
  fields_->take(FieldId::kCc);
  fields_->cc = cc;
}

Array* MessageHeader::bcc() {
  if (fields_->take(FieldId::kBcc)) {
    fields_->bcc = fields_->addresses(FieldId::kBcc);
  }
  return fields_->bcc.get();
}

void MessageHeader::setBcc(Array* bcc) {
  fields_->take(FieldId::kBcc);
  fields_->bcc = bcc;
}

Array* MessageHeader::replyTo() {
  if (fields_->take(FieldId::kReplyTo)) {
    fields_->replyTo = fields_->addresses(FieldId::kReplyTo);
  }
  return fields_->replyTo.get();
}

void MessageHeader::setReplyTo(Array* replyTo) {
  fields_->take(FieldId::kReplyTo);
  fields_->replyTo = replyTo;
}

String* MessageHeader::subject() {
  if (fields_->take(FieldId::kSubject)) {
    fields_->subject = fields_->textOfField(FieldId::kSubject);
  }
  return fields_->subject.get();
}

void MessageHeader::setSubject(String* subject) {
  fields_->take(FieldId::kSubject);
  fields_->subject = subject;
}

String* MessageHeader::partialExtractedSubject() {
  String* const whole = subject();
  return whole == nullptr ? nullptr : String::stringWithText(rfc822::baseSubject(whole->view()));
}

String* MessageHeader::userAgent() {
  if (fields_->take(FieldId::kUserAgent)) {
    fields_->userAgent = fields_->textOfField(FieldId::kUserAgent);
  }
  if (fields_->take(FieldId::kXMailer) && !fields_->userAgent) {
    fields_->userAgent = fields_->textOfField(FieldId::kXMailer);
  }
  return fields_->userAgent.get();
}

void MessageHeader::setUserAgent(String* userAgent) {
  // The X-Mailer that told the old one would contradict the new one.
  const std::size_t mailer = fields_->find("X-Mailer");
  if (mailer != Fields::kNone &&
      textOf(fields_->valueOf(fields_->extras[mailer])) == textOf(this->userAgent())) {
    fields_->remove("X-Mailer", mailer);
  }
  fields_->take(FieldId::kUserAgent);
  fields_->take(FieldId::kXMailer);
  fields_->userAgent = userAgent;
}

Array* MessageHeader::allExtraHeadersNames() {
  fields_->loadExtras();
  Array* const names = Array::array();
  names->reserve(static_cast<unsigned int>(fields_->extras.size()));
  for (std::size_t i = 0; i < fields_->extras.size(); ++i) {
    if (fields_->find(fields_->extras[i].key()) == i) {
      names->addObject(fields_->nameOf(fields_->extras[i]));
    }
  }
  return names;
}

String* MessageHeader::extraHeaderValueForName(String* name) {
  const std::size_t found = fields_->find(textOf(name));
  return found == Fields::kNone ? nullptr : fields_->valueOf(fields_->extras[found]);
}

void MessageHeader::setExtraHeader(String* name, String* value) {
  if (name == nullptr || value == nullptr) {
    return;
  }
  const std::size_t found = fields_->find(name->view());
  if (found == Fields::kNone) {
    if (fields_->extraIndexValid) {
      fields_->extraIndex.emplace(text::lowered(name->view()), fields_->extras.size());
    }
    fields_->extras.push_back({{}, {}, false, name, value});
    return;
  }
  fields_->remove(name->view(), found + 1);
  fields_->extras[found] = {{}, {}, false, name, value};
}

void MessageHeader::removeExtraHeader(String* name) {
  const std::size_t found = fields_->find(textOf(name));
  if (found != Fields::kNone) {
    fields_->remove(textOf(name), found);
  }
}

String* MessageHeader::description() {
  std::string text = "<MessageHeader: ";
  text += textOf(subject());
  text += ">";
  return makeAutoreleased<String>(std::move(text));
}

Object* MessageHeader::copy() {
  return makeAutoreleased<MessageHeader>(this);
}

std::vector<rfc822::ExtraField> rfc822::HeaderAccess::extraFields(MessageHeader* header) {
  MessageHeader::Fields& fields = *header->fields_;
  fields.loadExtras();
  std::vector<ExtraField> result;
  result.reserve(fields.extras.size());
  for (MessageHeader::Fields::Extra& extra : fields.extras) {
    result.push_back({fields.nameOf(extra), fields.valueOf(extra), extra.parsed});
  }
  return result;
}

}  // namespace brennox
