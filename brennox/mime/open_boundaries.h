// The boundaries of the multiparts that a scan is inside of.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mime/entity.h"

namespace brennox::mime {

// Innermost last. What a look-up costs does not depend on how many are open.
class OpenBoundaries {
 public:
  bool empty() const { return open_.empty(); }
  // Longer lines are no boundary.
  std::size_t longest() const { return longest_; }

  void push(std::uint32_t entity, std::string boundary);
  void pop();

  std::uint32_t innermost() const { return open_.back().entity; }

  // The innermost entity with this boundary, or kNoEntity.
  std::uint32_t find(std::string_view boundary) const;

 private:
  struct Open {
    std::string boundary;
    std::uint32_t entity;
    std::size_t longestBefore;
    // In the table.
    std::size_t hash = 0;
    std::size_t slot = 0;
  };

  void addToTable(std::size_t index);

  std::vector<Open> open_;
  // Places in open_, counted from one. Empty as long as few have been open at once.
  std::vector<std::uint16_t> slots_;
  std::size_t longest_ = 0;
};

}  // namespace brennox::mime
