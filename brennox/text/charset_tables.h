// Charsets of one byte a character that the system's converter does not know.
#pragma once

#include <cstdint>
#include <string_view>

namespace brennox::text {

struct ByteCharset {
  struct Exception {
    std::uint8_t byte;
    char16_t character;  // 0: none
  };
  std::string_view name;
  char16_t upper[128];  // of the bytes from 0x80
  Exception lower[6];   // bytes below 0x80 that are not ASCII
};

// Null when there is none of that name, which is the one that resolveCharset gives.
const ByteCharset* byteCharset(std::string_view name);

}  // namespace brennox::text
