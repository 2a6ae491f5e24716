#include "mime/html_charset.h"

#include <cstddef>

#include "text/ascii.h"

namespace brennox::mime {
namespace {

// The HTML standard asks for 1024 bytes; mailers put long styles before it.
constexpr std::size_t kWindow = 8192;

bool isNameChar(char c) {
  return text::isAlpha(c) || text::isDigit(c) || c == '-' || c == '_' || c == '.' || c == ':' ||
         c == '+';
}

// The value behind "charset" at `at`: an equals sign, then a name, maybe in quotes.
std::string_view valueAt(std::string_view tag, std::size_t at) {
  while (at < tag.size() && text::isSpace(tag[at])) {
    ++at;
  }
  if (at == tag.size() || tag[at] != '=') {
    return {};
  }
  ++at;
  while (at < tag.size() && (text::isSpace(tag[at]) || tag[at] == '"' || tag[at] == '\'')) {
    ++at;
  }
  std::size_t end = at;
  while (end < tag.size() && isNameChar(tag[end])) {
    ++end;
  }
  return tag.substr(at, end - at);
}

std::string valueOf(std::string_view tag, std::string_view name) {
  for (std::size_t at = 0; at + name.size() < tag.size(); ++at) {
    if (text::startsWithIgnoringCase(tag.substr(at), name)) {
      const std::string_view value = valueAt(tag, at + name.size());
      if (!value.empty()) {
        return text::lowered(value);
      }
    }
  }
  return {};
}

}  // namespace

std::string charsetInHtml(std::string_view html) {
  html = html.substr(0, kWindow);
  for (std::size_t at = html.find('<'); at != std::string_view::npos; at = html.find('<', at + 1)) {
    const std::string_view rest = html.substr(at + 1);
    const bool meta = text::startsWithIgnoringCase(rest, "meta");
    const bool xml = text::startsWithIgnoringCase(rest, "?xml");
    if (!meta && !xml) {
      continue;
    }
    const std::string_view tag = rest.substr(4, rest.substr(4).find('>'));
    std::string found = valueOf(tag, meta ? "charset" : "encoding");
    if (!found.empty()) {
      return found;
    }
  }
  return {};
}

}  // namespace brennox::mime
