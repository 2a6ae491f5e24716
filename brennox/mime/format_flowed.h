// Text in format=flowed (RFC 3676).
#pragma once

#include <string>
#include <string_view>

namespace brennox::mime {

// Joins flowed lines into paragraphs of one line each. With `deleteSpace` (DelSp=yes) the blank
// before a soft line end is no part of the text. Quoted paragraphs keep their marks, as "> " or ">>
// ". Line ends become "\n".
std::string unflow(std::string_view text, bool deleteSpace);

}  // namespace brennox::mime
