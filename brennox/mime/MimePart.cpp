#include "mime/MimePart.h"

#include <brennox/Array.h>
#include <brennox/MessageHeader.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "mime/filename.h"
#include "mime/find3.h"
#include "mime/format_flowed.h"
#include "mime/html_charset.h"
#include "mime/mime_types.h"
#include "mime/rtf.h"
#include "mime/tnef.h"
#include "mime/uuencode.h"
#include "mime/yenc.h"
#include "rfc822/header_fields.h"
#include "rfc822/message_id.h"
#include "rfc822/parameters.h"
#include "text/ascii.h"
#include "text/base64.h"
#include "text/charset.h"
#include "text/encoded_word.h"
#include "text/quoted_printable.h"

namespace brennox::mime {
namespace {

// Encodings around encodings (a base64 message in a quoted-printable message in ...) cost a copy
// each. What is packed deeper stays a leaf.
constexpr unsigned int kMaxEncodings = 8;
// A longer name is no charset, and would be kept by every part below.
constexpr std::size_t kMaxCharsetName = 64;
// Texts up to this length are kept once they were decoded: every rendering asks for them again.
constexpr std::size_t kMaxKeptText = std::size_t{16} << 20;
// Files that are looked for inside one text part.
constexpr std::size_t kMaxEmbeddedFiles = 10'000;
// Longer texts are not searched for files.
constexpr std::size_t kMaxTextScan = std::size_t{64} << 20;

String* stringOf(std::string text) {
  return makeAutoreleased<String>(std::move(text));
}

String* typeString(std::string_view type) {
  return String::uniquedStringWithText(type);
}

bool isUtf16(std::string_view bytes) {
  return bytes.substr(0, 2) == "\xFF\xFE" || bytes.substr(0, 2) == "\xFE\xFF";
}

// A message as the parser reads it. Editors have saved some as UTF-16; and the lines of some end
// with CR alone, as old Macintosh programs had it.
Ref<Data> readable(Data* data) {
  const std::string_view bytes = data->view();
  if (isUtf16(bytes)) {
    const std::string text = text::decodeText(bytes, {});
    return make<Data>(text.data(), text.size());
  }
  if (bytes.empty() || std::memchr(bytes.data(), '\n', bytes.size()) != nullptr ||
      std::memchr(bytes.data(), '\r', bytes.size()) == nullptr) {
    return data;
  }
  Ref<Block> block = Block::allocate(bytes.size());
  std::replace_copy(bytes.begin(), bytes.end(), block->bytes(), '\r', '\n');
  return make<Data>(std::move(block));
}

bool isUsAscii(std::string_view charset) {
  return text::equalsIgnoringCase(charset, "us-ascii") ||
         text::equalsIgnoringCase(charset, "ascii");
}

bool isBlankText(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return text::isSpace(c); });
}

// The decoded body behind `room` unused bytes.
Ref<Block> decodeBody(std::string_view body, TransferEncoding encoding, std::size_t room) {
  std::size_t bound = body.size();
  if (encoding == TransferEncoding::Base64) {
    bound = text::base64DecodedBound(body.size());
  } else if (encoding == TransferEncoding::Uuencode) {
    body = uuencodedLines(body);
    bound = uudecodedBound(body.size());
  } else if (encoding == TransferEncoding::Yenc) {
    const std::vector<EmbeddedFile> files = findYencFiles(body);
    body = files.empty() ? body : files.front().lines;
    bound = body.size();
  }
  Ref<Block> block = Block::allocate(room + bound);
  char* const out = block->bytes() + room;
  std::size_t length = body.size();
  switch (encoding) {
    case TransferEncoding::Base64:
      length = text::base64Decode(body, out);
      break;
    case TransferEncoding::QuotedPrintable:
      length = text::quotedPrintableDecode(body, out);
      break;
    case TransferEncoding::Uuencode:
      length = uudecodeLines(body, out);
      break;
    case TransferEncoding::Yenc:
      length = ydecodeLines(body, out);
      break;
    case TransferEncoding::Identity:
      std::memcpy(out, body.data(), body.size());
      break;
  }
  block->truncate(room + length);
  return block;
}

