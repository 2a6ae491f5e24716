// Finds the next of a few ASCII characters in long texts, 32 bytes at a time where the processor
// can.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "text/ascii.h"

namespace brennox::text {

class Scanner {
 public:
  // All of `characters` are ASCII.
  constexpr explicit Scanner(std::string_view characters) noexcept : set_(characters) {
    for (const char c : characters) {
      const auto byte = static_cast<std::uint8_t>(c);
      const auto row = static_cast<std::uint8_t>(1U << (byte >> 4));
      rows_[byte >> 4] = row;
      columns_[byte & 15] = static_cast<std::uint8_t>(columns_[byte & 15] | row);
    }
  }

  // Where the first of them stands, from `start` on, or the end of the text.
  std::size_t find(std::string_view text, std::size_t start = 0) const noexcept;

 private:
  CharacterSet set_;
  // Each byte is looked up by its halves: a row has one bit, a column the bits of the rows in which
  // it holds a character of the set.
  std::array<std::uint8_t, 16> rows_{};
  std::array<std::uint8_t, 16> columns_{};
};

}  // namespace brennox::text
