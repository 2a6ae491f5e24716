// Text in header fields: encoded-words (RFC 2047) and raw 8-bit text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brennox::text {

// Appends the text of a raw field value, which may be folded. Encoded-words are decoded;
// neighbouring ones in one charset are joined as bytes first, since characters get split over them.
// Bytes outside of encoded-words are UTF-8 if the whole value is, else text in `rawCharset`, else
// Windows-1252. Folding becomes one blank; a control character that would end a line in a script's
// hands becomes one too. Nothing is trimmed.
void appendDecodedWords(std::string_view raw, std::string_view rawCharset, std::string& out);
// As above with the white space around the text trimmed.
std::string decodeWords(std::string_view raw, std::string_view rawCharset = {});
// As decodeWords, but encoded-words are left as they stand.
std::string decodeRawText(std::string_view raw, std::string_view rawCharset = {});

// True when `text` has to be encoded: it is not printable ASCII throughout, or reads as an
// encoded-word.
bool needsEncodedWords(std::string_view text);

// RFC 2047 section 2: what a line with an encoded-word in it may hold.
constexpr std::size_t kMaxEncodedLine = 76;

// Appends UTF-8 text as encoded-words of at most 75 characters, B or Q by length, no character
// divided. `column` is the length of the current line so far and is kept up to date; lines break
// with CRLF and a blank before they exceed kMaxEncodedLine.
void appendEncodedWords(std::string_view utf8, std::size_t& column, std::string& out);

}  // namespace brennox::text
