// UTF-8 validation. Long texts are checked 32 bytes at a time: three table look-ups, by the nibbles
// of each byte and of the one before it, give a set of errors that both agree on (Keiser and
// Lemire, "Validating UTF-8 In Less Than One Instruction Per Byte", 2021).
#include "text/utf8.h"

#include "text/cpu.h"

namespace brennox::text {
namespace {

bool isValidScalar(const char* p, const char* end) {
  for (;;) {
    p = skipAscii(p, end);
    if (p == end) {
      return true;
    }
    const Utf8Step step = utf8Step(p, end);
    if (!step.valid) {
      return false;
    }
    p += step.length;
  }
}

#if BRENNOX_AVX2

// Below this length the set-up costs more than it saves.
constexpr std::size_t kMinVectorLength = 64;

// Errors of a byte and its predecessor. Two continuations in a row are an error only where no lead
// two or three bytes earlier asks for them, which is tested on its own.
constexpr std::uint8_t kTooShort = 1 << 0;   // lead without its continuation
constexpr std::uint8_t kTooLong = 1 << 1;    // continuation after ASCII
constexpr std::uint8_t kOverlong3 = 1 << 2;  // E0 80..9F
constexpr std::uint8_t kTooLarge = 1 << 3;   // F4 90.., F5..
constexpr std::uint8_t kSurrogate = 1 << 4;  // ED A0..
constexpr std::uint8_t kOverlong2 = 1 << 5;  // C0, C1
constexpr std::uint8_t kOverlong4 = 1 << 6;  // F0 80..8F, and F5.. 80..8F
constexpr std::uint8_t kTwoConts = 1 << 7;   // continuation after continuation
constexpr std::uint8_t kCarry = kTooShort | kTooLong | kTwoConts;

BRENNOX_TARGET_AVX2 __m256i lookUp(__m256i nibbles, const std::uint8_t (&table)[16]) {
  const __m128i half = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table));
  return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(half), nibbles);
}

constexpr std::uint8_t kByOwnHigh[16] = {
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooLong | kOverlong2 | kTwoConts | kOverlong3 | kOverlong4,
    kTooLong | kOverlong2 | kTwoConts | kOverlong3 | kTooLarge,
    kTooLong | kOverlong2 | kTwoConts | kSurrogate | kTooLarge,
    kTooLong | kOverlong2 | kTwoConts | kSurrogate | kTooLarge,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort};
constexpr std::uint8_t kByPreviousHigh[16] = {kTooLong,
                                              kTooLong,
                                              kTooLong,
                                              kTooLong,
                                              kTooLong,
                                              kTooLong,
                                              kTooLong,
                                              kTooLong,
                                              kTwoConts,
                                              kTwoConts,
                                              kTwoConts,
                                              kTwoConts,
                                              kTooShort | kOverlong2,
                                              kTooShort,
                                              kTooShort | kOverlong3 | kSurrogate,
                                              kTooShort | kTooLarge | kOverlong4};
constexpr std::uint8_t kByPreviousLow[16] = {kCarry | kOverlong3 | kOverlong2 | kOverlong4,
                                             kCarry | kOverlong2,
                                             kCarry,
                                             kCarry,
                                             kCarry | kTooLarge,
                                             kCarry | kTooLarge | kOverlong4,
                                             kCarry | kTooLarge | kOverlong4,
                                             kCarry | kTooLarge | kOverlong4,
                                             kCarry | kTooLarge | kOverlong4,
                                             kCarry | kTooLarge | kOverlong4,
                                             kCarry | kTooLarge | kOverlong4,
                                             kCarry | kTooLarge | kOverlong4,
                                             kCarry | kTooLarge | kOverlong4,
                                             kCarry | kTooLarge | kOverlong4 | kSurrogate,
                                             kCarry | kTooLarge | kOverlong4,
                                             kCarry | kTooLarge | kOverlong4};

BRENNOX_TARGET_AVX2 bool isValidAvx2(const char* p, const char* end) {
  const __m256i low = _mm256_set1_epi8(0x0F);
  __m256i error = _mm256_setzero_si256();
  __m256i before = _mm256_setzero_si256();
  bool last = false;
  while (!last) {
    __m256i block;
    if (end - p >= 32) {
      block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
      p += 32;
    } else {
      // Zeros after the end show a character that is cut off there.
      char tail[32] = {};
      std::memcpy(tail, p, static_cast<std::size_t>(end - p));
      block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(tail));
      last = true;
    }
    if (_mm256_movemask_epi8(_mm256_or_si256(block, before)) != 0) {
      const __m256i carried = _mm256_permute2x128_si256(before, block, 0x21);
      const __m256i previous1 = _mm256_alignr_epi8(block, carried, 15);
      const __m256i previous2 = _mm256_alignr_epi8(block, carried, 14);
      const __m256i previous3 = _mm256_alignr_epi8(block, carried, 13);
      const __m256i errors = _mm256_and_si256(
          _mm256_and_si256(
              lookUp(_mm256_and_si256(_mm256_srli_epi16(previous1, 4), low), kByPreviousHigh),
              lookUp(_mm256_and_si256(previous1, low), kByPreviousLow)),
          lookUp(_mm256_and_si256(_mm256_srli_epi16(block, 4), low), kByOwnHigh));
      const __m256i third = _mm256_subs_epu8(previous2, _mm256_set1_epi8(0xE0 - 0x80));
      const __m256i fourth = _mm256_subs_epu8(previous3, _mm256_set1_epi8(0xF0 - 0x80));
      const __m256i wanted = _mm256_and_si256(_mm256_or_si256(third, fourth),
                                              _mm256_set1_epi8(static_cast<char>(0x80)));
      error = _mm256_or_si256(error, _mm256_xor_si256(wanted, errors));
      if (_mm256_testz_si256(error, error) == 0) {
        return false;
      }
    }
    before = block;
  }
  return true;
}

BRENNOX_TARGET_AVX2 bool isAsciiAvx2(const char* p, const char* end) {
  while (end - p >= 128) {
    const auto* const blocks = reinterpret_cast<const __m256i*>(p);
    const __m256i all = _mm256_or_si256(
        _mm256_or_si256(_mm256_loadu_si256(blocks), _mm256_loadu_si256(blocks + 1)),
        _mm256_or_si256(_mm256_loadu_si256(blocks + 2), _mm256_loadu_si256(blocks + 3)));
    if (_mm256_movemask_epi8(all) != 0) {
      return false;
    }
    p += 128;
  }
  return skipAscii(p, end) == end;
}

#endif

}  // namespace

bool isAscii(std::string_view bytes) {
  const char* const end = bytes.data() + bytes.size();
#if BRENNOX_AVX2
  if (bytes.size() >= 128 && hasAvx2()) {
    return isAsciiAvx2(bytes.data(), end);
  }
#endif
  return skipAscii(bytes.data(), end) == end;
}

bool isValidUtf8(std::string_view bytes) {
  const char* const end = bytes.data() + bytes.size();
#if BRENNOX_AVX2
  if (bytes.size() >= kMinVectorLength && hasAvx2()) {
    return isValidAvx2(bytes.data(), end);
  }
#endif
  return isValidScalar(bytes.data(), end);
}

void appendRepairedUtf8(std::string_view bytes, std::string& out) {
  appendRepaired(bytes, out);
}

}  // namespace brennox::text
