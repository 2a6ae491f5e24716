#include "rfc822/header_fields.h"

#include <array>

#include "text/ascii.h"

namespace brennox::rfc822 {
namespace {

struct NamedField {
  std::string_view name;
  FieldId id;
};

// In order of length: a name is compared with those of its own length alone. As most programs write
// them, which spares most names a comparison without case.
constexpr std::array<NamedField, 21> kFields = {{
    {"To", FieldId::kTo},
    {"Cc", FieldId::kCc},
    {"Bcc", FieldId::kBcc},
    {"From", FieldId::kFrom},
    {"Date", FieldId::kDate},
    {"Sender", FieldId::kSender},
    {"Subject", FieldId::kSubject},
    {"Received", FieldId::kReceived},
    {"Reply-To", FieldId::kReplyTo},
    {"X-Mailer", FieldId::kXMailer},
    {"Message-ID", FieldId::kMessageID},
    {"References", FieldId::kReferences},
    {"User-Agent", FieldId::kUserAgent},
    {"Content-ID", FieldId::kContentID},
    {"In-Reply-To", FieldId::kInReplyTo},
    {"MIME-Version", FieldId::kMimeVersion},
    {"Content-Type", FieldId::kContentType},
    {"Content-Location", FieldId::kContentLocation},
    {"Content-Disposition", FieldId::kContentDisposition},
    {"Content-Description", FieldId::kContentDescription},
    {"Content-Transfer-Encoding", FieldId::kContentTransferEncoding},
}};

constexpr std::size_t kLongestName = kFields.back().name.size();

// Where the names of each length start, up to one beyond the longest.
constexpr auto kFirstOfLength = [] {
  std::array<std::uint8_t, kLongestName + 2> first{};
  for (std::size_t length = 0; length < first.size(); ++length) {
    while (first[length] < kFields.size() && kFields[first[length]].name.size() < length) {
      ++first[length];
    }
  }
  return first;
}();

constexpr text::CharacterSet kEndsName = text::CharacterSet(" :").withControls();

// How far a header is searched for its next field when lines come that are none. A body that begins
// without an empty line in front of it must not lose its first lines to the header.
constexpr int kMaxStrayLines = 8;

// A line without its end, and where the next one begins.
struct Line {
  std::string_view text;
  std::size_t next;
};

// Several CRs before an LF are one line end: some gateway turned LF into CRLF twice.
Line lineAt(std::string_view bytes, std::size_t start, char lineEnd) {
  const std::size_t found = bytes.find(lineEnd, start);
  const std::size_t end = found == std::string_view::npos ? bytes.size() : found;
  std::string_view text = bytes.substr(start, end - start);
  while (!text.empty() && text.back() == '\r') {
    text.remove_suffix(1);
  }
  return {text, found == std::string_view::npos ? end : end + 1};
}

// CR where no line ends with LF, or none of the header does; elsewhere a lone CR is part of the
// text.
char lineEndOf(std::string_view bytes) {
  const std::size_t lineFeed = bytes.find('\n');
  if (lineFeed == std::string_view::npos) {
    return bytes.find('\r') == std::string_view::npos ? '\n' : '\r';
  }
  const std::size_t emptyLine = bytes.substr(0, lineFeed).find("\r\r");
  return emptyLine != std::string_view::npos && emptyLine + 2 < lineFeed ? '\r' : '\n';
}

// The length of a field's name at the start of a line, 0 if the line begins no field. RFC 5322
// section 4.5 allows white space before the colon.
std::size_t nameLength(std::string_view line) {
  const std::size_t length = kEndsName.runBefore(line);
  std::size_t colon = length;
  while (colon < line.size() && text::isBlank(line[colon])) {
    ++colon;
  }
  return length > 0 && colon < line.size() && line[colon] == ':' ? length : 0;
}

}  // namespace

FieldId fieldId(std::string_view name) {
  if (name.size() > kLongestName) {
    return FieldId::kOther;
  }
  for (std::size_t i = kFirstOfLength[name.size()]; i < kFirstOfLength[name.size() + 1]; ++i) {
    const NamedField& field = kFields[i];
    if (name == field.name || text::equalsIgnoringCase(name, field.name)) {
      return field.id;
    }
  }
  return FieldId::kOther;
}

FieldScanner::FieldScanner(std::string_view bytes, bool partHeader)
    : bytes_(bytes), lineEnd_(lineEndOf(bytes)) {
  if (partHeader) {
    return;
  }
  if (bytes_.substr(0, 3) == "\xEF\xBB\xBF") {
    position_ = 3;
  }
  // Blank lines that a careless spool put in front do not end a header that follows them.
  std::size_t start = position_;
  while (start < bytes_.size()) {
    const Line line = lineAt(bytes_, start, lineEnd_);
    if (!text::trimmed(line.text).empty()) {
      break;
    }
    start = line.next;
  }
  if (start == bytes_.size()) {
    return;
  }
  const Line first = lineAt(bytes_, start, lineEnd_);
  if (nameLength(first.text) > 0) {
    position_ = start;
  } else if (first.text.substr(0, 5) == "From " || first.text.substr(0, 6) == ">From ") {
    position_ = first.next;
  }
}

bool FieldScanner::fieldFollows(std::size_t position) const {
  for (int i = 0; i < kMaxStrayLines && position < bytes_.size(); ++i) {
    const Line line = lineAt(bytes_, position, lineEnd_);
    if (line.text.empty()) {
      return false;
    }
    if (nameLength(line.text) > 0) {
      return true;
    }
    position = line.next;
  }
  return false;
}

bool FieldScanner::next(HeaderField& field) {
  while (position_ < bytes_.size()) {
    const Line line = lineAt(bytes_, position_, lineEnd_);
    if (line.text.empty()) {
      bodyOffset_ = line.next;
      sawEmptyLine_ = true;
      return false;
    }
    const std::size_t length = nameLength(line.text);
    if (length == 0) {
      if (!fieldFollows(line.next)) {
        // White space alone was meant to be the empty line; anything else is the body already.
        sawEmptyLine_ = text::trimmed(line.text).empty();
        bodyOffset_ = sawEmptyLine_ ? line.next : position_;
        return false;
      }
      position_ = line.next;
      continue;
    }
    const char* const value = line.text.data() + line.text.find(':', length) + 1;
    const char* valueEnd = line.text.data() + line.text.size();
    position_ = line.next;
    while (position_ < bytes_.size() && text::isBlank(bytes_[position_])) {
      const Line continuation = lineAt(bytes_, position_, lineEnd_);
      // A line of blanks only may have been meant as the empty line: what follows it tells.
      const bool folded =
          continuation.next < bytes_.size() && text::isBlank(bytes_[continuation.next]);
      if (text::trimmed(continuation.text).empty() && !folded && !fieldFollows(continuation.next)) {
        break;
      }
      valueEnd = continuation.text.data() + continuation.text.size();
      position_ = continuation.next;
    }
    field.name = line.text.substr(0, length);
    field.value = {value, static_cast<std::size_t>(valueEnd - value)};
    field.id = fieldId(field.name);
    return true;
  }
  bodyOffset_ = bytes_.size();
  return false;
}

}  // namespace brennox::rfc822
