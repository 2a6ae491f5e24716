#include "mime/yenc.h"

#include <algorithm>

#include "text/ascii.h"

namespace brennox::mime {
namespace {

constexpr std::size_t kMaxName = 1000;

std::string_view lineAt(std::string_view text, std::size_t at) {
  std::string_view line = text.substr(at, text.substr(at).find('\n'));
  while (!line.empty() && line.back() == '\r') {
    line.remove_suffix(1);
  }
  return line;
}

std::size_t behindLine(std::string_view text, std::size_t at) {
  const std::size_t lf = text.find('\n', at);
  return lf == std::string_view::npos ? text.size() : lf + 1;
}

}  // namespace

std::vector<EmbeddedFile> findYencFiles(std::string_view text) {
  std::vector<EmbeddedFile> files;
  std::size_t at = 0;
  while ((at = text.find("=ybegin ", at)) != std::string_view::npos) {
    const std::size_t start = at;
    at += 8;
    if (start > 0 && text[start - 1] != '\n') {
      continue;
    }
    const std::string_view head = lineAt(text, start);
    // The name comes last and takes the rest of the line, blanks included.
    const std::size_t name = head.find(" name=");
    if (name == std::string_view::npos || head.find(" line=") == std::string_view::npos ||
        head.find(" size=") == std::string_view::npos || head.size() - name > kMaxName) {
      continue;
    }
    EmbeddedFile file;
    file.begin = start;
    file.name = text::trimmed(head.substr(name + 6));
    std::size_t lines = behindLine(text, start);
    if (text.substr(lines, 7) == "=ypart ") {
      lines = behindLine(text, lines);
    }
    std::size_t last = text.find("\n=yend", lines > 0 ? lines - 1 : 0);
    if (last == std::string_view::npos) {
      last = text.size();
      file.end = last;
    } else {
      file.end = behindLine(text, last + 1);
      last = std::max(last, lines);
    }
    file.lines = text.substr(lines, last - lines);
    at = file.end;
    files.push_back(std::move(file));
  }
  return files;
}

std::size_t ydecodeLines(std::string_view lines, char* out) {
  char* to = out;
  bool escaped = false;
  for (const char c : lines) {
    if (c == '\r' || c == '\n') {
      continue;
    }
    if (c == '=' && !escaped) {
      escaped = true;
      continue;
    }
    *to++ = static_cast<char>(static_cast<unsigned char>(c) - (escaped ? 106U : 42U));
    escaped = false;
  }
  return static_cast<std::size_t>(to - out);
}

}  // namespace brennox::mime
