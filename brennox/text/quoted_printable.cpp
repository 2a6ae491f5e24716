#include "text/quoted_printable.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "text/ascii.h"
#include "text/charset.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace brennox::text {
namespace {

constexpr std::size_t kMaxLine = 76;
constexpr std::uint8_t kNoHex = 0x80;

constexpr std::array<std::uint8_t, 256> makeHexValues() {
  std::array<std::uint8_t, 256> values{};
  for (unsigned i = 0; i < 256; ++i) {
    const int value = hexValue(static_cast<char>(i));
    values[i] = value < 0 ? kNoHex : static_cast<std::uint8_t>(value);
  }
  return values;
}
constexpr std::array<std::uint8_t, 256> kHexValues = makeHexValues();

std::uint8_t hexAt(const char* p) {
  return kHexValues[static_cast<unsigned char>(*p)];
}

class Decoder {
 public:
  Decoder(std::string_view encoded, char* out)
      : in_(encoded.data()), end_(in_ + encoded.size()), start_(out), out_(out), kept_(out) {}

  std::size_t decode() {
    for (;;) {
      escapes();
      copyRun();
      if (in_ == end_) {
        break;
      }
      if (*in_ == '=') {
        equals();
      } else {
        lineEnd();
      }
    }
    dropTrailingBlanks();
    return static_cast<std::size_t>(out_ - start_);
  }

 private:
  // Runs of escapes, which is what other scripts than Latin consist of.
  void escapes() {
    while (end_ - in_ >= 3 && *in_ == '=') {
      const std::uint8_t high = hexAt(in_ + 1);
      const std::uint8_t low = hexAt(in_ + 2);
      if (((high | low) & kNoHex) != 0) {
        return;
      }
      *out_++ = static_cast<char>(high << 4 | low);
      in_ += 3;
      kept_ = out_;
      // One blank or letter between two escapes is common, and too short for a wide step.
      if (end_ - in_ >= 4 && in_[1] == '=' && *in_ != '\n' && *in_ != '=') {
        *out_++ = *in_++;
      }
    }
  }

  // Up to the next escape or line feed. The output never runs ahead of the input, so a wide store
  // that the input's size allows fits the output too.
  void copyRun() {
#if defined(__SSE2__)
    const __m128i equals = _mm_set1_epi8('=');
    const __m128i lineFeed = _mm_set1_epi8('\n');
    while (end_ - in_ >= 16) {
      const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in_));
      const int stops = _mm_movemask_epi8(
          _mm_or_si128(_mm_cmpeq_epi8(block, equals), _mm_cmpeq_epi8(block, lineFeed)));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out_), block);
      if (stops != 0) {
        const int length = __builtin_ctz(static_cast<unsigned>(stops));
        in_ += length;
        out_ += length;
        return;
      }
      in_ += 16;
      out_ += 16;
    }
#endif
    while (in_ != end_ && *in_ != '=' && *in_ != '\n') {
      *out_++ = *in_++;
    }
  }

  void dropTrailingBlanks() {
    while (out_ != kept_ && isBlank(out_[-1])) {
      --out_;
    }
  }

  void lineEnd() {
    const bool carriageReturn = out_ != kept_ && out_[-1] == '\r';
    out_ -= carriageReturn ? 1 : 0;
    dropTrailingBlanks();
    if (carriageReturn) {
      *out_++ = '\r';
    }
    *out_++ = '\n';
    ++in_;
    kept_ = out_;
  }

  // An equals sign that begins no escape: a soft line break (RFC 2045 section 6.7, rule 5; white
  // space may have been added behind it), or itself.
  void equals() {
    const char* p = in_ + 1;
    if (end_ - p >= 2 && ((hexAt(p) | hexAt(p + 1)) & kNoHex) == 0) {
      return;
    }
    while (p != end_ && isBlank(*p)) {
      ++p;
    }
    if (p == end_) {
      in_ = p;
      return;
    }
    if (*p == '\r' || *p == '\n') {
      in_ = *p == '\r' && end_ - p >= 2 && p[1] == '\n' ? p + 2 : p + 1;
      kept_ = out_;
      return;
    }
    *out_++ = '=';
    ++in_;
    kept_ = out_;
  }

  const char* in_;
  const char* const end_;
  char* const start_;
  char* out_;
  char* kept_;  // what stands before it is no trailing white space, whatever it is
};

