// Uuencode (POSIX uuencode): as a transfer encoding, and as files inside a text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace brennox::mime {

// A file that stands inside a text.
struct EmbeddedFile {
  // The whole of it in the text, from its first line to behind its last one.
  std::size_t begin = 0;
  std::size_t end = 0;
  // The lines with the content.
  std::string_view lines;
  // As it stands in the text.
  std::string name;
};

// Finds "begin <mode> <name>" followed by lines of the right length. A missing "end" is forgiven.
std::vector<EmbeddedFile> findUuencodedFiles(std::string_view text);

// An upper bound for the decoded length: short lines are filled up to whole groups.
constexpr std::size_t uudecodedBound(std::size_t length) {
  return length + 2;
}

// Decodes the lines of a file and returns the count of bytes written to `out`, which has room for
// uudecodedBound(lines.size()). Stops at the first line that is none.
std::size_t uudecodeLines(std::string_view lines, char* out);

// The content lines of a body in this transfer encoding: the first file's, else the whole body.
std::string_view uuencodedLines(std::string_view body);

}  // namespace brennox::mime
