// A closed run of 64-bit indexes: location to location + length, both included.
#pragma once

#include <cstdint>
#include <limits>

namespace brennox {

struct Range {
  std::uint64_t location;
  // One less than the number of indexes; the largest value means "up to the last index".
  std::uint64_t length;
};

inline constexpr std::uint64_t kRangeToTheEnd = std::numeric_limits<std::uint64_t>::max();

// Stands for no index at all: its left bound is the largest 64-bit value.
inline constexpr Range RangeEmpty{kRangeToTheEnd, 0};

inline constexpr Range RangeMake(std::uint64_t location, std::uint64_t length) {
  return Range{location, length};
}
inline constexpr std::uint64_t RangeLeftBound(Range range) {
  return range.location;
}
// Wraps as unsigned arithmetic does, so that a range whose end was given before its start has a
// right bound left of its left bound, and is empty.
inline constexpr std::uint64_t RangeRightBound(Range range) {
  return range.length == kRangeToTheEnd ? kRangeToTheEnd : range.location + range.length;
}
inline constexpr bool RangeIsEmpty(Range range) {
  return range.location == kRangeToTheEnd || RangeLeftBound(range) > RangeRightBound(range);
}

}  // namespace brennox
