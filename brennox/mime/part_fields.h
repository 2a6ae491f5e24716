// Texts that scripts give a part, made fit for its MIME header fields (RFC 2045, 2046, 2557).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rfc822/parameters.h"

namespace brennox::mime {

// A Content-Type as it will be written.
struct MediaType {
  std::string essence;  // "text/plain", lower case
  std::vector<rfc822::Parameter> parameters;
};

// Reads "type/subtype" with parameters; without a value where that is no media type. `name`,
// `charset` and `boundary` are left out: those belong to whoever writes the part.
std::optional<MediaType> parseMediaType(std::string_view text);

// The charset's name where it can be a parameter's value, otherwise empty.
std::string_view usableCharset(std::string_view charset);

// The name as one line of valid UTF-8 without control characters, cut to a length that readers
// put together again.
std::string writableFilename(std::string_view filename);

// Appends "Content-Location: uri"; characters that a URI may not have are percent-encoded.
void appendContentLocation(std::string_view location, std::string& out);

}  // namespace brennox::mime
