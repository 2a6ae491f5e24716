// MIME types by file name, from a table of our own so that a name gives the same type on every
// machine.
#pragma once

#include <cstddef>
#include <string_view>

namespace brennox::mime {

// One type with the file name endings that stand for it, lower case and separated by blanks.
struct MimeTypeRow {
  const char* type;
  const char* endings;
};

// Endings without their leading dot; each occurs once.
extern const MimeTypeRow kMimeTypesByExtension[];
extern const std::size_t kMimeTypesByExtensionCount;

// "application/octet-stream".
extern const char kUnknownMimeType[];

// The type of a file name (what stands behind its last path separator), letters compared without
// case: by the whole name, by its longest known ending (".tar.gz" before ".gz"), by a few patterns.
// kUnknownMimeType when none fits.
const char* mimeTypeForFilename(std::string_view filename);

}  // namespace brennox::mime
