#include <brennox/IndexSet.h>
#include <brennox/Ref.h>
#include <brennox/String.h>

#include <algorithm>

namespace brennox {
namespace {

Range rangeBetween(std::uint64_t left, std::uint64_t right) {
  return right == kRangeToTheEnd ? Range{left, kRangeToTheEnd} : Range{left, right - left};
}

// True when `a` ends so far left of `b` that there is an index between them.
bool apart(Range a, Range b) {
  const std::uint64_t right = RangeRightBound(a);
  return right != kRangeToTheEnd && right + 1 < RangeLeftBound(b);
}

}  // namespace

IndexSet::IndexSet(const IndexSet* other) {
  if (other != nullptr) {
    ranges_ = other->ranges_;
  }
}

IndexSet* IndexSet::indexSet() {
  return makeAutoreleased<IndexSet>();
}

IndexSet* IndexSet::indexSetWithRange(Range range) {
  IndexSet* const set = indexSet();
  set->addRange(range);
  return set;
}

IndexSet* IndexSet::indexSetWithIndex(std::uint64_t index) {
  return indexSetWithRange(RangeMake(index, 0));
}

std::uint64_t IndexSet::count() const noexcept {
  std::uint64_t total = 0;
  for (const Range& range : ranges_) {
    const std::uint64_t size = RangeRightBound(range) - RangeLeftBound(range);
    if (size >= kRangeToTheEnd - total) {
      return kRangeToTheEnd;
    }
    total += size + 1;
  }
  return total;
}

bool IndexSet::containsIndex(std::uint64_t index) const noexcept {
  const auto after = std::upper_bound(
      ranges_.begin(), ranges_.end(), index,
      [](std::uint64_t value, const Range& range) { return value < RangeLeftBound(range); });
  return after != ranges_.begin() && index <= RangeRightBound(*(after - 1));
}

void IndexSet::addIndex(std::uint64_t index) {
  addRange(RangeMake(index, 0));
}

void IndexSet::addRange(Range range) {
  if (RangeIsEmpty(range)) {
    return;
  }
  // Indexes mostly arrive in ascending order: the tail is the common case.
  if (ranges_.empty() || apart(ranges_.back(), range)) {
    ranges_.push_back(rangeBetween(RangeLeftBound(range), RangeRightBound(range)));
    return;
  }
  const auto first = std::partition_point(ranges_.begin(), ranges_.end(),
                                          [&](const Range& r) { return apart(r, range); });
  auto last = first;
  std::uint64_t left = RangeLeftBound(range);
  std::uint64_t right = RangeRightBound(range);
  while (last != ranges_.end() && !apart(range, *last)) {
    left = std::min(left, RangeLeftBound(*last));
    right = std::max(right, RangeRightBound(*last));
    ++last;
  }
  if (first == last) {
    ranges_.insert(first, rangeBetween(left, right));
    return;
  }
  *first = rangeBetween(left, right);
  ranges_.erase(first + 1, last);
}

void IndexSet::addIndexSet(const IndexSet* other) {
  if (other == nullptr || other == this) {
    return;
  }
  for (const Range& range : other->ranges_) {
    addRange(range);
  }
}

void IndexSet::removeIndex(std::uint64_t index) {
  removeRange(RangeMake(index, 0));
}

void IndexSet::removeRange(Range range) {
  if (RangeIsEmpty(range)) {
    return;
  }
  const std::uint64_t left = RangeLeftBound(range);
  const std::uint64_t right = RangeRightBound(range);
  std::vector<Range> kept;
  kept.reserve(ranges_.size() + 1);
  for (const Range& own : ranges_) {
    const std::uint64_t ownLeft = RangeLeftBound(own);
    const std::uint64_t ownRight = RangeRightBound(own);
    if (ownRight < left || ownLeft > right) {
      kept.push_back(own);
      continue;
    }
    if (ownLeft < left) {
      kept.push_back(rangeBetween(ownLeft, left - 1));
    }
    if (ownRight > right) {
      kept.push_back(rangeBetween(right + 1, ownRight));
    }
  }
  ranges_ = std::move(kept);
}

void IndexSet::removeAllIndexes() {
  ranges_.clear();
}

String* IndexSet::description() {
  std::string text;
  for (const Range& range : ranges_) {
    if (!text.empty()) {
      text += ",";
    }
    text += std::to_string(RangeLeftBound(range));
    if (RangeRightBound(range) == kRangeToTheEnd) {
      text += ":*";
    } else if (RangeRightBound(range) != RangeLeftBound(range)) {
      text += ":" + std::to_string(RangeRightBound(range));
    }
  }
  return makeAutoreleased<String>(std::move(text));
}

Object* IndexSet::copy() {
  return makeAutoreleased<IndexSet>(static_cast<const IndexSet*>(this));
}

bool IndexSet::isEqual(Object* other) {
  const auto* set = dynamic_cast<IndexSet*>(other);
  return set != nullptr && std::equal(ranges_.begin(), ranges_.end(), set->ranges_.begin(),
                                      set->ranges_.end(), [](const Range& a, const Range& b) {
                                        return a.location == b.location && a.length == b.length;
                                      });
}

std::size_t IndexSet::hash() {
  std::size_t result = ranges_.size();
  for (const Range& range : ranges_) {
    result = result * 31 + static_cast<std::size_t>(range.location * 7 + range.length);
  }
  return result;
}

}  // namespace brennox
