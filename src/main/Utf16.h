// UTF-8 as the engine keeps it.
#pragma once

#include <cstddef>
#include <string_view>

namespace velkor {

constexpr std::size_t kNotUtf8 = static_cast<std::size_t>(-1);

// How many units a text has in UTF-16. Never more than it has bytes, valid or not.
std::size_t Utf16Length(std::string_view text);

// What is written beyond the length of the text at most.
constexpr std::size_t kUtf16Overhang = 16;

// Writes the text as UTF-16 to `out`, which has room for as many units as `text` has bytes, or for
// Utf16Length and kUtf16Overhang. The number of units written, or kNotUtf8 where the text is not
// valid UTF-8.
std::size_t ToUtf16(std::string_view text, char16_t* out);

}  // namespace velkor
