#include "text/scan.h"

#include "text/cpu.h"

namespace brennox::text {
namespace {

#if BRENNOX_AVX2

BRENNOX_TARGET_AVX2 __m256i broadcast(const std::array<std::uint8_t, 16>& table) {
  return _mm256_broadcastsi128_si256(
      _mm_loadu_si128(reinterpret_cast<const __m128i*>(table.data())));
}

// The length of the run before the first hit, or of all but the last bytes, fewer than 32, where
// there is none before them.
template <bool kCopies>
BRENNOX_TARGET_AVX2 std::size_t runAvx2(std::string_view text, char* to,
                                        const std::array<std::uint8_t, 16>& rows,
                                        const std::array<std::uint8_t, 16>& columns, char other) {
  const __m256i byHigh = broadcast(rows);
  const __m256i byLow = broadcast(columns);
  const __m256i low = _mm256_set1_epi8(0x0F);
  const __m256i others = _mm256_set1_epi8(other);
  std::size_t at = 0;
  for (; text.size() - at >= 32; at += 32) {
    const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text.data() + at));
    if constexpr (kCopies) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + at), block);
    }
    // The shuffle gives zero for bytes outside of ASCII.
    const __m256i column = _mm256_shuffle_epi8(byLow, block);
    const __m256i row =
        _mm256_shuffle_epi8(byHigh, _mm256_and_si256(_mm256_srli_epi16(block, 4), low));
    const __m256i misses = _mm256_andnot_si256(
        _mm256_cmpeq_epi8(block, others),
        _mm256_cmpeq_epi8(_mm256_and_si256(column, row), _mm256_setzero_si256()));
    const auto hits = ~static_cast<unsigned>(_mm256_movemask_epi8(misses));
    if (hits != 0) {
      return at + static_cast<std::size_t>(__builtin_ctz(hits));
    }
  }
  return at;
}

#endif

}  // namespace

std::size_t Scanner::find(std::string_view text, std::size_t start) const noexcept {
#if BRENNOX_AVX2
  if (text.size() - start >= 32 && hasAvx2()) {
    start += runAvx2<false>(text.substr(start), nullptr, rows_, columns_, other_);
  }
#endif
  const std::size_t found = set_.findIn(text, start);
  return found == std::string_view::npos ? text.size() : found;
}

std::size_t Scanner::copyRun(std::string_view text, char* to) const noexcept {
  std::size_t at = 0;
#if BRENNOX_AVX2
  if (text.size() >= 32 && hasAvx2()) {
    at = runAvx2<true>(text, to, rows_, columns_, other_);
  }
#endif
  for (; at < text.size() && !set_.has(text[at]); ++at) {
    to[at] = text[at];
  }
  return at;
}

}  // namespace brennox::text
