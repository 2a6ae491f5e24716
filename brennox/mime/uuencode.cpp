#include "mime/uuencode.h"

#include "text/ascii.h"

namespace brennox::mime {
namespace {

// A name longer than this is no file name.
constexpr std::size_t kMaxName = 1000;

// Takes the first line off `text`, without its line end.
std::string_view takeLine(std::string_view& text) {
  const std::size_t lf = text.find('\n');
  std::string_view line = text.substr(0, lf);
  text.remove_prefix(lf == std::string_view::npos ? text.size() : lf + 1);
  while (!line.empty() && line.back() == '\r') {
    line.remove_suffix(1);
  }
  return line;
}

// The six bits of a character. A backquote stands for a blank.
constexpr unsigned int bitsOf(char c) {
  return (static_cast<unsigned char>(c) - 32U) & 63U;
}

constexpr bool isUuChar(char c) {
  return c >= ' ' && c <= '`';
}

// The byte count that a content line announces, or -1 when it is no content line. Blanks at its end
// may have been lost on the way, and some encoders add a checksum character.
int countOf(std::string_view line) {
  if (line.empty() || !isUuChar(line.front())) {
    return -1;
  }
  const unsigned int count = bitsOf(line.front());
  const std::size_t full = (count + 2U) / 3U * 4U;
  const std::size_t there = line.size() - 1;
  if (there > full + 2 || (count > 0 && there == 0)) {
    return -1;
  }
  // The last group may be cut to the characters that its bytes need.
  if (there + 3 < full && line.find(' ') == std::string_view::npos && there + 8 < full) {
    return -1;
  }
  for (const char c : line) {
    if (!isUuChar(c)) {
      return -1;
    }
  }
  return static_cast<int>(count);
}

// "begin", three or four octal digits, a name.
bool parseBegin(std::string_view line, std::string& name) {
  if (line.substr(0, 6) != "begin ") {
    return false;
  }
  line.remove_prefix(6);
  std::size_t digits = 0;
  while (digits < line.size() && line[digits] >= '0' && line[digits] <= '7') {
    ++digits;
  }
  if (digits < 3 || digits > 4 || digits >= line.size() || line[digits] != ' ') {
    return false;
  }
  const std::string_view rest = text::trimmed(line.substr(digits));
  if (rest.empty() || rest.size() > kMaxName) {
    return false;
  }
  name = rest;
  return true;
}

}  // namespace

std::vector<EmbeddedFile> findUuencodedFiles(std::string_view text) {
  std::vector<EmbeddedFile> files;
  std::size_t at = 0;
  while ((at = text.find("begin ", at)) != std::string_view::npos) {
    const std::size_t start = at;
    at += 6;
    if (start > 0 && text[start - 1] != '\n') {
      continue;
    }
    std::string_view rest = text.substr(start);
    EmbeddedFile file;
    if (!parseBegin(takeLine(rest), file.name)) {
      continue;
    }
    const char* const lines = rest.data();
    const char* behind = lines;
    bool content = false;
    bool ended = false;
    while (!rest.empty()) {
      const std::string_view line = takeLine(rest);
      if (line == "end") {
        ended = true;
        file.lines = std::string_view(lines, static_cast<std::size_t>(behind - lines));
        behind = rest.data();
        break;
      }
      const int count = countOf(line);
      if (count < 0 && !line.empty()) {
        break;
      }
      if (line.empty()) {
        // An empty line may stand before "end", where a lone blank was lost.
        std::string_view look = rest;
        if (takeLine(look) != "end") {
          break;
        }
      }
      content = content || count > 0;
      behind = rest.data();
    }
    if (!ended) {
      file.lines = std::string_view(lines, static_cast<std::size_t>(behind - lines));
    }
    if (!content && !ended) {
      continue;
    }
    file.begin = start;
    file.end = static_cast<std::size_t>(behind - text.data());
    at = file.end;
    files.push_back(std::move(file));
  }
  return files;
}

std::size_t uudecodeLines(std::string_view lines, char* out) {
  char* to = out;
  while (!lines.empty()) {
    std::string_view line = takeLine(lines);
    const int announced = countOf(line);
    if (announced <= 0) {
      if (line.empty() || announced == 0) {
        continue;
      }
      break;
    }
    line.remove_prefix(1);
    auto left = static_cast<std::size_t>(announced);
    // What a line lacks at its end were blanks, that is zero bits; no more bytes are made than the
    // characters that are there can hold, rounded up to a group.
    const auto bits = [&line](std::size_t i) { return i < line.size() ? bitsOf(line[i]) : 0U; };
    for (std::size_t i = 0; left > 0 && i < line.size(); i += 4) {
      const unsigned int group = bits(i) << 18 | bits(i + 1) << 12 | bits(i + 2) << 6 | bits(i + 3);
      for (unsigned int shift = 16; left > 0; shift -= 8) {
        *to++ = static_cast<char>(group >> shift);
        --left;
        if (shift == 0) {
          break;
        }
      }
    }
  }
  return static_cast<std::size_t>(to - out);
}

std::string_view uuencodedLines(std::string_view body) {
  const std::vector<EmbeddedFile> files = findUuencodedFiles(body);
  return files.empty() ? body : files.front().lines;
}

}  // namespace brennox::mime
