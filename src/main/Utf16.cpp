#include "main/Utf16.h"

#include <array>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) && defined(__GNUC__)
#define VELKOR_VECTORS 1
#include <immintrin.h>
// The module has to load on any x86-64: these are asked for at run time.
#define VELKOR_TARGET __attribute__((target("avx2,popcnt")))
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

// As Units, for 16 bytes of a text without characters of three.
VELKOR_TARGET __m256i WideUnits(__m128i own, __m128i before1, __m128i isContinuation) {
  const __m256i continues = _mm256_cvtepi8_epi16(isContinuation);
  const __m256i low = _mm256_andnot_si256(_mm256_and_si256(continues, _mm256_set1_epi16(0xC0)),
                                          _mm256_cvtepu8_epi16(own));
  const __m256i high = _mm256_and_si256(_mm256_slli_epi16(_mm256_cvtepu8_epi16(before1), 6),
                                        _mm256_set1_epi16(0x7C0));
  return _mm256_or_si256(low, _mm256_and_si256(high, continues));
}

VELKOR_TARGET char16_t* WideGather(__m256i units, unsigned set, char16_t* to) {
  to = Gather(_mm256_castsi256_si128(units), set & 0xFF, to);
  return Gather(_mm256_extracti128_si256(units, 1), set >> 8 & 0xFF, to);
}

// The same as ConvertVectors, 32 bytes at a time and for characters of up to two bytes. Blocks
// follow each other without regard to where characters end, so that the next ones can be read while
// one is worked on. There is a byte before the position.
VELKOR_TARGET Position ConvertWideVectors(Position position, const char* end) {
  auto [p, to] = position;
  // The last byte before `p` begins a character that goes on at `p`.
  unsigned open = 0;
  for (; end - p >= 32; p += 32) {
    const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    const __m256i isContinuation = _mm256_cmpgt_epi8(_mm256_set1_epi8(-64), block);
    const auto others = static_cast<unsigned>(_mm256_movemask_epi8(block));
    const __m128i first = _mm256_castsi256_si128(block);
    const __m128i second = _mm256_extracti128_si256(block, 1);
    if ((others | open) == 0) {
      auto* const units = reinterpret_cast<__m256i*>(to);
      _mm256_storeu_si256(units, _mm256_cvtepu8_epi16(first));
      _mm256_storeu_si256(units + 1, _mm256_cvtepu8_epi16(second));
      to += 32;
      continue;
    }
    const auto continuations = static_cast<unsigned>(_mm256_movemask_epi8(isContinuation));
    const unsigned leads = others & ~continuations;
    // From C2 to DF; C0 and C1 begin nothing.
    const auto leads2 = static_cast<unsigned>(
        _mm256_movemask_epi8(_mm256_and_si256(_mm256_cmpgt_epi8(block, _mm256_set1_epi8(-63)),
                                              _mm256_cmpgt_epi8(_mm256_set1_epi8(-32), block))));
    if (leads != leads2 || continuations != (leads << 1 | open)) {
      break;
    }
    const __m256i before1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p - 1));
    to = WideGather(
        WideUnits(first, _mm256_castsi256_si128(before1), _mm256_castsi256_si128(isContinuation)),
        ~leads, to);
    to = WideGather(WideUnits(second, _mm256_extracti128_si256(before1, 1),
                              _mm256_extracti128_si256(isContinuation, 1)),
                    ~leads >> 16, to);
    open = leads >> 31;
  }
  return {p - open, to};
}

VELKOR_TARGET std::size_t CountVectors(const char*& p, const char* end) {
  std::size_t count = 0;
  while (end - p >= 16) {
    // Each byte of `counts` has room for two units of 127 steps.
    const char* const stop = end - p > 127 * 16 ? p + 127 * 16 : end;
    __m128i counts = _mm_setzero_si128();
    for (; stop - p >= 16; p += 16) {
      const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      counts = _mm_sub_epi8(counts, _mm_cmpgt_epi8(block, _mm_set1_epi8(-65)));
      counts = _mm_sub_epi8(counts, AtLeast(block, 0xF0));
    }
    const __m128i sums = _mm_sad_epu8(counts, _mm_setzero_si128());
    count += static_cast<std::size_t>(_mm_cvtsi128_si64(sums)) +
             static_cast<std::size_t>(_mm_extract_epi64(sums, 1));
  }
  return count;
}

bool HasVectors() {
  static const bool has =
      __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("popcnt") != 0;
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

std::size_t Utf16Length(std::string_view text) {
  const char* p = text.data();
  const char* const end = p + text.size();
  std::size_t count = 0;
#if VELKOR_VECTORS
  if (HasVectors()) {
    count = CountVectors(p, end);
  }
#endif
  for (; p != end; ++p) {
    const auto byte = static_cast<unsigned char>(*p);
    // All but continuations begin a character, those of four bytes have two units.
    count += (byte & 0xC0) != 0x80 ? 1 : 0;
    count += byte >= 0xF0 ? 1 : 0;
  }
  return count < text.size() ? count : text.size();
}

std::size_t ToUtf16(std::string_view text, char16_t* out) {
  // So few that the steps after one that vectors do not know are soon the widest again.
  constexpr std::ptrdiff_t kNarrow = 64;
  constexpr std::ptrdiff_t kSingle = 16;
  const char* const end = text.data() + text.size();
  const auto within = [&](const char* p, std::ptrdiff_t step) {
    return end - p > step ? p + step : end;
  };
  // The first character stands before the first vector.
  Position position = ConvertCharacters({text.data(), out}, within(text.data(), 1), end);
  if (position.from == text.data() && !text.empty()) {
    return kNotUtf8;
  }
  while (position.from != end) {
    const char* stop = end;
#if VELKOR_VECTORS
    if (HasVectors()) {
      position = ConvertWideVectors(position, end);
      const char* const before = position.from;
      position = ConvertVectors(position, within(before, kNarrow));
      if (position.from != before) {
        continue;
      }
      stop = within(before, kSingle);
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
