#include "mime/content_fields.h"

#include <algorithm>
#include <utility>

#include "text/ascii.h"

namespace brennox::mime {
namespace {

using text::equalsIgnoringCase;
using text::isBlank;
using text::isSpace;

// What ends the tokens of a Content-Type and of a Content-Transfer-Encoding.
constexpr text::CharacterSet kEndsType(" \t\r\n/;(");
constexpr text::CharacterSet kEndsSubtype(" \t\r\n/;(,\"");
constexpr text::CharacterSet kEndsName(" \t\r\n=;\"");
constexpr text::CharacterSet kEndsValue(" \t\r\n;");
constexpr text::CharacterSet kEndsEncoding(" \t\r\n;(,\"");

void skipSpaceAndComments(std::string_view& text) {
  std::size_t depth = 0;
  std::size_t i = 0;
  for (; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '(') {
      ++depth;
    } else if (depth > 0 && c == ')') {
      --depth;
    } else if (depth > 0 && c == '\\') {
      ++i;
    } else if (depth == 0 && !isSpace(c)) {
      break;
    }
  }
  text.remove_prefix(std::min(i, text.size()));
}

std::string_view takeToken(std::string_view& text, const text::CharacterSet& stops) {
  const std::string_view token = text.substr(0, stops.runBefore(text));
  text.remove_prefix(token.size());
  return token;
}

// A parameter value: a quoted string with its pairs undone and its folds removed, or anything up to
// a semicolon or white space.
std::string takeValue(std::string_view& text) {
  std::string value;
  if (text.empty() || text.front() != '"') {
    value = takeToken(text, kEndsValue);
    return value;
  }
  std::size_t i = 1;
  for (; i < text.size() && text[i] != '"'; ++i) {
    if (text[i] == '\\' && text.size() - i > 1) {
      ++i;
    }
    if (text[i] != '\r' && text[i] != '\n') {
      value += text[i];
    }
  }
  text.remove_prefix(std::min(i + 1, text.size()));
  return value;
}

}  // namespace

std::vector<std::string> boundariesOf(std::string_view contentType) {
  std::vector<std::string> found;
  std::string pieces;
  std::string_view text = contentType;
  const auto add = [&found](std::string value) {
    while (!value.empty() && isBlank(value.back())) {
      value.pop_back();
    }
    if (!value.empty() && value.size() <= kMaxBoundary && found.size() < kMaxBoundariesPerEntity &&
        std::find(found.begin(), found.end(), value) == found.end()) {
      found.push_back(std::move(value));
    }
  };
  const std::size_t semicolon = text.find(';');
  // Some mails leave out the first semicolon.
  text.remove_prefix(semicolon == std::string_view::npos ? 0 : semicolon);
  while (!text.empty()) {
    if (text.front() == ';') {
      text.remove_prefix(1);
    }
    skipSpaceAndComments(text);
    const std::string_view name = takeToken(text, kEndsName);
    skipSpaceAndComments(text);
    if (text.empty()) {
      break;
    }
    if (text.front() != '=') {
      if (text.front() == '"') {
        takeValue(text);
      } else if (name.empty() && text.front() != ';') {
        text.remove_prefix(1);
      }
      continue;
    }
    text.remove_prefix(1);
    skipSpaceAndComments(text);
    std::string value = takeValue(text);
    if (equalsIgnoringCase(name, "boundary") || equalsIgnoringCase(name, "boundary*")) {
      add(std::move(value));
    } else if (name.size() > 9 && equalsIgnoringCase(name.substr(0, 9), "boundary*")) {
      pieces += value;
    }
  }
  if (!pieces.empty()) {
    add(std::move(pieces));
  }
  // Some programs take apostrophes for quotes.
  if (found.size() == 1 && found[0].size() > 2 && found[0].front() == '\'' &&
      found[0].back() == '\'') {
    found.push_back(found[0].substr(1, found[0].size() - 2));
  }
  return found;
}

MediaTypeView mediaTypeOf(std::string_view contentType) {
  MediaTypeView media;
  skipSpaceAndComments(contentType);
  media.type = takeToken(contentType, kEndsType);
  skipSpaceAndComments(contentType);
  if (!contentType.empty() && contentType.front() == '/') {
    contentType.remove_prefix(1);
    skipSpaceAndComments(contentType);
    media.subtype = takeToken(contentType, kEndsSubtype);
  }
  return media;
}

TransferEncoding transferEncodingOf(std::string_view field) {
  skipSpaceAndComments(field);
  if (!field.empty() && field.front() == '"') {
    field.remove_prefix(1);
  }
  const std::string_view name = takeToken(field, kEndsEncoding);
  if (name.empty()) {
    return TransferEncoding::Identity;
  }
  const auto is = [name](std::string_view known) { return equalsIgnoringCase(name, known); };
  if (is("base64") || is("b") || is("base-64") || is("x-base64")) {
    return TransferEncoding::Base64;
  }
  if (is("quoted-printable") || is("q") || is("quotedprintable") || is("quoted_printable")) {
    return TransferEncoding::QuotedPrintable;
  }
  if (is("x-uuencode") || is("uuencode") || is("x-uue") || is("uue") || is("x-uu")) {
    return TransferEncoding::Uuencode;
  }
  if (is("x-yenc") || is("yenc")) {
    return TransferEncoding::Yenc;
  }
  return TransferEncoding::Identity;
}

}  // namespace brennox::mime
