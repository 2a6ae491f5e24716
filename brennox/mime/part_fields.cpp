#include "mime/part_fields.h"

#include <algorithm>

#include "text/ascii.h"
#include "text/charset.h"

namespace brennox::mime {
namespace {

constexpr std::size_t kLineLength = 78;      // RFC 5322 section 2.1.1, without CRLF
constexpr std::size_t kMaxTypeLength = 127;  // RFC 6838 section 4.2: of a type and of a subtype
constexpr std::size_t kMaxCharsetLength = 64;
constexpr std::size_t kMaxParameters = 32;
constexpr std::size_t kMaxParameterValue = 1024;
// In RFC 2231 form some hundred pieces; readers give up at 128 of them.
constexpr std::size_t kMaxFilename = 1800;
// A URI up to this length stays on one line.
constexpr std::size_t kMaxUnfoldedLocation = 900;

// restricted-name-chars of RFC 6838 section 4.2.
bool isTypeName(std::string_view text) {
  constexpr std::string_view kMarks = "!#$&-^_.+";
  return !text.empty() && text.size() <= kMaxTypeLength &&
         (text::isAlpha(text[0]) || text::isDigit(text[0])) &&
         std::all_of(text.begin(), text.end(), [&](char c) {
           return text::isAlpha(c) || text::isDigit(c) || kMarks.find(c) != std::string_view::npos;
         });
}

// token of RFC 2045 section 5.1.
bool isToken(std::string_view text) {
  constexpr std::string_view kSpecials = "()<>@,;:\\\"/[]?=";
  return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
    return c > ' ' && c < '\x7f' && kSpecials.find(c) == std::string_view::npos;
  });
}

// Valid UTF-8 without controls, which become blanks; those at the ends go.
std::string cleanText(std::string_view text) {
  std::string result;
  text::appendRepairedUtf8(text, result);
  for (char& c : result) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte == 0x7F) {
      c = ' ';
    }
  }
  return std::string(text::trimmed(result));
}

}  // namespace

std::optional<MediaType> parseMediaType(std::string_view text) {
  // The parser of received messages puts up with more than a script should write.
  const std::string_view written = text.substr(0, text.find(';'));
  if (std::any_of(written.begin(), written.end(), [](char c) {
        return c == '"' || c == '(' || (c < ' ' && c != '\t') || c == '\x7f';
      })) {
    return std::nullopt;
  }
  rfc822::ParameterizedValue parsed = rfc822::parseParameterized(text);
  const std::size_t slash = parsed.value.find('/');
  if (slash == std::string::npos || !isTypeName(std::string_view(parsed.value).substr(0, slash)) ||
      !isTypeName(std::string_view(parsed.value).substr(slash + 1))) {
    return std::nullopt;
  }
  MediaType type{std::move(parsed.value), {}};
  for (rfc822::Parameter& parameter : parsed.parameters) {
    const std::string& name = parameter.name;
    const bool isOurs = name == "name" || name == "charset" || name == "boundary";
    if (!isOurs && isToken(name) && name.size() <= kMaxCharsetLength &&
        name.find_first_of("*%'") == std::string::npos &&
        parameter.value.size() <= kMaxParameterValue && type.parameters.size() < kMaxParameters) {
      parameter.value = cleanText(parameter.value);
      type.parameters.push_back(std::move(parameter));
    }
  }
  return type;
}

std::string_view usableCharset(std::string_view charset) {
  charset = text::trimmed(charset);
  return charset.size() <= kMaxCharsetLength && isToken(charset) ? charset : std::string_view();
}

std::string writableFilename(std::string_view filename) {
  std::string name = cleanText(filename.substr(0, kMaxFilename + 4));
  if (name.size() > kMaxFilename) {
    std::size_t end = kMaxFilename;
    while ((static_cast<unsigned char>(name[end]) & 0xC0) == 0x80) {
      --end;
    }
    name.resize(end);
  }
  return name;
}

void appendContentLocation(std::string_view location, std::string& out) {
  constexpr std::string_view kForbidden = " \"<>\\^`{|}";
  constexpr char kHexDigits[] = "0123456789ABCDEF";
  std::string uri;
  for (const char c : text::trimmed(location)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte == 0x7F) {
      continue;
    }
    if (byte >= 0x80 || kForbidden.find(c) != std::string_view::npos) {
      uri += '%';
      uri += kHexDigits[byte >> 4];
      uri += kHexDigits[byte & 15];
    } else {
      uri += c;
    }
  }
  if (uri.empty()) {
    return;
  }
  // A URI may be folded anywhere, and readers take the blanks out (RFC 2557 section 4.4.2).
  out += "Content-Location: ";
  std::string_view rest = uri;
  for (std::size_t room = kLineLength - 18; !rest.empty(); room = kLineLength - 1) {
    const std::size_t length = uri.size() <= kMaxUnfoldedLocation ? rest.size() : room;
    out += rest.substr(0, length);
    rest.remove_prefix(std::min(length, rest.size()));
    out += rest.empty() ? "\r\n" : "\r\n ";
  }
}

}  // namespace brennox::mime
