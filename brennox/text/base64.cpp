// The vector code follows Mula and Lemire, "Faster Base64 Encoding and Decoding Using AVX2
// Instructions" (2018). A line of 76 characters is three steps of 32 characters at offsets 0, 32
// and 44; the last one overlaps the one before it.
#include "text/base64.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "text/ascii.h"
#include "text/cpu.h"

namespace brennox::text {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kLineCharacters = 76;
constexpr std::uint8_t kForeign = 0xFF;

constexpr std::array<std::uint8_t, 256> makeValues() {
  std::array<std::uint8_t, 256> values{};
  values.fill(kForeign);
  for (std::uint8_t i = 0; i < 64; ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = i;
  }
  return values;
}
constexpr std::array<std::uint8_t, 256> kValues = makeValues();

std::uint8_t valueOf(char c) {
  return kValues[static_cast<unsigned char>(c)];
}

#if BRENNOX_AVX2

// 24 bytes at `in` (of which 28 are read) to 32 characters.
BRENNOX_TARGET_AVX2 inline void encodeStep(const char* in, char* out) {
  const __m256i bytes = _mm256_set_m128i(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 12)),
                                         _mm_loadu_si128(reinterpret_cast<const __m128i*>(in)));
  const __m256i spread = _mm256_shuffle_epi8(
      bytes, _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10, 1, 0, 2, 1, 4, 3,
                              5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
  const __m256i odd = _mm256_mulhi_epu16(_mm256_and_si256(spread, _mm256_set1_epi32(0x0FC0FC00)),
                                         _mm256_set1_epi32(0x04000040));
  const __m256i even = _mm256_mullo_epi16(_mm256_and_si256(spread, _mm256_set1_epi32(0x003F03F0)),
                                          _mm256_set1_epi32(0x01000010));
  const __m256i sextets = _mm256_or_si256(odd, even);
  // The range that a sextet falls in gives the distance to its character.
  const __m256i upper = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), sextets);
  const __m256i range = _mm256_or_si256(_mm256_subs_epu8(sextets, _mm256_set1_epi8(51)),
                                        _mm256_and_si256(upper, _mm256_set1_epi8(13)));
  constexpr char kDigit = '0' - 52;
  const __m256i distance = _mm256_shuffle_epi8(
      _mm256_setr_epi8('a' - 26, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit,
                       kDigit, kDigit, '+' - 62, '/' - 63, 'A', 0, 0, 'a' - 26, kDigit, kDigit,
                       kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, '+' - 62,
                       '/' - 63, 'A', 0, 0),
      range);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_add_epi8(sextets, distance));
}

// Whole lines as long as the last step's reads stay inside; advances both pointers.
BRENNOX_TARGET_AVX2 void encodeLinesAvx2(const char*& in, const char* end, char*& out) {
  while (end - in >= static_cast<std::ptrdiff_t>(kBase64LineBytes) + 4) {
    encodeStep(in, out);
    encodeStep(in + 24, out + 32);
    encodeStep(in + 33, out + 44);
    std::memcpy(out + kLineCharacters, "\r\n", 2);
    in += kBase64LineBytes;
    out += kLineCharacters + 2;
  }
}

BRENNOX_TARGET_AVX2 void encodeAvx2(const char*& in, const char* end, char*& out) {
  while (end - in >= 28) {
    encodeStep(in, out);
    in += 24;
    out += 32;
  }
}

struct Sextets {
  __m256i values;
  __m256i foreign;  // non-zero where the character is none of the alphabet
};

