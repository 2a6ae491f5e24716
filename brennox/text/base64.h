// Base64 (RFC 4648 section 4; RFC 2045 section 6.8 for lines).
#pragma once

#include <cstddef>
#include <string_view>

namespace brennox::text {

// Length of the encoding of `length` bytes on one line, padding included.
constexpr std::size_t base64EncodedLength(std::size_t length) {
  return (length + 2) / 3 * 4;
}

// Writes exactly base64EncodedLength(bytes.size()) characters to `out`.
void base64Encode(std::string_view bytes, char* out);

}  // namespace brennox::text
