#include "text/scan.h"

#include "text/cpu.h"

namespace brennox::text {
namespace {

#if BRENNOX_AVX2

BRENNOX_TARGET_AVX2 __m256i broadcast(const std::array<std::uint8_t, 16>& table) {
  return _mm256_broadcastsi128_si256(
      _mm_loadu_si128(reinterpret_cast<const __m128i*>(table.data())));
}

// Where the first character stands, or where fewer than 32 bytes are left.
BRENNOX_TARGET_AVX2 const char* findAvx2(const char* p, const char* end,
                                         const std::array<std::uint8_t, 16>& rows,
                                         const std::array<std::uint8_t, 16>& columns) {
  const __m256i byHigh = broadcast(rows);
  const __m256i byLow = broadcast(columns);
  const __m256i low = _mm256_set1_epi8(0x0F);
  while (end - p >= 32) {
    const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    // The shuffle gives zero for bytes outside of ASCII.
    const __m256i column = _mm256_shuffle_epi8(byLow, block);
    const __m256i row =
        _mm256_shuffle_epi8(byHigh, _mm256_and_si256(_mm256_srli_epi16(block, 4), low));
    const __m256i misses = _mm256_cmpeq_epi8(_mm256_and_si256(column, row), _mm256_setzero_si256());
    const auto hits = ~static_cast<unsigned>(_mm256_movemask_epi8(misses));
    if (hits != 0) {
      return p + __builtin_ctz(hits);
    }
    p += 32;
  }
  return p;
}

#endif

}  // namespace

std::size_t Scanner::find(std::string_view text, std::size_t start) const noexcept {
#if BRENNOX_AVX2
  if (text.size() - start >= 32 && hasAvx2()) {
    const char* const found =
        findAvx2(text.data() + start, text.data() + text.size(), rows_, columns_);
    start = static_cast<std::size_t>(found - text.data());
  }
#endif
  const std::size_t found = set_.findIn(text, start);
  return found == std::string_view::npos ? text.size() : found;
}

}  // namespace brennox::text