BRENNOX_TARGET_AVX2 inline Sextets sextetsAt(const char* in) {
  const __m256i characters = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
  const __m256i slash = _mm256_set1_epi8(0x2F);
  const __m256i highNibbles = _mm256_and_si256(_mm256_srli_epi32(characters, 4), slash);
  const __m256i lowNibbles = _mm256_and_si256(characters, slash);
  const __m256i high = _mm256_shuffle_epi8(
      _mm256_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10,
                       0x10, 0x10, 0x10, 0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10,
                       0x10, 0x10, 0x10, 0x10, 0x10, 0x10),
      highNibbles);
  const __m256i low = _mm256_shuffle_epi8(
      _mm256_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B,
                       0x1B, 0x1B, 0x1A, 0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                       0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A),
      lowNibbles);
  const __m256i roll = _mm256_shuffle_epi8(
      _mm256_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0, 0, 16, 19, 4, -65,
                       -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0),
      _mm256_add_epi8(_mm256_cmpeq_epi8(characters, slash), highNibbles));
  return {_mm256_add_epi8(characters, roll), _mm256_and_si256(low, high)};
}

// 32 sextets to 24 bytes; 32 bytes are written.
BRENNOX_TARGET_AVX2 inline void storePacked(__m256i sextets, char* out) {
  const __m256i pairs = _mm256_maddubs_epi16(sextets, _mm256_set1_epi32(0x01400140));
  const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
  const __m256i packed = _mm256_shuffle_epi8(
      groups, _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1, 2, 1, 0, 6,
                               5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
  _mm256_storeu_si256(
      reinterpret_cast<__m256i*>(out),
      _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, -1, -1)));
}

// So much input has to be left that a step's 32-byte store ends within base64DecodedBound: 76
// characters are 57 bytes, the last store reaches to 65.
constexpr std::ptrdiff_t kMinLineInput = 96;
constexpr std::ptrdiff_t kMinStepInput = 48;

// Decodes whole groups from `in` on, up to the first irregularity; advances both pointers.
BRENNOX_TARGET_AVX2 void decodeAvx2(const char*& in, const char* end, char*& out) {
  while (end - in >= kMinLineInput && in[76] == '\r' && in[77] == '\n') {
    const Sextets first = sextetsAt(in);
    const Sextets second = sextetsAt(in + 32);
    const Sextets third = sextetsAt(in + 44);
    const __m256i foreign =
        _mm256_or_si256(_mm256_or_si256(first.foreign, second.foreign), third.foreign);
    if (_mm256_testz_si256(foreign, foreign) == 0) {
      break;
    }
    storePacked(first.values, out);
    storePacked(second.values, out + 24);
    storePacked(third.values, out + 33);
    in += 78;
    out += 57;
  }
  while (end - in >= kMinStepInput) {
    const Sextets step = sextetsAt(in);
    const int good = _mm256_movemask_epi8(_mm256_cmpeq_epi8(step.foreign, _mm256_setzero_si256()));
    storePacked(step.values, out);
    if (good != -1) {
      const int characters = __builtin_ctz(~static_cast<unsigned>(good)) & ~3;
      in += characters;
      out += characters / 4 * 3;
      return;
    }
    in += 32;
    out += 24;
  }
}

#endif

// Groups of four without anything between them.
void decodeGroups(const char*& in, const char* end, char*& out) {
  while (end - in >= 4) {
    const std::uint32_t a = valueOf(in[0]);
    const std::uint32_t b = valueOf(in[1]);
    const std::uint32_t c = valueOf(in[2]);
    const std::uint32_t d = valueOf(in[3]);
    if ((a | b | c | d) > 63) {
      return;
    }
    const std::uint32_t group = a << 18 | b << 12 | c << 6 | d;
    out[0] = static_cast<char>(group >> 16);
    out[1] = static_cast<char>(group >> 8);
    out[2] = static_cast<char>(group);
    in += 4;
    out += 3;
  }
}

class Decoder {
 public:
  Decoder(std::string_view encoded, char* out)
      : in_(encoded.data()), end_(in_ + encoded.size()), start_(out), out_(out), trusted_(in_) {}

  std::size_t decode() {
    for (;;) {
      if (count_ == 0) {
        decodeRun();
      }
      if (in_ == end_) {
        break;
      }
      const char c = *in_++;
      const std::uint8_t value = valueOf(c);
      if (value != kForeign) {
        group_ = group_ << 6 | value;
        if (++count_ == 4) {
          finishGroup();
        }
      } else if (c == '=') {
        finishGroup();
        if (!continues()) {
          break;
        }
      }
    }
    finishGroup();
    return static_cast<std::size_t>(out_ - start_);
  }

