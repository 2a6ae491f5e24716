// Foreign text on its way into HTML.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brennox {
class TextBuffer;
}

namespace brennox::html {

// Appends `text` so that it reads as itself in text and in quoted attribute values. Control
// characters other than tab and line ends are left out, and bytes that are no UTF-8 become U+FFFD.
void appendEscaped(std::string_view text, std::string& out);
std::string escaped(std::string_view text);

// As above, for text between tags only: quotes stay as they are.
void appendEscapedText(std::string_view text, std::string& out);

// `text` without control characters other than tab and line feed; CR LF and lone CR become LF,
// bytes that are no UTF-8 become U+FFFD. What every plain rendering goes through.
std::string cleanedText(std::string_view text);
// The same for text that is valid UTF-8, as decoded texts are.
void appendCleanedText(std::string_view text, TextBuffer& out);

// The lines that a text begins with, whole and with their ends: as many as a cache holds, so that
// work on a long text may go over them more than once. All of the text when it is short or one
// line.
std::string_view firstLines(std::string_view text);

// A name or header value on one line: control characters and line ends become blanks, and
// characters that steer the direction of text are left out, so that a name cannot be shown other
// than as it is.
std::string cleanedLine(std::string_view text);

// Length of the UTF-8 sequence at the start of `text`, 0 when it is malformed. `text` is not empty.
std::size_t utf8Length(std::string_view text);

}  // namespace brennox::html
