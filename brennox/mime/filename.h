// File names of attachments, fit to be used as such.
#pragma once

#include <string>
#include <string_view>

namespace brennox::mime {

// UTF-8 without path separators, control characters and marks that turn the reading direction; no
// longer than 255 bytes, the extension kept. Empty when nothing is left.
std::string cleanFilename(std::string_view name);

// A name for a part that has none: its MIME type's usual ending behind `stem`.
std::string makeFilename(std::string_view stem, std::string_view mimeType);

}  // namespace brennox::mime
