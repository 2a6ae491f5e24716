// Quoted-printable (RFC 2045 section 6.7).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brennox::text {

// Decodes into `out`, which has room for encoded.size() bytes, and returns how many bytes it wrote.
// Anything decodes: what is no escape stands for itself, white space at a line's end is dropped,
// line ends stay as they are.
std::size_t quotedPrintableDecode(std::string_view encoded, char* out);
std::string quotedPrintableDecode(std::string_view encoded);

// Appends the encoding in lines of at most 76 characters. CRLF in `bytes` is a line end and stays
// one; a CR or LF of its own is escaped. White space before a line end, "From " and a dot at a
// line's start are escaped, and no UTF-8 character is divided between two lines.
void quotedPrintableEncode(std::string_view bytes, std::string& out);
// The length that quotedPrintableEncode would append, without its soft line breaks.
std::size_t quotedPrintableLength(std::string_view bytes);

}  // namespace brennox::text
