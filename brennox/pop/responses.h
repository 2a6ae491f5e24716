// What POP3 servers say, taken apart: the greeting, CAPA (RFC 2449), LIST, UIDL and response codes.
#pragma once

#include <brennox/ErrorCode.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brennox::pop {

struct Capabilities {
  // Names of mechanisms, as the server sent them.
  std::vector<std::string> sasl;
  // True when the server answered CAPA at all; without that nothing is known of the rest.
  bool known = false;
  bool user = false;
  bool top = false;
  bool uidl = false;
  bool pipelining = false;
  bool utf8 = false;
};

// Adds what one line of a CAPA response offers; unknown lines are passed over.
void addCapability(std::string_view line, Capabilities* capabilities);

// The timestamp of a greeting that offers APOP (RFC 1939 section 7), brackets included; empty when
// there is none. Anything that is no message identifier of printable ASCII is refused, since it
// could be chosen so that the digests of several of them give the password away.
std::string_view apopTimestamp(std::string_view greeting);

// "n size" and "n uid".
struct ListLine {
  std::uint32_t index;
  std::string_view value;
};
std::optional<ListLine> listLine(std::string_view line);

// A decimal number; what is too large for the type reads as its largest value. Nothing when there
// is no digit.
std::optional<std::uint32_t> number(std::string_view text);

// The error of a refused command: what a response code (RFC 2449, RFC 3206) says, else `otherwise`.
ErrorCode errorOf(std::string_view text, ErrorCode otherwise);

}  // namespace brennox::pop
