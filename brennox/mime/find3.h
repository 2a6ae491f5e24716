// Searching for three bytes in a row, as fast as memory is read.
#pragma once

#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace brennox::mime {

// The first place in [at, end) where `a`, `b` and `c` stand in a row, or null.
inline const char* find3(const char* at, const char* end, char a, char b, char c) {
#if defined(__SSE2__)
  const __m128i first = _mm_set1_epi8(a);
  const __m128i second = _mm_set1_epi8(b);
  const __m128i third = _mm_set1_epi8(c);
  const auto hitsAt = [&](const char* p) {
    const auto load = [p](int offset) {
      return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + offset));
    };
    return static_cast<unsigned int>(_mm_movemask_epi8(_mm_and_si128(
        _mm_cmpeq_epi8(load(0), first),
        _mm_and_si128(_mm_cmpeq_epi8(load(1), second), _mm_cmpeq_epi8(load(2), third)))));
  };
  while (end - at >= 34) {
    // Two steps at once: most find nothing.
    const unsigned int hits = hitsAt(at) | hitsAt(at + 16) << 16;
    if (hits != 0) {
      return at + __builtin_ctz(hits);
    }
    at += 32;
  }
#endif
  while (end - at >= 3) {
    const void* const hit = std::memchr(at, a, static_cast<std::size_t>(end - at) - 2);
    if (hit == nullptr) {
      return nullptr;
    }
    at = static_cast<const char*>(hit);
    if (at[1] == b && at[2] == c) {
      return at;
    }
    ++at;
  }
  return nullptr;
}

}  // namespace brennox::mime
