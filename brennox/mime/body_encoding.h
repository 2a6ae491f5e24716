// How the body of a leaf goes onto the wire: which transfer encoding (RFC 2045 section 6) suits its
// bytes, how long the result will be, and the result itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace brennox::mime {

enum class BodyEncoding : std::uint8_t { SevenBit, EightBit, QuotedPrintable, Base64 };

// The value of the Content-Transfer-Encoding field.
const char* nameOf(BodyEncoding encoding);

// What counts for choosing an encoding.
struct BodyProfile {
  bool isAscii = true;
  bool isUtf8 = true;  // true for ASCII too
  bool hasNul = false;
  bool hasControls = false;      // any but tab, CR and LF; DEL
  bool hasBareLineEnds = false;  // a CR or LF that is not half of a CRLF
  bool hasLongLines = false;     // more than 998 octets
  bool hasFragileLines = false;  // that end in a blank or begin with "From "
  bool endsWithLine = true;      // ends in CRLF, or is empty
};
BodyProfile profileOf(std::string_view bytes);

// True when the bytes may be written as they are: every line ends in CRLF and is short enough, and
// there is no NUL.
bool canStandAsIs(const BodyProfile& profile);

// The shorter of quoted-printable and base64; the former if they are about equal, since it can be
// read.
BodyEncoding shorterEncoding(std::string_view bytes);

// The text with each CR, LF and CRLF as CRLF.
std::string withCanonicalLineEnds(std::string_view text);

}  // namespace brennox::mime
