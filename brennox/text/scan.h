// Finds the next of a few characters in long texts, 32 bytes at a time where the processor can.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "text/ascii.h"

namespace brennox::text {

class Scanner {
 public:
  // At most one of the bytes in `set` is not ASCII.
  constexpr explicit Scanner(CharacterSet set) noexcept : set_(set) {
    for (unsigned byte = 0; byte < 0x80; ++byte) {
      if (set.has(static_cast<char>(byte))) {
        const auto row = static_cast<std::uint8_t>(1U << (byte >> 4));
        rows_[byte >> 4] = row;
        columns_[byte & 15] = static_cast<std::uint8_t>(columns_[byte & 15] | row);
        // A second look for one of them changes nothing.
        other_ = static_cast<char>(byte);
      }
    }
    for (unsigned byte = 0x80; byte < 0x100; ++byte) {
      if (set.has(static_cast<char>(byte))) {
        other_ = static_cast<char>(byte);
      }
    }
  }

  // Where the first of them stands, from `start` on, or the end of the text.
  std::size_t find(std::string_view text, std::size_t start = 0) const noexcept;

  // Copies what stands before the first of them. How much that is. `to` has room for all of the
  // text and kOverhang bytes more, which may be written as well.
  static constexpr std::size_t kOverhang = 32;
  std::size_t copyRun(std::string_view text, char* to) const noexcept;

 private:
  CharacterSet set_;
  // Each byte is looked up by its halves: a row has one bit, a column the bits of the rows in which
  // it holds a character of the set.
  std::array<std::uint8_t, 16> rows_{};
  std::array<std::uint8_t, 16> columns_{};
  char other_ = '\0';
};

}  // namespace brennox::text
