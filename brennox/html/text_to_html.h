// Plain text as HTML that looks the same: escaped, lines and spaces kept, addresses made clickable,
// quotes (">") as nested blockquotes.
#pragma once

#include <cstddef>
#include <string_view>

namespace brennox {
class TextBuffer;
}

namespace brennox::html {

// Levels of quotes that become blockquotes; deeper marks stay in the text.
constexpr std::size_t kMaxQuoteDepth = 32;
// Longer runs are not made into links.
constexpr std::size_t kMaxLinkLength = 2048;

// Appends one element around the whole, as the sanitiser makes it for HTML. The text is valid UTF-8,
// as decoded texts are.
void appendAsHtml(std::string_view text, TextBuffer& out);

}  // namespace brennox::html
