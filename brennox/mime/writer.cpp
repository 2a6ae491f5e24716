#include "mime/writer.h"

#include <brennox/Attachment.h>
#include <brennox/String.h>

#include <algorithm>
#include <cstring>

#include "core/unique_token.h"
#include "mime/mime_types.h"
#include "mime/part_fields.h"
#include "rfc822/header_writer.h"
#include "rfc822/parameters.h"
#include "text/base64.h"
#include "text/quoted_printable.h"

namespace brennox::mime {
namespace {

// RFC 2046 section 5.1.1 allows 70; with these its parameter fits on a line.
constexpr std::size_t kMaxBoundary = 64;
// Occurs in neither base64 nor quoted-printable.
constexpr std::string_view kBoundaryMark = "=_";

std::string_view bodyOf(const OutgoingEntity& entity) {
  return entity.data ? entity.data->view() : std::string_view(entity.octets);
}

bool isMultipart(const OutgoingEntity& entity) {
  return !entity.multipartType.empty();
}

// One field with parameters.
class ParameterField {
 public:
  ParameterField(std::string_view name, std::string_view value, std::string& out)
      : out_(out), column_(name.size() + 2 + value.size()) {
    out_ += name;
    out_ += ": ";
    out_ += value;
  }
  void add(std::string_view name, std::string_view value) {
    rfc822::appendParameter(name, value, column_, out_);
  }
  void addForOldReaders(std::string_view name, std::string_view value) {
    rfc822::appendParameterAsEncodedWord(name, value, column_, out_);
  }
  // On a line of its own and in one piece: many readers know no other form.
  void addBoundary(std::string_view boundary) {
    out_ += ";\r\n boundary=\"";
    out_ += boundary;
    out_ += '"';
  }
  void finish() { out_ += "\r\n"; }