// A text that only claims to be base64: its first line has blanks between words and marks that
// base64 has not, and no line looks encoded. Banners that gateways put before encoded text are
// none.
bool isMislabeled(std::string_view body) {
  constexpr std::size_t kWindow = 4096;
  constexpr std::size_t kEncodedLine = 16;
  body = text::trimmed(body.substr(0, kWindow));
  bool hasBlank = false;
  bool hasForeign = false;
  bool isFirst = true;
  while (!body.empty()) {
    const std::size_t end = std::min(body.find('\n'), body.size());
    const std::string_view line = text::trimmed(body.substr(0, end));
    body.remove_prefix(std::min(end + 1, body.size()));
    // Letters of both cases in no order are no word.
    const bool isMixed =
        std::any_of(line.begin() + (line.empty() ? 0 : 1), line.end(),
                    [](char c) { return c >= 'A' && c <= 'Z'; }) &&
        std::any_of(line.begin(), line.end(), [](char c) { return c >= 'a' && c <= 'z'; });
    bool isEncoded = line.size() >= kEncodedLine && isMixed;
    for (const char c : line) {
      const bool isBlank = text::isBlank(c);
      const bool isForeign =
          !isBlank && !text::isAlpha(c) && !text::isDigit(c) && c != '+' && c != '/' && c != '=';
      isEncoded = isEncoded && !isBlank && !isForeign;
      hasBlank = hasBlank || (isFirst && isBlank);
      hasForeign = hasForeign || (isFirst && isForeign);
    }
    if (isEncoded || !hasBlank || !hasForeign) {
      return false;
    }
    isFirst = false;
  }
  return hasBlank && hasForeign;
}

// Between two boundary lines stands nothing at all.
bool isVoid(const Entity& entity) {
  return entity.kind == EntityKind::Leaf && entity.end == entity.body &&
         entity.contentType.data() == nullptr && entity.body - entity.header <= 2;
}

// Cheap test before a text is searched for files.
bool mayHoldFiles(std::string_view text) {
  if (text.size() > kMaxTextScan) {
    return false;
  }
  if (text.substr(0, 6) == "begin " || text.substr(0, 8) == "=ybegin ") {
    return true;
  }
  const char* const end = text.data() + text.size();
  for (const char* at = find3(text.data(), end, '\n', 'b', 'e'); at != nullptr;
       at = find3(at + 1, end, '\n', 'b', 'e')) {
    if (std::string_view(
            at + 1, std::min<std::size_t>(6, static_cast<std::size_t>(end - at) - 1)) == "begin ") {
      return true;
    }
  }
  for (const char* at = find3(text.data(), end, '\n', '=', 'y'); at != nullptr;
       at = find3(at + 1, end, '\n', '=', 'y')) {
    if (std::string_view(at + 1, std::min<std::size_t>(
                                     8, static_cast<std::size_t>(end - at) - 1)) == "=ybegin ") {
      return true;
    }
  }
  return false;
}

}  // namespace

Source::Source(Data* data, unsigned int depth) : Source(readable(data), depth) {
  isRecoded_ = isUtf16(data->view());
}

Source::Source(Ref<Data> data, unsigned int depth)
    : Source(data, scanEntities(data->view(), depth)) {}

Source::Source(Ref<Data> data, std::vector<Entity> entities)
    : data_(std::move(data)), entities_(std::move(entities)) {
  hasText_ = std::any_of(entities_.begin(), entities_.end(), [](const Entity& entity) {
    return entity.kind == EntityKind::Leaf && entity.isText && entity.end != entity.body;
  });
}

const std::string& Source::charsetHint() {
  if (hintFound_) {
    return hint_;
  }
  hintFound_ = true;
  for (const Entity& leaf : entities_) {
    if (leaf.kind != EntityKind::Leaf) {
      continue;
    }
    const rfc822::ParameterizedValue type = rfc822::parseParameterized(leaf.contentType);
    if (!type.value.empty() && type.type() != "text") {
      continue;
    }
    const std::string_view declared = type.get("charset");
    if (!declared.empty() && !isUsAscii(declared) && text::isKnownCharset(declared)) {
      hint_ = declared;
      break;
    }
    const std::string_view body = bytes().substr(leaf.body, leaf.end - leaf.body);
    const Ref<Block> content = decodeBody(body, transferEncodingOf(leaf.encoding), 0);
    const std::string_view text(content->bytes(), content->size());
    if (!text::isAscii(text)) {
      hint_ = text::detectCharset(text);
      break;
    }
  }
  return hint_;
}

