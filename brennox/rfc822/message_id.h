// Message identifiers (RFC 5322 section 3.6.4).
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace brennox::rfc822 {

// Appends the identifiers of a raw field value without their angle brackets. A value without any
// bracket is a list of identifiers divided by white space; of several words only those with an "@"
// are one.
void parseMessageIDs(std::string_view raw, std::vector<std::string>& out);

// The first identifier of a raw field value as text, "" if there is none. For Content-ID too.
std::string parseMessageID(std::string_view raw);

// A new identifier, unique in the world, without brackets; `domain` may be empty or unfit.
std::string newMessageID(std::string_view domain);

}  // namespace brennox::rfc822