 private:
  std::string& out_;
  std::size_t column_;
};

void appendTransferEncoding(BodyEncoding encoding, std::string& out) {
  out += "Content-Transfer-Encoding: ";
  out += nameOf(encoding);
  out += "\r\n";
}

// Puts text into an entity in the encoding chosen for it.
void setText(OutgoingEntity& entity, BodyEncoding encoding, std::string text) {
  entity.encoding = encoding;
  if (encoding == BodyEncoding::QuotedPrintable) {
    text::quotedPrintableEncode(text, entity.octets);
  } else if (encoding == BodyEncoding::Base64) {
    entity.octets.resize(text::base64EncodedLinesLength(text.size()));
    text::base64EncodeLines(text, entity.octets.data());
  } else {
    entity.octets = std::move(text);
  }
}

// The encoding for bytes that are text of some kind and have to arrive unchanged.
BodyEncoding encodingForText(std::string_view bytes, const BodyProfile& profile,
                             const WriteOptions& options) {
  const bool endsWell = profile.endsWithLine || !options.standsAlone;
  if (endsWell && profile.isAscii && !profile.hasControls && canStandAsIs(profile) &&
      !(options.isSigned && profile.hasFragileLines)) {
    return BodyEncoding::SevenBit;
  }
  if (profile.hasNul || profile.hasBareLineEnds || !endsWell) {
    return BodyEncoding::Base64;
  }
  return shorterEncoding(bytes);
}

bool isTextual(std::string_view type) {
  return type.starts_with("text/") || type.ends_with("+json") || type.ends_with("+xml") ||
         type == "application/json" || type == "application/xml" ||
         type == "application/javascript" || type == "application/sql" ||
         type == "application/x-yaml" || type == "application/x-shellscript";
}

MediaType typeOf(Attachment* attachment, std::string_view filename) {
  const std::string_view given = textOf(attachment->mimeType());
  if (given.empty()) {
    return {mimeTypeForFilename(filename), {}};
  }
  const std::optional<MediaType> type = parseMediaType(given);
  if (!type || type->essence.starts_with("multipart/")) {
    return {kUnknownMimeType, {}};
  }
  return *type;
}

// The charset to declare for an attached text that names none: only what the bytes prove.
std::string_view charsetFor(const MediaType& type, const BodyProfile& profile) {
  if (!type.essence.starts_with("text/") || type.essence == "text/xml" || profile.hasNul) {
    return {};
  }
  if (profile.isAscii) {
    // Escapes may be those of a 7-bit charset other than ASCII.
    return profile.hasControls ? std::string_view() : "us-ascii";
  }
  return profile.isUtf8 ? "utf-8" : std::string_view();
}

// An attached message is written as it is, whatever it holds (RFC 2046 section 5.2.1). False when
// that is not possible on the wire.
bool setMessage(OutgoingEntity& entity, Data* data) {
  BodyProfile profile = profileOf(data->view());
  if (profile.hasBareLineEnds) {
    entity.octets = withCanonicalLineEnds(data->view());
    profile = profileOf(entity.octets);
  } else {
    entity.data = data;
  }
  if (!canStandAsIs(profile)) {
    entity.octets.clear();
    entity.data.reset();
    return false;
  }
  entity.encoding = profile.isAscii ? BodyEncoding::SevenBit : BodyEncoding::EightBit;
  return true;
}

void setBytes(OutgoingEntity& entity, Data* data, const MediaType& type,
              const WriteOptions& options, std::string* charset) {
  entity.data = data;
  entity.encoding = BodyEncoding::Base64;
  if (!isTextual(type.essence)) {
    return;
  }
  const BodyProfile profile = profileOf(data->view());
  entity.encoding = encodingForText(data->view(), profile, options);
  if (charset->empty()) {
    *charset = charsetFor(type, profile);
  }
  if (entity.encoding == BodyEncoding::QuotedPrintable) {
    text::quotedPrintableEncode(data->view(), entity.octets);
    entity.data.reset();
  }
}

bool contains8Bit(const OutgoingEntity& entity) {
  return entity.encoding == BodyEncoding::EightBit ||
         std::any_of(entity.parts.begin(), entity.parts.end(), contains8Bit);
}

bool occurs(std::string_view mark, const OutgoingEntity& entity) {
  const bool isLiteral =
      entity.encoding == BodyEncoding::SevenBit || entity.encoding == BodyEncoding::EightBit;
  return (isLiteral && bodyOf(entity).find(mark) != std::string_view::npos) ||
         std::any_of(entity.parts.begin(), entity.parts.end(),
                     [&](const OutgoingEntity& part) { return occurs(mark, part); });
}

// bchars of RFC 2046 section 5.1.1 but the blank.
std::string boundaryPrefix(std::string_view prefix, std::size_t room) {
  constexpr std::string_view kMarks = "'()+_,-./:=?";
  std::string result;
  for (const char c : prefix) {
    const bool isAllowed = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
                           (c >= 'A' && c <= 'Z') || kMarks.find(c) != std::string_view::npos;
    // Readers take an encoded-word for one wherever it stands.
    const bool isMisleading = c == '?' && result.ends_with('=');
    if (isAllowed && !isMisleading && result.size() < room) {
      result += c;
    }
  }
  return result;
}

// Boundaries of one tree have the same length, so that none begins with another.
void assign(OutgoingEntity& entity, const std::string& stem, char& next) {
  if (!isMultipart(entity)) {
    return;
  }
  entity.boundary = stem + next++;
  for (OutgoingEntity& part : entity.parts) {
    assign(part, stem, next);
  }
  ParameterField type("Content-Type", entity.multipartType, entity.fields);
  if (entity.multipartType == "multipart/related") {
    const OutgoingEntity& root = entity.parts.front();
    type.add("type", isMultipart(root) ? root.multipartType : "text/html");
  }
  type.addBoundary(entity.boundary);
  type.finish();
  if (contains8Bit(entity)) {
    appendTransferEncoding(BodyEncoding::EightBit, entity.fields);
  }
}

// True when what bodyLength counts ends in CRLF of its own, so that a boundary can follow at once.
bool endsWithOwnLine(const OutgoingEntity& entity) {
  return isMultipart(entity) ||
         (entity.encoding == BodyEncoding::Base64 && !bodyOf(entity).empty());
}

std::size_t entityLength(const OutgoingEntity& entity) {
  std::size_t length = entity.fields.size() + 2;
  for (const OutgoingEntity& part : entity.parts) {
    length += 2 + entity.boundary.size() + 2 + entityLength(part) + (endsWithOwnLine(part) ? 0 : 2);
  }
  if (isMultipart(entity)) {
    return length + 2 + entity.boundary.size() + 4;
  }
  const std::size_t body = bodyOf(entity).size();
  const bool isEncodedHere = entity.data && entity.encoding == BodyEncoding::Base64;
  return length + (isEncodedHere ? text::base64EncodedLinesLength(body) : body);
}

char* put(std::string_view text, char* out) {
  if (!text.empty()) {
    std::memcpy(out, text.data(), text.size());
  }
  return out + text.size();
}

char* writeEntity(const OutgoingEntity& entity, char* out) {
  out = put(entity.fields, out);
  out = put("\r\n", out);
  for (const OutgoingEntity& part : entity.parts) {
    out = put("--", out);
    out = put(entity.boundary, out);
    out = put("\r\n", out);
    out = writeEntity(part, out);
    out = put(endsWithOwnLine(part) ? "" : "\r\n", out);
  }
  if (isMultipart(entity)) {
    out = put("--", out);
    out = put(entity.boundary, out);
    return put("--\r\n", out);
  }
  if (entity.data && entity.encoding == BodyEncoding::Base64) {
    text::base64EncodeLines(entity.data->view(), out);
    return out + text::base64EncodedLinesLength(entity.data->length());
  }
  return put(bodyOf(entity), out);
}

}  // namespace

OutgoingEntity textEntity(std::string_view text, std::string_view subtype,
                          const WriteOptions& options) {
  std::string canonical = withCanonicalLineEnds(text);
  BodyProfile profile = profileOf(canonical);
  if (options.standsAlone && !profile.endsWithLine) {
    canonical += "\r\n";
    profile.endsWithLine = true;
  }
  const BodyEncoding encoding = encodingForText(canonical, profile, options);

  OutgoingEntity entity;
  std::string type = "text/";
  type += subtype;
  ParameterField field("Content-Type", type, entity.fields);
  field.add("charset", profile.isAscii ? "us-ascii" : "utf-8");
  field.finish();
  appendTransferEncoding(encoding, entity.fields);
  setText(entity, encoding, std::move(canonical));
  return entity;
}

OutgoingEntity attachmentEntity(Attachment* attachment, Disposition disposition,
                                const WriteOptions& options) {
  OutgoingEntity entity;
  Ref<Data> data = attachment->data();
  if (!data) {
    data = make<Data>();
  }
  const std::string filename = writableFilename(textOf(attachment->filename()));
  MediaType type = typeOf(attachment, filename);
  std::string charset(usableCharset(textOf(attachment->charset())));
  if (!type.essence.starts_with("message/")) {
    setBytes(entity, data.get(), type, options, &charset);
  } else if (!setMessage(entity, data.get())) {
    type = {kUnknownMimeType, {}};
    setBytes(entity, data.get(), type, options, &charset);
  }

  ParameterField typeField("Content-Type", type.essence, entity.fields);
  if (!charset.empty()) {
    typeField.add("charset", charset);
  }
  for (const rfc822::Parameter& parameter : type.parameters) {
    typeField.add(parameter.name, parameter.value);
  }
  if (!filename.empty()) {
    typeField.addForOldReaders("name", filename);
  }
  typeField.finish();
  appendTransferEncoding(entity.encoding, entity.fields);
  ParameterField dispositionField("Content-Disposition",
                                  disposition == Disposition::Inline ? "inline" : "attachment",
                                  entity.fields);
  if (!filename.empty()) {
    dispositionField.add("filename", filename);
  }
  dispositionField.finish();
  rfc822::writeMessageID("Content-ID", textOf(attachment->contentID()), entity.fields);
  appendContentLocation(textOf(attachment->contentLocation()), entity.fields);
  rfc822::writeText("Content-Description", textOf(attachment->contentDescription()), entity.fields);
  return entity;
}

OutgoingEntity multipartEntity(std::string_view subtype, std::vector<OutgoingEntity> parts) {
  OutgoingEntity entity;
  entity.multipartType = "multipart/";
  entity.multipartType += subtype;
  entity.parts = std::move(parts);
  return entity;
}

std::string assignBoundaries(OutgoingEntity& root, std::string_view prefix, std::string seed) {
  std::string mark;
  do {
    mark = kBoundaryMark;
    mark += seed;
    seed = core::uniqueToken();
  } while (occurs(mark, root));
  std::string stem = boundaryPrefix(prefix, kMaxBoundary - mark.size() - 2) + mark;
  char next = 'a';
  assign(root, stem, next);
  // Those of the tree end in a letter each.
  return stem + '.';
}

Ref<Block> assembleWithRoom(std::string_view messageFields, const OutgoingEntity& entity,
                            std::size_t room) {
  Ref<Block> block = Block::allocate(messageFields.size() + entityLength(entity) + room);
  writeEntity(entity, put(messageFields, block->bytes()));
  return block;
}

Ref<Data> assemble(std::string_view messageFields, const OutgoingEntity& entity) {
  return make<Data>(assembleWithRoom(messageFields, entity, 0));
}

Ref<Data> assemble(std::string_view messageFields, std::string_view entity) {
  Ref<Block> block = Block::allocate(messageFields.size() + entity.size());
  put(entity, put(messageFields, block->bytes()));
  return make<Data>(std::move(block));
}

}  // namespace brennox::mime
