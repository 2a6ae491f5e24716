// Base64 (RFC 4648 section 4; RFC 2045 section 6.8 for lines). AVX2 where the processor has it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brennox::text {

// Length of the encoding of `length` bytes on one line, padding included.
constexpr std::size_t base64EncodedLength(std::size_t length) {
  return (length + 2) / 3 * 4;
}

// Writes exactly base64EncodedLength(bytes.size()) characters to `out`.
void base64Encode(std::string_view bytes, char* out);

// As a message carries it: lines of 76 characters, each of them, the last one too, ended by CRLF.
// Nothing at all for no bytes.
constexpr std::size_t kBase64LineBytes = 57;
constexpr std::size_t base64EncodedLinesLength(std::size_t length) {
  return base64EncodedLength(length) + (length + kBase64LineBytes - 1) / kBase64LineBytes * 2;
}

// Writes exactly base64EncodedLinesLength(bytes.size()) characters to `out`. A long text may be
// encoded in pieces if every piece but the last is a multiple of kBase64LineBytes long.
void base64EncodeLines(std::string_view bytes, char* out);

// Room that base64Decode needs for `length` characters.
constexpr std::size_t base64DecodedBound(std::size_t length) {
  return length / 4 * 3 + 3;
}

// Decodes into `out`, which has room for base64DecodedBound(encoded.size()) bytes, and returns how
// many bytes it wrote. Anything decodes: characters outside the alphabet are skipped, padding may
// be missing or stand between two encodings put one after the other, and text that follows the
// padding (what a mailing list appends) is left out.
std::size_t base64Decode(std::string_view encoded, char* out);
std::string base64Decode(std::string_view encoded);

}  // namespace brennox::text
