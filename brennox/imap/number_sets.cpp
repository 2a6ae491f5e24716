#include "imap/number_sets.h"

#include <algorithm>

namespace brennox::imap {
namespace {

// RFC 7162 section 4 asks for lines of no more than 8192 bytes; the rest of the command needs some.
constexpr std::size_t kMaxSetText = 7000;
constexpr std::uint64_t kMaxPairs = 1000000;

std::uint64_t sizeOf(const std::vector<Range>& ranges) {
  std::uint64_t size = 0;
  for (const Range& range : ranges) {
    size += range.length + 1;
  }
  return size;
}

std::vector<std::uint32_t> expand(const std::vector<Range>& ranges) {
  std::vector<std::uint32_t> numbers;
  for (const Range& range : ranges) {
    for (std::uint64_t i = 0; i <= range.length; ++i) {
      numbers.push_back(static_cast<std::uint32_t>(range.location + i));
    }
  }
  return numbers;
}

}  // namespace

std::vector<std::string> numberSets(const IndexSet* set, std::uint64_t last) {
  std::vector<std::string> pieces;
  if (set == nullptr) {
    return pieces;
  }
  const std::uint64_t end = std::min(last, kLastUid);
  for (unsigned int i = 0; i < set->rangesCount(); ++i) {
    const Range range = set->allRanges()[i];
    const std::uint64_t left = RangeLeftBound(range) == 0 ? 1 : RangeLeftBound(range);
    const std::uint64_t right = RangeRightBound(range);
    if (RangeIsEmpty(range) || right == 0 || left > end) {
      continue;
    }
    std::string text = std::to_string(left);
    if (last == kOpenEnd && right > end) {
      text += ":*";
    } else if (std::min(right, end) > left) {
      text += ":" + std::to_string(std::min(right, end));
    }
    if (pieces.empty() || pieces.back().size() + text.size() >= kMaxSetText) {
      pieces.push_back(std::move(text));
    } else {
      pieces.back() += "," + text;
    }
  }
  return pieces;
}

std::vector<std::pair<std::uint32_t, std::uint32_t>> pairSets(const std::vector<Range>& from,
                                                              const std::vector<Range>& to) {
  const std::uint64_t size = sizeOf(from);
  if (size != sizeOf(to) || size > kMaxPairs) {
    return {};
  }
  const std::vector<std::uint32_t> left = expand(from);
  const std::vector<std::uint32_t> right = expand(to);
  std::vector<std::pair<std::uint32_t, std::uint32_t>> pairs;
  pairs.reserve(left.size());
  for (std::size_t i = 0; i < left.size(); ++i) {
    pairs.emplace_back(left[i], right[i]);
  }
  return pairs;
}

}  // namespace brennox::imap
