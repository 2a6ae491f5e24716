// A set of 64-bit indexes, kept as sorted ranges (UIDs, sequence numbers, capabilities).
#pragma once

#include <brennox/Object.h>
#include <brennox/Range.h>

#include <vector>

namespace brennox {

// Ranges are disjoint, not adjacent and in ascending order. Empty ranges are never kept.
class BRENNOX_EXPORT IndexSet : public Object {
 public:
  IndexSet() = default;
  explicit IndexSet(const IndexSet* other);

  static IndexSet* indexSet();
  static IndexSet* indexSetWithRange(Range range);
  static IndexSet* indexSetWithIndex(std::uint64_t index);

  // The number of indexes; saturates at the largest 64-bit value.
  std::uint64_t count() const noexcept;
  bool containsIndex(std::uint64_t index) const noexcept;

  void addIndex(std::uint64_t index);
  void addRange(Range range);
  void addIndexSet(const IndexSet* other);
  void removeIndex(std::uint64_t index);
  void removeRange(Range range);
  void removeAllIndexes();

  // Borrowed until the next change.
  const Range* allRanges() const noexcept { return ranges_.data(); }
  unsigned int rangesCount() const noexcept { return static_cast<unsigned int>(ranges_.size()); }

  String* description() override;
  Object* copy() override;
  bool isEqual(Object* other) override;
  std::size_t hash() override;

 protected:
  const char* className() const override { return "IndexSet"; }

 private:
  std::vector<Range> ranges_;
};

}  // namespace brennox
