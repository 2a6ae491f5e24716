#include "main/Utf16.h"

#include <cstdint>
#include <cstring>

namespace velkor {
namespace {

// The low six bits of a continuation byte; 0x80 or more for any other byte.
std::uint32_t Continuation(const char* p) {
  return static_cast<unsigned char>(*p) ^ 0x80U;
}

constexpr std::uint32_t kNoContinuation = 0xC0;

// A character of two to four bytes at `p` (RFC 3629 section 4), and its length; 0 for what is none.
struct Character {
  std::uint32_t code = 0;
  std::size_t length = 0;
};

Character CharacterAt(const char* p, const char* end) {
  const auto lead = static_cast<std::uint32_t>(static_cast<unsigned char>(*p));
  if (lead < 0xE0) {
    if (lead < 0xC2 || end - p < 2 || (Continuation(p + 1) & kNoContinuation) != 0) {
      return {};
    }
    return {(lead & 0x1F) << 6 | Continuation(p + 1), 2};
  }
  if (lead < 0xF0) {
    if (end - p < 3 || ((Continuation(p + 1) | Continuation(p + 2)) & kNoContinuation) != 0) {
      return {};
    }
    const std::uint32_t code = (lead & 0x0F) << 12 | Continuation(p + 1) << 6 | Continuation(p + 2);
    const bool surrogate = code >= 0xD800 && code < 0xE000;
    return code < 0x800 || surrogate ? Character() : Character{code, 3};
  }
  if (lead > 0xF4 || end - p < 4 ||
      ((Continuation(p + 1) | Continuation(p + 2) | Continuation(p + 3)) & kNoContinuation) != 0) {
    return {};
  }
  const std::uint32_t code = (lead & 0x07) << 18 | Continuation(p + 1) << 12 |
                             Continuation(p + 2) << 6 | Continuation(p + 3);
  return code < 0x10000 || code > 0x10FFFF ? Character() : Character{code, 4};
}

}  // namespace

std::size_t ToUtf16(std::string_view text, char16_t* out) {
  const char* p = text.data();
  const char* const end = p + text.size();
  char16_t* to = out;
  while (p != end) {
    if (static_cast<unsigned char>(*p) < 0x80) {
      std::uint64_t word = ~std::uint64_t{0};
      if (end - p >= 8) {
        std::memcpy(&word, p, sizeof word);
      }
      const std::size_t count = (word & 0x8080808080808080U) == 0 ? 8 : 1;
      for (std::size_t i = 0; i < count; ++i) {
        to[i] = static_cast<unsigned char>(p[i]);
      }
      p += count;
      to += count;
      continue;
    }
    const Character character = CharacterAt(p, end);
    if (character.length == 0) {
      return kNotUtf8;
    }
    p += character.length;
    if (character.code < 0x10000) {
      *to++ = static_cast<char16_t>(character.code);
    } else {
      *to++ = static_cast<char16_t>(0xD7C0 + (character.code >> 10));
      *to++ = static_cast<char16_t>(0xDC00 | (character.code & 0x3FF));
    }
  }
  return static_cast<std::size_t>(to - out);
}

}  // namespace velkor
