// Walking through UTF-8 byte by byte; what charset.h offers is built on it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "text/charset.h"

namespace brennox::text {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// Where the first byte outside of ASCII stands, or `end`.
inline const char* skipAscii(const char* p, const char* end) {
  while (end - p >= 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, p, sizeof word);
    if ((word & 0x8080808080808080U) != 0) {
      break;
    }
    p += 8;
  }
  while (p != end && static_cast<unsigned char>(*p) < 0x80) {
    ++p;
  }
  return p;
}

// One step through bytes that may be UTF-8.
struct Utf8Step {
  std::size_t length = 0;  // bytes of the character, or of the invalid sequence to replace; never 0
  bool valid = false;
};

// The character at `p` (RFC 3629 section 4), p != end.
inline Utf8Step utf8Step(const char* p, const char* end) {
  const auto lead = static_cast<unsigned char>(*p);
  if (lead < 0x80) {
    return {1, true};
  }
  const std::size_t length = utf8Length(*p);
  if (length == 1) {
    return {1, false};
  }
  // The second byte's range depends on the lead: no overlong forms, no surrogates, nothing past
  // U+10FFFF.
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (lead == 0xE0) {
    low = 0xA0;
  } else if (lead == 0xED) {
    high = 0x9F;
  } else if (lead == 0xF0) {
    low = 0x90;
  } else if (lead == 0xF4) {
    high = 0x8F;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if (end - p <= static_cast<std::ptrdiff_t>(i)) {
      return {i, false};
    }
    const auto byte = static_cast<unsigned char>(p[i]);
    if (byte < low || byte > high) {
      return {i, false};
    }
    low = 0x80;
    high = 0xBF;
  }
  return {length, true};
}

// What appendRepairedUtf8 does, for any output that has append().
template <class Output>
void appendRepaired(std::string_view bytes, Output& out) {
  if (isValidUtf8(bytes)) {
    out.append(bytes);
    return;
  }
  const char* p = bytes.data();
  const char* const end = p + bytes.size();
  const char* good = p;
  const auto takeOver = [&](const char* to) {
    out.append(good, static_cast<std::size_t>(to - good));
  };
  for (;;) {
    p = skipAscii(p, end);
    if (p == end) {
      takeOver(p);
      return;
    }
    const Utf8Step step = utf8Step(p, end);
    if (!step.valid) {
      takeOver(p);
      out.append(kReplacement);
      good = p + step.length;
    }
    p += step.length;
  }
}

inline void appendCodePoint(std::uint32_t c, std::string& out) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | c >> 6);
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | c >> 12);
    out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | c >> 18);
    out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
    out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

}  // namespace brennox::text
