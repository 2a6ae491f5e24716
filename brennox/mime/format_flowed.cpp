#include "mime/format_flowed.h"

#include <cstddef>

namespace brennox::mime {

std::string unflow(std::string_view text, bool deleteSpace) {
  std::string result;
  result.reserve(text.size());
  // The paragraph that is being joined: its quote depth, and whether its last line was flowed.
  std::size_t paragraphDepth = 0;
  bool open = false;
  while (!text.empty()) {
    const std::size_t lf = text.find('\n');
    std::string_view line = text.substr(0, lf);
    const bool last = lf == std::string_view::npos;
    text.remove_prefix(last ? text.size() : lf + 1);
    if (!line.empty() && line.back() == '\r') {
      line.remove_suffix(1);
    }
    std::size_t depth = 0;
    while (depth < line.size() && line[depth] == '>') {
      ++depth;
    }
    line.remove_prefix(depth);
    if (!line.empty() && line.front() == ' ') {
      line.remove_prefix(1);
    }
    // The signature separator is never flowed, and ends a paragraph before it.
    const bool signature = line == "-- ";
    if (open && (depth != paragraphDepth || signature)) {
      result += '\n';
      open = false;
    }
    if (!open && depth > 0) {
      result.append(depth, '>');
      if (!line.empty()) {
        result += ' ';
      }
    }
    const bool flowed = !signature && !line.empty() && line.back() == ' ' && !last;
    if (flowed && deleteSpace) {
      line.remove_suffix(1);
    }
    result += line;
    open = flowed;
    paragraphDepth = depth;
    if (!flowed && !last) {
      result += '\n';
    }
  }
  return result;
}

}  // namespace brennox::mime
