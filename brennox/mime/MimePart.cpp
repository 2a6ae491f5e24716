#include "mime/MimePart.h"

#include <brennox/Array.h>
#include <brennox/MessageHeader.h>

#include <algorithm>
#include <utility>

#include "mime/body_decoding.h"
#include "mime/filename.h"
#include "mime/format_flowed.h"
#include "mime/html_charset.h"
#include "mime/mime_types.h"
#include "rfc822/header_fields.h"
#include "rfc822/message_id.h"
#include "rfc822/parameters.h"
#include "rfc822/plain_parameters.h"
#include "text/ascii.h"
#include "text/charset.h"
#include "text/encoded_word.h"

namespace brennox::mime {
namespace {

// A longer name is no charset, and would be kept by every part below.
constexpr std::size_t kMaxCharsetName = 64;
// Texts up to this length are kept once they were decoded: every rendering asks for them again.
constexpr std::size_t kMaxKeptText = std::size_t{16} << 20;

String* stringOf(std::string text) {
  return makeAutoreleased<String>(std::move(text));
}

String* typeString(std::string_view type) {
  return String::uniquedStringWithText(type);
}

// Between two boundary lines stands nothing at all.
bool isVoid(const Entity& entity) {
  return entity.kind == EntityKind::Leaf && entity.end == entity.body &&
         entity.contentType.data() == nullptr && entity.body - entity.header <= 2;
}

}  // namespace

Ref<MimePart> MimePart::parse(Data* data) {
  return parse(make<Source>(data));
}

Ref<MimePart> MimePart::parse(Ref<Source> source) {
  return Ref<MimePart>::adopt(new MimePart(std::move(source), 0, nullptr, 0));
}

MimePart::MimePart(Ref<Source> source, std::uint32_t entity, MimePart* parent, unsigned int index)
    : source_(std::move(source)), entity_(entity), depth_(this->entity().depth) {
  encodings_ = parent == nullptr ? 0 : parent->encodings_;
  if (parent != nullptr && parent->childSource_) {
    ++encodings_;
  }
  encoding_ = transferEncodingOf(this->entity().encoding);
  firstChild_ = this->entity().firstChild;
  inheritCharset(parent);
  readFields();
  if (encoding_ == TransferEncoding::Base64 && partType() == PartType::Single &&
      mimeType()->view().substr(0, 5) == "text/" && isMislabeled(rawBody())) {
    encoding_ = TransferEncoding::Identity;
  }
  lookInside();
  place(parent, index);
}

MimePart::MimePart(Made made, MimePart* parent, unsigned int index)
    : depth_(parent->depth_ + 1),
      encodings_(parent->encodings_ + 1),
      flowed_(made.flowed),
      deleteSpace_(made.deleteSpace),
      hasContent_(true),
      content_(std::move(made.content)) {
  setMimeType(typeString(made.mimeType));
  if (!made.charset.empty()) {
    setCharset(stringOf(std::move(made.charset)));
  }
  if (!made.filename.empty()) {
    setFilename(stringOf(std::move(made.filename)));
  }
  if (!made.contentID.empty()) {
    setContentID(stringOf(std::move(made.contentID)));
  }
  setAttachment(made.attachment);
  inheritCharset(parent);
  lookInside();
  place(parent, index);
}

MimePart::~MimePart() = default;

void MimePart::inheritCharset(MimePart* parent) {
  if (parent == nullptr || parent->partType() == PartType::Message) {
    return;
  }
  const std::string_view declared = brennox::textOf(parent->charset());
  outerCharset_ = declared.empty() || declared.size() > kMaxCharsetName ? parent->outerCharset_
                                                                        : std::string(declared);
}

// Section numbers as IMAP has them (RFC 3501 section 6.4.5): a multipart at the root of a message
// has none; its children count from the message's own number. A leaf's is made when it is asked
// for: there may be many of them.
void MimePart::place(MimePart* parent, unsigned int index) {
  const bool root = parent == nullptr || parent->partType() == PartType::Message;
  const bool isLeaf = partType() == PartType::Single;
  section_ = parent == nullptr ? nullptr : parent->section_.get();
  index_ = index;
  if (isLeaf) {
    return;
  }
  if (root && partType() != PartType::Message) {
    isNumbered_ = true;
    AbstractPart::setUniqueID(
        stringOf(section_ ? std::string(section_->view()) + ".0" : std::string("0")));
    return;
  }
  number();
  section_ = Attachment::partID();
}

void MimePart::number() {
  isNumbered_ = true;
  std::string number = section_ ? std::string(section_->view()) + '.' : std::string();
  number += std::to_string(index_ + 1);
  String* const text = stringOf(std::move(number));
  Attachment::setPartID(text);
  Attachment::setUniqueID(text);
}

String* MimePart::partID() {
  if (!isNumbered_) {
    number();
  }
  return Attachment::partID();
}

void MimePart::setPartID(String* partID) {
  if (!isNumbered_) {
    number();
  }
  Attachment::setPartID(partID);
}

String* MimePart::uniqueID() {
  if (!isNumbered_) {
    number();
  }
  return Attachment::uniqueID();
}

void MimePart::setUniqueID(String* uniqueID) {
  if (!isNumbered_) {
    number();
  }
  Attachment::setUniqueID(uniqueID);
}

std::string_view MimePart::rawHeader() const {
  return source_ ? source_->bytes().substr(entity().header, entity().body - entity().header)
                 : std::string_view();
}

std::string_view MimePart::rawBody() const {
  return source_ ? source_->bytes().substr(entity().body, entity().end - entity().body)
                 : content_->view();
}

Data* MimePart::rawEntity() const {
  return source_ ? source_->data()->subdata(entity().header, entity().end - entity().header)
                 : content_.autoreleased();
}

std::string MimePart::contentTypeParameter(std::string_view name) const {
  return source_ ? std::string(rfc822::parseParameterized(entity().contentType).get(name))
                 : std::string();
}

void MimePart::readFields() {
  std::string_view disposition = entity().disposition;
  const bool mustLook = entity().hasOtherFields && disposition.data() == nullptr;
  rfc822::FieldScanner scanner(mustLook ? rawHeader() : std::string_view(), true);
  rfc822::HeaderField field;
  std::string_view description;
  while (scanner.next(field)) {
    switch (field.id) {
      case rfc822::FieldId::kContentDisposition:
        disposition = disposition.empty() ? field.value : disposition;
        break;
      case rfc822::FieldId::kContentID:
        if (std::string id = rfc822::parseMessageID(field.value); !id.empty()) {
          setContentID(stringOf(std::move(id)));
        }
        break;
      case rfc822::FieldId::kContentLocation: {
        // A long location is folded anywhere.
        std::string location = text::decodeWords(field.value);
        location.erase(std::remove(location.begin(), location.end(), ' '), location.end());
        if (!location.empty()) {
          setContentLocation(stringOf(std::move(location)));
        }
        break;
      }
      case rfc822::FieldId::kContentDescription:
        description = field.value;
        break;
      default:
        break;
    }
  }
  std::string name;
  readType(entity().contentType, name);
  if (!disposition.empty()) {
    readDisposition(disposition);
  }
  if (filename() == nullptr) {
    if (name = cleanFilename(name); !name.empty()) {
      setFilename(stringOf(std::move(name)));
    }
  }
  if (!description.empty()) {
    setContentDescription(stringOf(text::decodeWords(description, charsetForRaw(description))));
  }
}

void MimePart::readDisposition(std::string_view field) {
  if (const auto plain = rfc822::readPlainParameters(field)) {
    takeDisposition(*plain);
  } else {
    takeDisposition(rfc822::parseParameterized(field, charsetForRaw(field)));
  }
}

template <class Parameters>
void MimePart::takeDisposition(const Parameters& disposition) {
  // Anything unknown is treated as an attachment (RFC 2183 section 2.8).
  setInlineAttachment(disposition.value == "inline");
  setAttachment(!disposition.value.empty() && disposition.value != "inline");
  std::string name = cleanFilename(disposition.get("filename"));
  if (name.empty()) {
    name = cleanFilename(disposition.get("name"));
  }
  if (!name.empty()) {
    setFilename(stringOf(std::move(name)));
  }
}

void MimePart::readType(std::string_view field, std::string& name) {
  if (field.empty()) {
    setMimeType(typeString(entity().inDigest ? "message/rfc822" : "text/plain"));
  } else if (const auto plain = rfc822::readPlainParameters(field)) {
    if (const std::string_view declared = plain->get("charset"); !declared.empty()) {
      setCharset(String::stringWithText(declared));
    }
    takeType(*plain, name);
  } else {
    rfc822::ParameterizedValue value = rfc822::parseParameterized(field);
    if (const std::string_view declared = value.get("charset"); !declared.empty()) {
      setCharset(String::stringWithText(declared));
    }
    if (const std::string raw = charsetForRaw(field); !raw.empty()) {
      value = rfc822::parseParameterized(field, raw);
    }
    takeType(value, name);
  }
  if (entity().kind == EntityKind::Message) {
    setPartType(PartType::Message);
  } else if (entity().kind == EntityKind::Multipart) {
    const std::string_view subtype = mimeType()->view().substr(10);
    setPartType(subtype == "related"       ? PartType::MultipartRelated
                : subtype == "alternative" ? PartType::MultipartAlternative
                : subtype == "signed"      ? PartType::MultipartSigned
                                           : PartType::MultipartMixed);
  }
}

template <class Parameters>
void MimePart::takeType(const Parameters& type, std::string& name) {
  name = type.get("name");
  if (!type.type().empty() && !type.subtype().empty()) {
    setMimeType(typeString(type.value));
  } else {
    // RFC 2045 section 5.2 takes what cannot be read as text.
    const std::string clean = cleanFilename(name);
    const bool isText = type.type().empty() || type.type() == "text" || clean.empty();
    setMimeType(typeString(isText ? "text/plain" : mime::mimeTypeForFilename(clean)));
  }
  if (type.value == "text/plain") {
    flowed_ = text::equalsIgnoringCase(type.get("format"), "flowed");
    deleteSpace_ = text::equalsIgnoringCase(type.get("delsp"), "yes");
  }
  if (entity().kind == EntityKind::Multipart) {
    start_ = rfc822::parseMessageID(type.get("start"));
  }
}

std::string MimePart::charsetForRaw(std::string_view field) {
  if (text::isAscii(field) || text::isValidUtf8(field)) {
    return {};
  }
  const std::string_view own = brennox::textOf(charset());
  return own.empty() || isUsAscii(own) ? source_->charsetHint() : std::string(own);
}

const Ref<Array>& MimePart::children() {
  if (children_) {
    return children_;
  }
  children_ = make<Array>();
  unsigned int index = 0;
  if (!made_.empty()) {
    for (Made& made : made_) {
      children_->addObject(
          Ref<MimePart>::adopt(new MimePart(std::move(made), this, index++)).get());
    }
    made_.clear();
    return children_;
  }
  const Ref<Source>& source = childSource();
  for (std::uint32_t child = firstChild_; child != kNoEntity;
       child = source->entity(child).nextSibling, ++index) {
    if (partType() != PartType::Message && isVoid(source->entity(child))) {
      continue;
    }
    children_->addObject(Ref<MimePart>::adopt(new MimePart(source, child, this, index)).get());
  }
  return children_;
}

Array* MimePart::parts() {
  return partType() == PartType::Single || partType() == PartType::Message ? nullptr
                                                                           : children().get();
}

AbstractPart* MimePart::mainPart() {
  if (partType() == PartType::Message) {
    return children()->at<AbstractPart>(0);
  }
  if (partType() == PartType::MultipartRelated && !start_.empty()) {
    for (const Ref<Object>& child : *children()) {
      auto* const part = static_cast<AbstractPart*>(child.get());
      if (brennox::textOf(part->contentID()) == start_) {
        return part;
      }
    }
  }
  return nullptr;
}

MessageHeader* MimePart::header() {
  if (partType() != PartType::Message) {
    return nullptr;
  }
  if (!header_) {
    header_ = static_cast<MimePart*>(mainPart())->messageHeader();
  }
  return header_.get();
}

MessageHeader* MimePart::messageHeader() const {
  const std::string_view raw = rawHeader();
  auto* const header = makeAutoreleased<MessageHeader>();
  header->importHeadersData(
      makeAutoreleased<Data>(source_->data()->block(), raw.data(), raw.size()));
  if (!text::isAscii(raw) && !text::isValidUtf8(raw)) {
    header->setRawCharset(String::stringWithText(source_->charsetHint()));
  }
  return header;
}

Data* MimePart::data() {
  if (hasContent_) {
    return content_.get();
  }
  if (encoding_ == TransferEncoding::Identity || entity().kind != EntityKind::Leaf) {
    return source_->data()->subdata(entity().body, entity().end - entity().body);
  }
  return makeAutoreleased<Data>(decodeBody(rawBody(), encoding_, 0));
}

void MimePart::setData(Data* data) {
  hasContent_ = true;
  content_ = data;
  text_.reset();
}

void MimePart::setCharset(String* charset) {
  Attachment::setCharset(charset);
  text_.reset();
}

String* MimePart::decodedString() {
  if (text_) {
    return text_.get();
  }
  Data* const content = data();
  if (content == nullptr) {
    return nullptr;
  }
  std::string_view bytes = content->view();
  std::string_view declared = brennox::textOf(charset());
  if (source_ && source_->isRecoded() && encoding_ == TransferEncoding::Identity && !hasContent_) {
    declared = "utf-8";
  }
  // Everybody's default says nothing about what the text is in; nor does what the text proves
  // wrong.
  if (isUsAscii(declared) || !text::isKnownCharset(declared) ||
      (text::isUtf8Name(declared) && text::isForeignToUtf8(bytes))) {
    declared = {};
  }
  std::string found;
  if (declared.empty() && mimeType() != nullptr && mimeType()->view() == "text/html") {
    found = charsetInHtml(bytes);
    // Text that is UTF-8 by its bytes is; many programs recode it and leave the element as it was.
    if (!found.empty() && text::isKnownCharset(found) &&
        (text::isAscii(bytes) || !text::isValidUtf8(bytes))) {
      declared = found;
    }
  }
  if (declared.empty() && !text::isAscii(bytes) && !text::isValidUtf8(bytes)) {
    if (text::isKnownCharset(outerCharset_)) {
      declared = outerCharset_;
    } else {
      // The header is probably in the same charset.
      declared = text::detectCharset(bytes, source_ ? source_->wordCharset() : std::string_view());
    }
  }
  String* const result = flowed_ ? stringOf(unflow(text::decodeText(bytes, declared), deleteSpace_))
                                 : text::decodedText(bytes, declared);
  if (result->length() <= kMaxKeptText) {
    text_ = result;
  }
  return result;
}

}  // namespace brennox::mime