std::string_view Source::wordCharset() {
  if (wordFound_) {
    return word_;
  }
  wordFound_ = true;
  const Entity& root = entities_.front();
  const std::string_view header = bytes().substr(root.header, root.body - root.header);
  const std::size_t word = header.find("=?");
  if (word != std::string_view::npos) {
    const std::string_view rest = header.substr(word + 2, kMaxCharsetName);
    word_ = rest.substr(0, rest.find_first_of("?* \r\n"));
  }
  return word_;
}

Ref<MimePart> MimePart::parse(Data* data) {
  return parse(make<Source>(data));
}

Ref<MimePart> MimePart::parse(Ref<Source> source) {
  return Ref<MimePart>::adopt(new MimePart(std::move(source), 0, nullptr, 0));
}

MimePart::MimePart(Ref<Source> source, std::uint32_t entity, MimePart* parent, unsigned int index)
    : source_(std::move(source)), entity_(entity), depth_(this->entity().depth) {
  encodings_ = parent == nullptr ? 0 : parent->encodings_;
  if (parent != nullptr && parent->childSource_.get() != parent->source_.get()) {
    ++encodings_;
  }
  encoding_ = transferEncodingOf(this->entity().encoding);
  childSource_ = source_;
  firstChild_ = this->entity().firstChild;
  inheritCharset(parent);
  readFields();
  if (encoding_ == TransferEncoding::Base64 && partType() == PartType::Single &&
      mimeType()->view().substr(0, 5) == "text/" && isMislabeled(rawBody())) {
    encoding_ = TransferEncoding::Identity;
  }
  lookInside();
  number(parent, index);
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
  number(parent, index);
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
// has none; its children count from the message's own number.
void MimePart::number(MimePart* parent, unsigned int index) {
  const bool root = parent == nullptr || parent->partType() == PartType::Message;
  const bool multipart = partType() != PartType::Single && partType() != PartType::Message;
  section_ = parent == nullptr ? std::string() : parent->section_;
  if (root && multipart) {
    setUniqueID(stringOf(section_.empty() ? "0" : section_ + ".0"));
    return;
  }
  if (!section_.empty()) {
    section_ += '.';
  }
  section_ += std::to_string(index + 1);
  String* const text = String::stringWithText(section_);
  setPartID(text);
  setUniqueID(text);
  if (!multipart && partType() != PartType::Message) {
    // Nothing is numbered below a leaf, and there may be many with long numbers.
    std::string().swap(section_);
  }
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
  std::string_view disposition;
  rfc822::FieldScanner scanner(entity().hasOtherFields ? rawHeader() : std::string_view(), true);
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
  readType(entity().contentType);
  if (!disposition.empty()) {
    const rfc822::ParameterizedValue value =
        rfc822::parseParameterized(disposition, charsetForRaw(disposition));
    // Anything unknown is treated as an attachment (RFC 2183 section 2.8).
    setInlineAttachment(value.value == "inline");
    setAttachment(!value.value.empty() && value.value != "inline");
    std::string name = cleanFilename(value.get("filename"));
    if (name.empty()) {
      name = cleanFilename(value.get("name"));
    }
    if (!name.empty()) {
      setFilename(stringOf(std::move(name)));
    }
  }
  if (!description.empty()) {
    setContentDescription(stringOf(text::decodeWords(description, charsetForRaw(description))));
  }
}

void MimePart::readType(std::string_view field) {
  if (field.empty()) {
    setMimeType(typeString(entity().inDigest ? "message/rfc822" : "text/plain"));
  } else {
    rfc822::ParameterizedValue value = rfc822::parseParameterized(field);
    const std::string* const declared = value.find("charset");
    if (declared != nullptr && !declared->empty()) {
      setCharset(String::stringWithText(*declared));
    }
    if (const std::string raw = charsetForRaw(field); !raw.empty()) {
      value = rfc822::parseParameterized(field, raw);
    }
    if (std::string name = cleanFilename(value.get("name")); !name.empty()) {
      setFilename(stringOf(std::move(name)));
    }
    const std::string_view type = value.type();
    if (!type.empty() && !value.subtype().empty()) {
      setMimeType(typeString(value.value));
    } else {
      // RFC 2045 section 5.2 takes what cannot be read as text.
      const bool isText = type.empty() || type == "text" || filename() == nullptr;
      setMimeType(
          typeString(isText ? "text/plain" : mime::mimeTypeForFilename(filename()->view())));
    }
    if (value.value == "text/plain") {
      flowed_ = text::equalsIgnoringCase(value.get("format"), "flowed");
      deleteSpace_ = text::equalsIgnoringCase(value.get("delsp"), "yes");
    }
    if (entity().kind == EntityKind::Multipart) {
      start_ = rfc822::parseMessageID(value.get("start"));
    }
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

std::string MimePart::charsetForRaw(std::string_view field) {
  if (text::isAscii(field) || text::isValidUtf8(field)) {
    return {};
  }
  const std::string_view own = brennox::textOf(charset());
  return own.empty() || isUsAscii(own) ? source_->charsetHint() : std::string(own);
}

void MimePart::lookInside() {
  if (partType() != PartType::Single || depth_ >= kMaxEntityDepth) {
    return;
  }
  const std::string_view type = mimeType()->view();
  if (type.substr(0, 10) == "multipart/") {
    if (encodings_ < kMaxEncodings) {
      openMultipart();
    }
    if (partType() == PartType::Single) {
      // No part in it: what is there is shown as it stands.
      setMimeType(typeString("text/plain"));
    }
    return;
  }
  if (encodings_ >= kMaxEncodings) {
    return;
  }
  if (type == "message/rfc822" || type == "message/global" || type == "message/news") {
    openMessage();
  } else if (type == "application/ms-tnef" || type == "application/vnd.ms-tnef" ||
             text::equalsIgnoringCase(brennox::textOf(filename()), "winmail.dat")) {
    openTnef();
  } else if (type == "text/plain" && !isAttachment()) {
    openFilesInText();
  }
}

// An embedded message in a transfer encoding.
void MimePart::openMessage() {
  Data* const decoded = data();
  if (decoded->length() == 0) {
    return;
  }
  childSource_ = make<Source>(decoded, depth_ + 1);
  firstChild_ = 0;
  setPartType(PartType::Message);
}

// A multipart in a transfer encoding: forbidden, and seen. Or one whose boundary is nowhere in it:
// without the parameter one may be found.
void MimePart::openMultipart() {
  const bool encoded = encoding_ != TransferEncoding::Identity;
  const std::string head =
      "Content-Type:" +
      (encoded ? std::string(entity().contentType) : std::string(mimeType()->view())) + "\n\n";
  Ref<Block> block = decodeBody(rawBody(), encoding_, head.size());
  std::memcpy(block->bytes(), head.data(), head.size());
  Ref<Source> inside = make<Source>(make<Data>(std::move(block)).get(), depth_);
  if (inside->entity(0).kind != EntityKind::Multipart) {
    return;
  }
  childSource_ = inside;
  firstChild_ = inside->entity(0).firstChild;
  setPartType(PartType::MultipartMixed);
  const std::string_view type = mimeType()->view();
  if (type == "multipart/related") {
    setPartType(PartType::MultipartRelated);
  } else if (type == "multipart/alternative") {
    setPartType(PartType::MultipartAlternative);
  }
}

void MimePart::openTnef() {
  const Ref<Data> stream = data();
  Tnef tnef;
  if (!parseTnef(stream->view(), tnef)) {
    return;
  }
  // The message's text stands in the message itself, as a rule, and again here.
  if (!source_ || !source_->hasText()) {
    Made body;
    body.attachment = false;
    std::string text;
    RtfContent rtf = readRtf(tnef.rtf);
    if (!tnef.html.empty()) {
      text = tnef.html;
      body.mimeType = "text/html";
      body.charset = tnef.htmlCharset;
    } else if (!rtf.html.empty()) {
      text = std::move(rtf.html);
      body.mimeType = "text/html";
      body.charset = "utf-8";
    } else {
      text = !tnef.plain.empty() ? std::move(tnef.plain) : std::move(rtf.plain);
      body.mimeType = "text/plain";
      body.charset = "utf-8";
    }
    if (!isBlankText(text)) {
      body.content = make<Data>(text.data(), text.size());
      made_.push_back(std::move(body));
    }
  }
  for (TnefAttachment& attachment : tnef.attachments) {
    Made made;
    made.filename = cleanFilename(attachment.filename);
    made.contentID = rfc822::parseMessageID(attachment.contentID);
    const auto offset = static_cast<std::size_t>(attachment.content.data() - stream->bytes());
    made.content = attachment.content.empty()
                       ? make<Data>()
                       : Ref<Data>(stream->subdata(offset, attachment.content.size()));
    if (attachment.isMessage) {
      made.mimeType = "application/ms-tnef";
    } else if (!attachment.mimeType.empty()) {
      made.mimeType = rfc822::parseParameterizedValue(attachment.mimeType);
    }
    if (made.mimeType.find('/') == std::string::npos) {
      made.mimeType = mime::mimeTypeForFilename(made.filename);
    }
    made_.push_back(std::move(made));
  }
  if (!made_.empty()) {
    setPartType(PartType::MultipartMixed);
    setMimeType(typeString("multipart/mixed"));
  }
}

// Takes uuencoded and yEnc files out of a text.
void MimePart::openFilesInText() {
  if (encoding_ == TransferEncoding::Uuencode || encoding_ == TransferEncoding::Yenc ||
      encoding_ == TransferEncoding::Base64 || !mayHoldFiles(rawBody())) {
    return;
  }
  const Ref<Data> content = data();
  const std::string_view text = content->view();
  std::vector<EmbeddedFile> files = findUuencodedFiles(text);
  const std::size_t uuencoded = files.size();
  for (EmbeddedFile& file : findYencFiles(text)) {
    files.push_back(std::move(file));
  }
  if (files.empty() || files.size() > kMaxEmbeddedFiles) {
    return;
  }
  std::vector<Made> parts;
  std::vector<std::pair<std::size_t, std::size_t>> taken;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const EmbeddedFile& file = files[i];
    Made made;
    Ref<Block> block = Block::allocate(uudecodedBound(file.lines.size()));
    block->truncate(i < uuencoded ? uudecodeLines(file.lines, block->bytes())
                                  : ydecodeLines(file.lines, block->bytes()));
    made.content = make<Data>(std::move(block));
    made.filename = cleanFilename(text::decodeWords(file.name, brennox::textOf(charset())));
    made.mimeType = mime::mimeTypeForFilename(made.filename);
    parts.push_back(std::move(made));
    taken.emplace_back(file.begin, file.end);
  }
  std::sort(taken.begin(), taken.end());
  std::string rest;
  std::size_t at = 0;
  for (const auto& [begin, end] : taken) {
    if (begin > at) {
      rest += text.substr(at, begin - at);
    }
    at = std::max(at, end);
  }
  rest += text.substr(at);
  if (!isBlankText(rest)) {
    Made body;
    body.mimeType = "text/plain";
    body.charset = brennox::textOf(charset());
    body.content = make<Data>(rest.data(), rest.size());
    body.attachment = false;
    body.flowed = flowed_;
    body.deleteSpace = deleteSpace_;
    made_.push_back(std::move(body));
  }
  std::move(parts.begin(), parts.end(), std::back_inserter(made_));
  setPartType(PartType::MultipartMixed);
  setMimeType(typeString("multipart/mixed"));
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
  for (std::uint32_t child = firstChild_; child != kNoEntity;
       child = childSource_->entity(child).nextSibling, ++index) {
    if (partType() != PartType::Message && isVoid(childSource_->entity(child))) {
      continue;
    }
    children_->addObject(
        Ref<MimePart>::adopt(new MimePart(childSource_, child, this, index)).get());
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