bool isLiteral(char c) {
  return (c > ' ' && c < 0x7F && c != '=') || isBlank(c);
}

// The escapes of one character's bytes.
void appendEscapes(std::string_view character, std::string& out) {
  constexpr char kHex[] = "0123456789ABCDEF";
  char escapes[12];
  char* to = escapes;
  for (const char c : character) {
    const auto byte = static_cast<unsigned char>(c);
    *to++ = '=';
    *to++ = kHex[byte >> 4];
    *to++ = kHex[byte & 15];
  }
  out.append(escapes, static_cast<std::size_t>(to - escapes));
}

bool isLineEnd(std::string_view bytes, std::size_t at) {
  return bytes.size() - at >= 2 && bytes[at] == '\r' && bytes[at + 1] == '\n';
}

// How many of the first `most` bytes go out as they are wherever they stand within a line. A blank
// does if no line end can follow it.
std::size_t literalRun(std::string_view bytes, std::size_t most) {
  std::size_t length = 0;
  while (length < most && length < bytes.size() && isLiteral(bytes[length])) {
    if (isBlank(bytes[length]) && (length + 1 == bytes.size() || bytes[length + 1] == '\r')) {
      break;
    }
    ++length;
  }
  return length;
}

}  // namespace

std::size_t quotedPrintableDecode(std::string_view encoded, char* out) {
  return Decoder(encoded, out).decode();
}

std::string quotedPrintableDecode(std::string_view encoded) {
  std::string out(encoded.size(), '\0');
  out.resize(quotedPrintableDecode(encoded, out.data()));
  return out;
}

void quotedPrintableEncode(std::string_view bytes, std::string& out) {
  out.reserve(out.size() + quotedPrintableLength(bytes) / 72 * 75 + 8);
  std::size_t column = 0;
  std::size_t i = 0;
  while (i < bytes.size()) {
    const std::string_view rest = bytes.substr(i);
    if (column > 0 && column < kMaxLine - 1) {
      const std::size_t run = literalRun(rest, kMaxLine - 1 - column);
      out.append(rest.data(), run);
      column += run;
      i += run;
      if (run > 0) {
        continue;
      }
    }
    if (isLineEnd(bytes, i)) {
      out += "\r\n";
      column = 0;
      i += 2;
      continue;
    }
    const std::size_t length = std::min(utf8Length(bytes[i]), rest.size());
    const bool lineEnds = rest.size() == 1 || isLineEnd(bytes, i + 1);
    // A mail store changes "From " at a line's start, a careless relay loses a dot there.
    const bool escaped = !isLiteral(bytes[i]) || (isBlank(bytes[i]) && lineEnds) ||
                         (column == 0 && (bytes[i] == '.' || rest.substr(0, 5) == "From "));
    const std::size_t width = escaped ? 3 * length : 1;
    // The last place of a line is the soft break's, unless the line ends by itself.
    const std::size_t room = lineEnds && length == 1 ? kMaxLine : kMaxLine - 1;
    if (column + width > room) {
      out += "=\r\n";
      column = 0;
      continue;
    }
    if (!escaped) {
      out += bytes[i];
    } else {
      appendEscapes(rest.substr(0, length), out);
    }
    column += width;
    i += length;
  }
}

std::size_t quotedPrintableLength(std::string_view bytes) {
  std::size_t length = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n') {
      length += 2;
      ++i;
      continue;
    }
    length += isLiteral(bytes[i]) ? 1 : 3;
  }
  return length;
}

}  // namespace brennox::text
