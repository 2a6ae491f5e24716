// What the structure of a message depends on in Content-Type and Content-Transfer-Encoding, read
// without decoding the rest of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace brennox::mime {

// RFC 2046 allows 70 characters; real mails have more. What is longer is no boundary.
constexpr std::size_t kMaxBoundary = 1000;
// Boundary parameters that are tried when a Content-Type repeats the parameter.
constexpr std::size_t kMaxBoundariesPerEntity = 2;

// Type and subtype as they stand ("Text/HTML" gives {"Text", "HTML"}), comments skipped; empty
// where missing.
struct MediaTypeView {
  std::string_view type;
  std::string_view subtype;
};
MediaTypeView mediaTypeOf(std::string_view contentType);

enum class TransferEncoding : std::uint8_t {
  Identity,  // 7bit, 8bit, binary, none, or a name that nobody knows
  Base64,
  QuotedPrintable,
  Uuencode,
  Yenc,
};
TransferEncoding transferEncodingOf(std::string_view field);

// The values of the boundary parameter, in order. Real mails repeat it, or split it as RFC 2231 has
// it.
std::vector<std::string> boundariesOf(std::string_view contentType);

}  // namespace brennox::mime
