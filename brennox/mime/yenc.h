// yEnc (version 1.3): binary files inside 8-bit texts.
#pragma once

#include "mime/uuencode.h"

namespace brennox::mime {

// Finds "=ybegin line=... size=... name=..." up to "=yend". A missing end is forgiven; a "=ypart"
// line is no content.
std::vector<EmbeddedFile> findYencFiles(std::string_view text);

// Decodes the lines of a file into `out`, which has room for lines.size() bytes; returns the count.
std::size_t ydecodeLines(std::string_view lines, char* out);

}  // namespace brennox::mime
