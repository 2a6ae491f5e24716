// Texts in any charset to UTF-8 and back.
//
// Charset names are read as mail writes them: case and quotes do not matter, "x-" and other
// misspellings are known, and a name that is mostly used for a larger set reads as that set
// (ISO-8859-1 as Windows-1252, GB2312 as GB18030). Any thread may call these.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brennox {
class String;
}

namespace brennox::text {

bool isAscii(std::string_view bytes);
bool isValidUtf8(std::string_view bytes);

// Appends `bytes` with every invalid sequence (the longest part of a character that is none)
// replaced by U+FFFD.
void appendRepairedUtf8(std::string_view bytes, std::string& out);

// True when appendInCharset can read the charset.
bool isKnownCharset(std::string_view charset);

// True for UTF-8 by any of its names.
bool isUtf8Name(std::string_view charset);

// True when there are 8-bit bytes and no two of them make a character of UTF-8: the text was never
// in it. False for UTF-8 that was cut or damaged.
bool isForeignToUtf8(std::string_view bytes);

// Appends `bytes` read in `charset` as UTF-8; what is no character there becomes U+FFFD. False, and
// nothing is appended, when the charset is not known. 8-bit bytes declared as us-ascii are
// detected.
bool appendInCharset(std::string_view bytes, std::string_view charset, std::string& out);

// The charset of a text that names none: a byte order mark, ISO-2022-JP by its escapes, "us-ascii",
// "utf-8" if the text is valid, else the best guess among the 8-bit and multi-byte charsets, and
// "windows-1252" when nothing else is plausible. `hint`, a charset to prefer where the bytes could
// be read in it, may be empty. Looks at a bounded part of long texts. Never empty.
std::string_view detectCharset(std::string_view bytes, std::string_view hint = {});

// The text as UTF-8: in `charset` if that is known and fits the bytes, else as detectCharset finds.
// A byte order mark is dropped.
std::string decodeText(std::string_view bytes, std::string_view charset);
// The same as an autoreleased String, which holds long texts without a copy.
String* decodedText(std::string_view bytes, std::string_view charset);
// The same for a piece of text, where a byte order mark is a character like any other.
std::string decodePiece(std::string_view bytes, std::string_view charset);

// Appends UTF-8 text encoded in `charset`. False, and nothing is appended, when the charset is not
// known or lacks one of the characters.
bool appendEncoded(std::string_view utf8, std::string_view charset, std::string& out);

// Length of the UTF-8 character that begins with `lead`, 1 for what cannot begin one.
constexpr std::size_t utf8Length(char lead) noexcept {
  const auto byte = static_cast<unsigned char>(lead);
  return byte < 0xC2 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : byte < 0xF5 ? 4 : 1;
}

}  // namespace brennox::text
