// Addresses in a message: what a rendering may hold of them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace brennox::html {

// An address as a browser would read it (URL Standard): without white space and control characters
// around it and without tabs and line ends inside.
std::string trimmedUrl(std::string_view url);

// The scheme in lower case, without the colon; empty for a relative address.
std::string schemeOf(std::string_view trimmedUrl);

// What a link may lead to: http, https, mailto, tel. "//host/path" becomes https; blanks are
// percent-encoded. Nothing for anything else, relative addresses too: they would lead into the site
// that shows the message.
std::optional<std::string> linkUrl(std::string_view url);

// The address of a remote picture (http, https).
std::optional<std::string> remoteImageUrl(std::string_view url);

// "%41" decoded to "A"; malformed escapes stay.
std::string percentDecoded(std::string_view text);

}  // namespace brennox::html