 private:
  void decodeRun() {
#if BRENNOX_AVX2
    if (end_ - in_ >= kMinStepInput && hasAvx2()) {
      decodeAvx2(in_, end_, out_);
      if (end_ - in_ >= kMinStepInput) {
        return;
      }
    }
#endif
    decodeGroups(in_, end_, out_);
  }

  // What a group of `count_` characters holds in whole bytes.
  void finishGroup() {
    if (count_ > 1) {
      const std::uint32_t group = group_ << (4 - count_) * 6;
      *out_++ = static_cast<char>(group >> 16);
      if (count_ > 2) {
        *out_++ = static_cast<char>(group >> 8);
      }
      if (count_ > 3) {
        *out_++ = static_cast<char>(group);
      }
    }
    group_ = 0;
    count_ = 0;
  }

  // After padding: another encoding if the next line is made of whole groups and nothing else,
  // otherwise text that does not belong to the encoding.
  bool continues() {
    while (in_ != end_ && (*in_ == '=' || isSpace(*in_))) {
      ++in_;
    }
    if (in_ < trusted_) {
      return true;
    }
    const char* p = in_;
    while (p != end_ && (*p == '=' || valueOf(*p) != kForeign)) {
      ++p;
    }
    const std::ptrdiff_t length = p - in_;
    while (p != end_ && isBlank(*p)) {
      ++p;
    }
    if (length == 0 || length % 4 != 0 || (p != end_ && *p != '\r' && *p != '\n')) {
      return false;
    }
    trusted_ = p;
    return true;
  }

  const char* in_;
  const char* const end_;
  char* const start_;
  char* out_;
  const char* trusted_;  // up to here the line is known to be an encoding
  std::uint32_t group_ = 0;
  int count_ = 0;
};

}  // namespace

void base64Encode(std::string_view bytes, char* out) {
  const char* in = bytes.data();
  const char* const end = in + bytes.size();
#if BRENNOX_AVX2
  if (bytes.size() >= 28 && hasAvx2()) {
    encodeAvx2(in, end, out);
  }
#endif
  const auto byteAt = [&in](std::ptrdiff_t i) -> std::uint32_t {
    return static_cast<unsigned char>(in[i]);
  };
  for (; end - in >= 3; in += 3) {
    const std::uint32_t group = byteAt(0) << 16 | byteAt(1) << 8 | byteAt(2);
    *out++ = kAlphabet[group >> 18];
    *out++ = kAlphabet[group >> 12 & 63];
    *out++ = kAlphabet[group >> 6 & 63];
    *out++ = kAlphabet[group & 63];
  }
  if (in == end) {
    return;
  }
  const bool two = end - in == 2;
  const std::uint32_t group = byteAt(0) << 16 | (two ? byteAt(1) << 8 : 0U);
  *out++ = kAlphabet[group >> 18];
  *out++ = kAlphabet[group >> 12 & 63];
  *out++ = two ? kAlphabet[group >> 6 & 63] : '=';
  *out = '=';
}

void base64EncodeLines(std::string_view bytes, char* out) {
  const char* in = bytes.data();
  const char* const end = in + bytes.size();
#if BRENNOX_AVX2
  if (bytes.size() >= kBase64LineBytes && hasAvx2()) {
    encodeLinesAvx2(in, end, out);
  }
#endif
  while (in != end) {
    const auto left = static_cast<std::size_t>(end - in);
    const std::size_t line = left < kBase64LineBytes ? left : kBase64LineBytes;
    base64Encode({in, line}, out);
    out += base64EncodedLength(line);
    std::memcpy(out, "\r\n", 2);
    out += 2;
    in += line;
  }
}

std::size_t base64Decode(std::string_view encoded, char* out) {
  return Decoder(encoded, out).decode();
}

std::string base64Decode(std::string_view encoded) {
  std::string out(base64DecodedBound(encoded.size()), '\0');
  out.resize(base64Decode(encoded, out.data()));
  return out;
}

}  // namespace brennox::text
