#include "html/url.h"

#include "html/escape.h"
#include "text/ascii.h"

namespace brennox::html {

std::string trimmedUrl(std::string_view url) {
  const auto isEdge = [](char c) { return static_cast<unsigned char>(c) <= ' '; };
  while (!url.empty() && isEdge(url.front())) {
    url.remove_prefix(1);
  }
  while (!url.empty() && isEdge(url.back())) {
    url.remove_suffix(1);
  }
  std::string result;
  result.reserve(url.size());
  for (const char c : url) {
    if (c != '\t' && c != '\n' && c != '\r') {
      result += c;
    }
  }
  return result;
}

std::string schemeOf(std::string_view url) {
  if (url.empty() || !text::isAlpha(url[0])) {
    return {};
  }
  std::size_t i = 1;
  while (i < url.size() && (text::isAlpha(url[i]) || text::isDigit(url[i]) || url[i] == '+' ||
                            url[i] == '-' || url[i] == '.')) {
    ++i;
  }
  return i < url.size() && url[i] == ':' ? text::lowered(url.substr(0, i)) : std::string();
}

namespace {

std::string encoded(std::string_view url) {
  std::string result;
  for (const char c : cleanedLine(url)) {
    switch (c) {
      case ' ':
        result += "%20";
        break;
      case '"':
        result += "%22";
        break;
      case '<':
        result += "%3C";
        break;
      case '>':
        result += "%3E";
        break;
      case '`':
        result += "%60";
        break;
      default:
        result += c;
    }
  }
  return result;
}

bool isRelativeToScheme(std::string_view url) {
  return url.size() > 2 && (url[0] == '/' || url[0] == '\\') && (url[1] == '/' || url[1] == '\\');
}

std::optional<std::string> web(std::string_view url, std::string_view scheme) {
  if (scheme == "http" || scheme == "https") {
    return encoded(url);
  }
  if (scheme.empty() && isRelativeToScheme(url)) {
    return "https://" + encoded(url.substr(2));
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> linkUrl(std::string_view url) {
  const std::string trimmed = trimmedUrl(url);
  const std::string scheme = schemeOf(trimmed);
  if (scheme == "mailto" || scheme == "tel") {
    return encoded(trimmed);
  }
  return web(trimmed, scheme);
}

std::optional<std::string> remoteImageUrl(std::string_view url) {
  const std::string trimmed = trimmedUrl(url);
  return web(trimmed, schemeOf(trimmed));
}

std::string percentDecoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && text.size() - i > 2 && text::hexValue(text[i + 1]) >= 0 &&
        text::hexValue(text[i + 2]) >= 0) {
      result += static_cast<char>(text::hexValue(text[i + 1]) * 16 + text::hexValue(text[i + 2]));
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

}  // namespace brennox::html
