#include "mime/body_encoding.h"

#include "text/base64.h"
#include "text/charset.h"
#include "text/quoted_printable.h"

namespace brennox::mime {
namespace {

constexpr std::size_t kMaxLine = 998;  // RFC 5322 section 2.1.1, without CRLF
// Quoted-printable is made in memory of its own before it is put in its place, base64 is not.
constexpr std::size_t kMaxQuotedPrintable = std::size_t{4} << 20;

constexpr bool isControl(unsigned char c) {
  return (c < 0x20 && c != '\t' && c != '\r' && c != '\n') || c == 0x7F;
}

// Without a branch inside, so that the compiler makes vector code of it.
bool containsControl(std::string_view bytes) {
  unsigned char found = 0;
  for (const char c : bytes) {
    found = static_cast<unsigned char>(found | (isControl(static_cast<unsigned char>(c)) ? 1 : 0));
  }
  return found != 0;
}

void noteLine(std::string_view line, BodyProfile* profile) {
  profile->hasLongLines |= line.size() > kMaxLine;
  profile->hasFragileLines |=
      line.ends_with(' ') || line.ends_with('\t') || line.starts_with("From ");
}

void noteLines(std::string_view bytes, BodyProfile* profile) {
  std::size_t start = 0;
  while (start < bytes.size()) {
    const std::size_t end = bytes.find('\n', start);
    if (end == std::string_view::npos) {
      noteLine(bytes.substr(start), profile);
      break;
    }
    const bool isWhole = end > start && bytes[end - 1] == '\r';
    profile->hasBareLineEnds |= !isWhole;
    noteLine(bytes.substr(start, end - start - (isWhole ? 1 : 0)), profile);
    start = end + 1;
  }
  std::size_t at = 0;
  while (!profile->hasBareLineEnds && (at = bytes.find('\r', at)) != std::string_view::npos) {
    profile->hasBareLineEnds = bytes.size() - at < 2 || bytes[at + 1] != '\n';
    ++at;
  }
}

}  // namespace

const char* nameOf(BodyEncoding encoding) {
  switch (encoding) {
    case BodyEncoding::SevenBit:
      return "7bit";
    case BodyEncoding::EightBit:
      return "8bit";
    case BodyEncoding::QuotedPrintable:
      return "quoted-printable";
    case BodyEncoding::Base64:
      break;
  }
  return "base64";
}

BodyProfile profileOf(std::string_view bytes) {
  BodyProfile profile;
  profile.isAscii = text::isAscii(bytes);
  profile.isUtf8 = profile.isAscii || text::isValidUtf8(bytes);
  profile.hasNul = bytes.find('\0') != std::string_view::npos;
  profile.hasControls = profile.hasNul || containsControl(bytes);
  profile.endsWithLine = bytes.empty() || bytes.ends_with("\r\n");
  noteLines(bytes, &profile);
  return profile;
}

bool canStandAsIs(const BodyProfile& profile) {
  return !profile.hasNul && !profile.hasBareLineEnds && !profile.hasLongLines;
}

BodyEncoding shorterEncoding(std::string_view bytes) {
  if (bytes.size() > kMaxQuotedPrintable) {
    return BodyEncoding::Base64;
  }
  const std::size_t base64 = text::base64EncodedLinesLength(bytes.size());
  return text::quotedPrintableLength(bytes) <= base64 + base64 / 16 ? BodyEncoding::QuotedPrintable
                                                                    : BodyEncoding::Base64;
}

std::string withCanonicalLineEnds(std::string_view text) {
  std::string result;
  result.reserve(text.size() + text.size() / 32 + 2);
  while (!text.empty()) {
    std::size_t end = 0;
    while (end < text.size() && text[end] != '\r' && text[end] != '\n') {
      ++end;
    }
    result += text.substr(0, end);
    text.remove_prefix(end);
    if (!text.empty()) {
      result += "\r\n";
      text.remove_prefix(text.starts_with("\r\n") ? 2 : 1);
    }
  }
  return result;
}

}  // namespace brennox::mime
