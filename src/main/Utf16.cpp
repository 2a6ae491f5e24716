#include "main/Utf16.h"

#include <array>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) && defined(__GNUC__)
#define VELKOR_VECTORS 1
#include <immintrin.h>
// The module has to load on any x86-64: these are asked for at run time.
#define VELKOR_TARGET __attribute__((target("sse4.1,popcnt")))
#else
#define VELKOR_VECTORS 0
#endif

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

// How far a text has been converted.
struct Position {
  const char* from;
  char16_t* to;
};

#if VELKOR_VECTORS

// For each set of eight units, the shuffle that moves those in the set to the front.
constexpr std::array<std::array<std::uint8_t, 16>, 256> MakeGathering() {
  std::array<std::array<std::uint8_t, 16>, 256> result{};
  for (unsigned set = 0; set < 256; ++set) {
    std::size_t at = 0;
    for (unsigned unit = 0; unit < 8; ++unit) {
      if ((set >> unit & 1) != 0) {
        result[set][at++] = static_cast<std::uint8_t>(2 * unit);
        result[set][at++] = static_cast<std::uint8_t>(2 * unit + 1);
      }
    }
  }
  return result;
}
alignas(16) constexpr std::array<std::array<std::uint8_t, 16>, 256> kGathering = MakeGathering();

VELKOR_TARGET char16_t* Gather(__m128i units, unsigned set, char16_t* to) {
  const __m128i shuffle = _mm_load_si128(reinterpret_cast<const __m128i*>(kGathering[set].data()));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_shuffle_epi8(units, shuffle));
  return to + _mm_popcnt_u32(set);
}

VELKOR_TARGET unsigned BitsOf(__m128i bytes) {
  return static_cast<unsigned>(_mm_movemask_epi8(bytes));
}

// The bytes from `bound` on. Unsigned, which the instruction set has no comparison for.
VELKOR_TARGET __m128i AtLeast(__m128i bytes, unsigned char bound) {
  return _mm_cmpeq_epi8(_mm_max_epu8(bytes, _mm_set1_epi8(static_cast<char>(bound))), bytes);
}

VELKOR_TARGET __m128i AreEqual(__m128i bytes, unsigned char byte) {
  return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(static_cast<char>(byte)));
}

// The character that each of eight bytes ends, if it ends one: its own bits, those of the byte
// before it where it is a continuation, and those of the byte before that in characters of three.
VELKOR_TARGET __m128i Units(__m128i own, __m128i before1, __m128i before2, __m128i isContinuation,
                            __m128i isThird) {
  own = _mm_andnot_si128(_mm_and_si128(isContinuation, _mm_set1_epi16(0xC0)), own);
  before1 = _mm_and_si128(_mm_slli_epi16(before1, 6), _mm_set1_epi16(0xFC0));
  before2 = _mm_slli_epi16(before2, 12);
  return _mm_or_si128(
      own, _mm_or_si128(_mm_and_si128(before1, isContinuation), _mm_and_si128(before2, isThird)));
}

// Converts 16 bytes at a time for as long as they hold nothing but valid characters of up to three
// bytes. All units are made as if each byte ended a character, and those that do not are left out.
VELKOR_TARGET Position ConvertVectors(Position position, const char* end) {
  auto [p, to] = position;
  const __m128i zero = _mm_setzero_si128();
  while (end - p >= 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const unsigned others = BitsOf(block);
    if (others == 0) {
      auto* const units = reinterpret_cast<__m128i*>(to);
      _mm_storeu_si128(units, _mm_unpacklo_epi8(block, zero));
      _mm_storeu_si128(units + 1, _mm_unpackhi_epi8(block, zero));
      p += 16;
      to += 16;
      continue;
    }
    // As signed numbers, continuations are the lowest.
    const __m128i isContinuation = _mm_cmpgt_epi8(_mm_set1_epi8(-64), block);
    const __m128i isLead3 = AtLeast(block, 0xE0);
    const unsigned leads = others & ~BitsOf(isContinuation);
    const unsigned leads3 = BitsOf(isLead3);
    const unsigned wanted = (leads << 1 | leads3 << 2) & 0xFFFF;
    // C0 and C1 begin nothing; from F0 on characters have four bytes.
    const __m128i isOutside =
        _mm_or_si128(AreEqual(_mm_and_si128(block, _mm_set1_epi8(static_cast<char>(0xFE))), 0xC0),
                     AtLeast(block, 0xF0));
    if ((others & ~leads) != wanted || BitsOf(isOutside) != 0) {
      break;
    }
    const __m128i before1 = _mm_slli_si128(block, 1);
    __m128i before2 = zero;
    __m128i isThird = zero;
    if (leads3 != 0) {
      // Overlong forms and surrogates.
      const unsigned high = BitsOf(AtLeast(block, 0xA0));
      const unsigned afterE0 = BitsOf(AreEqual(block, 0xE0)) << 1 & wanted;
      const unsigned afterED = BitsOf(AreEqual(block, 0xED)) << 1 & wanted;
      if (((afterE0 & ~high) | (afterED & high)) != 0) {
        break;
      }
      before2 = _mm_slli_si128(block, 2);
      isThird = _mm_slli_si128(isLead3, 2);
    }
    const unsigned ends = (~others | (leads & ~leads3) << 1 | leads3 << 2) & 0xFFFF;
    to = Gather(
        Units(_mm_unpacklo_epi8(block, zero), _mm_unpacklo_epi8(before1, zero),
              _mm_unpacklo_epi8(before2, zero), _mm_unpacklo_epi8(isContinuation, isContinuation),
              _mm_unpacklo_epi8(isThird, isThird)),
        ends & 0xFF, to);
    to = Gather(
        Units(_mm_unpackhi_epi8(block, zero), _mm_unpackhi_epi8(before1, zero),
              _mm_unpackhi_epi8(before2, zero), _mm_unpackhi_epi8(isContinuation, isContinuation),
              _mm_unpackhi_epi8(isThird, isThird)),
        ends >> 8, to);
    // A character that goes on behind the block is taken with the next one.
    p += 16 - ((leads >> 15 & 1) != 0 ? 1 : (leads3 >> 14 & 1) != 0 ? 2 : 0);
  }
  return {p, to};
}

bool HasVectors() {
  static const bool has =
      __builtin_cpu_supports("sse4.1") != 0 && __builtin_cpu_supports("popcnt") != 0;
  return has;
}

#endif

// Converts characters until `stop` is reached or passed. Stays before it at what is no UTF-8.
Position ConvertCharacters(Position position, const char* stop, const char* end) {
  auto [p, to] = position;
  while (p < stop) {
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
      break;
    }
    p += character.length;
    if (character.code < 0x10000) {
      *to++ = static_cast<char16_t>(character.code);
    } else {
      *to++ = static_cast<char16_t>(0xD7C0 + (character.code >> 10));
      *to++ = static_cast<char16_t>(0xDC00 | (character.code & 0x3FF));
    }
  }
  return {p, to};
}

}  // namespace

std::size_t ToUtf16(std::string_view text, char16_t* out) {
  const char* const end = text.data() + text.size();
  Position position{text.data(), out};
  while (position.from != end) {
    const char* stop = end;
#if VELKOR_VECTORS
    if (HasVectors()) {
      position = ConvertVectors(position, end);
      // Past what the vectors do not know.
      stop = end - position.from > 16 ? position.from + 16 : end;
    }
#endif
    position = ConvertCharacters(position, stop, end);
    if (position.from < stop) {
      return kNotUtf8;
    }
  }
  return static_cast<std::size_t>(position.to - out);
}

}  // namespace velkor
