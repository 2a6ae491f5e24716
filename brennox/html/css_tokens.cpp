#include "html/css_tokens.h"

#include <utility>

#include "html/escape.h"
#include "text/ascii.h"

namespace brennox::html {
namespace {

using text::hexValue;
using text::isDigit;

constexpr bool isNewline(char c) {
  return c == '\n' || c == '\r' || c == '\f';
}
constexpr bool isCssSpace(char c) {
  return c == ' ' || c == '\t' || isNewline(c);
}
constexpr bool isNameStart(char c) {
  return text::isAlpha(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80 || c == '\0';
}
constexpr bool isName(char c) {
  return isNameStart(c) || isDigit(c) || c == '-';
}

void appendCodePoint(std::uint32_t code, std::string& out) {
  if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
    code = 0xFFFD;
  }
  const auto put = [&](std::uint32_t byte) { out += static_cast<char>(byte); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0 | code >> 6);
    put(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    put(0xE0 | code >> 12);
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  } else {
    put(0xF0 | code >> 18);
    put(0x80 | (code >> 12 & 0x3F));
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  }
}

class Tokenizer {
 public:
  explicit Tokenizer(std::string_view css) : css_(css) {}

  std::vector<CssToken> run() {
    bool afterComment = false;
    while (at_ < css_.size()) {
      const std::size_t count = tokens_.size();
      token();
      if (tokens_.size() == count) {
        afterComment = true;
        continue;
      }
      tokens_[count].afterComment = afterComment;
      afterComment = false;
    }
    return std::move(tokens_);
  }

 private:
  char peek(std::size_t ahead = 0) const {
    return css_.size() - at_ > ahead ? css_[at_ + ahead] : '\0';
  }
  bool has(std::size_t ahead) const { return css_.size() - at_ > ahead; }

  void add(CssTokenType type, std::string value = {}) {
    tokens_.push_back({type, 0, std::move(value), {}, false});
  }

  // A backslash that starts an escape.
  bool isEscape(std::size_t ahead) const {
    return peek(ahead) == '\\' && has(ahead + 1) && !isNewline(peek(ahead + 1));
  }

  bool startsIdent(std::size_t ahead) const {
    const char first = peek(ahead);
    if (!has(ahead)) {
      return false;
    }
    if (first == '-') {
      return has(ahead + 1) &&
             (isNameStart(peek(ahead + 1)) || peek(ahead + 1) == '-' || isEscape(ahead + 1));
    }
    return isNameStart(first) || isEscape(ahead);
  }

  bool startsNumber() const {
    std::size_t ahead = peek() == '+' || peek() == '-' ? 1 : 0;
    if (isDigit(peek(ahead))) {
      return true;
    }
    return peek(ahead) == '.' && isDigit(peek(ahead + 1));
  }

  void token() {
    const char c = peek();
    if (c == '/' && peek(1) == '*') {
      const std::size_t end = css_.find("*/", at_ + 2);
      at_ = end == std::string_view::npos ? css_.size() : end + 2;
      return;
    }
    if (isCssSpace(c)) {
      while (has(0) && isCssSpace(peek())) {
        ++at_;
      }
      add(CssTokenType::Whitespace);
      return;
    }
    if (c == '"' || c == '\'') {
      string(c);
      return;
    }
    if (c == '#' && has(1) && (isName(peek(1)) || isEscape(1))) {
      ++at_;
      add(CssTokenType::Hash, name());
      return;
    }
    if (startsNumber()) {
      number();
      return;
    }
    if (css_.substr(at_, 4) == "<!--") {
      at_ += 4;
      add(CssTokenType::Cdo);
      return;
    }
    if (css_.substr(at_, 3) == "-->") {
      at_ += 3;
      add(CssTokenType::Cdc);
      return;
    }
    if (c == '@' && startsIdent(1)) {
      ++at_;
      add(CssTokenType::AtKeyword, name());
      return;
    }
    if (startsIdent(0)) {
      identLike();
      return;
    }
    ++at_;
    punctuation(c);
  }

  void punctuation(char c) {
    switch (c) {
      case ':':
        return add(CssTokenType::Colon);
      case ';':
        return add(CssTokenType::Semicolon);
      case ',':
        return add(CssTokenType::Comma);
      case '[':
        return add(CssTokenType::OpenSquare);
      case ']':
        return add(CssTokenType::CloseSquare);
      case '(':
        return add(CssTokenType::OpenParen);
      case ')':
        return add(CssTokenType::CloseParen);
      case '{':
        return add(CssTokenType::OpenCurly);
      case '}':
        return add(CssTokenType::CloseCurly);
      default:
        add(CssTokenType::Delim);
        tokens_.back().delim = c;
    }
  }

  // at_ is behind a backslash.
  void escape(std::string& out) {
    if (!has(0)) {
      out += "\xEF\xBF\xBD";
      return;
    }
    if (hexValue(peek()) < 0) {
      const std::size_t length = utf8Length(css_.substr(at_));
      out.append(css_.substr(at_, length == 0 ? 1 : length));
      at_ += length == 0 ? 1 : length;
      return;
    }
    std::uint32_t code = 0;
    for (int digits = 0; digits < 6 && has(0) && hexValue(peek()) >= 0; ++digits) {
      code = code * 16 + static_cast<std::uint32_t>(hexValue(css_[at_++]));
    }
    if (has(0) && isCssSpace(peek())) {
      at_ += peek() == '\r' && peek(1) == '\n' ? 2 : 1;
    }
    appendCodePoint(code, out);
  }

  std::string name() {
    std::string result;
    while (has(0)) {
      if (isEscape(0)) {
        ++at_;
        escape(result);
      } else if (peek() == '\0') {
        result += "\xEF\xBF\xBD";
        ++at_;
      } else if (isName(peek())) {
        result += css_[at_++];
      } else {
        break;
      }
    }
    return result;
  }

  void string(char quote) {
    ++at_;
    std::string value;
    while (has(0)) {
      const char c = peek();
      if (c == quote) {
        ++at_;
        break;
      }
      if (isNewline(c)) {
        add(CssTokenType::BadString);
        return;
      }
      ++at_;
      if (c != '\\') {
        value += c;
      } else if (has(0) && isNewline(peek())) {
        at_ += peek() == '\r' && peek(1) == '\n' ? 2 : 1;
      } else if (has(0)) {
        escape(value);
      }
    }
    add(CssTokenType::String, std::move(value));
  }

  void number() {
    const std::size_t begin = at_;
    if (peek() == '+' || peek() == '-') {
      ++at_;
    }
    digits();
    if (peek() == '.' && isDigit(peek(1))) {
      ++at_;
      digits();
    }
    if (text::toLower(peek()) == 'e') {
      const std::size_t sign = peek(1) == '+' || peek(1) == '-' ? 1 : 0;
      if (isDigit(peek(1 + sign))) {
        at_ += 1 + sign;
        digits();
      }
    }
    std::string value(css_.substr(begin, at_ - begin));
    if (startsIdent(0)) {
      std::string unit = name();
      tokens_.push_back({CssTokenType::Dimension, 0, std::move(value), std::move(unit), false});
    } else if (peek() == '%') {
      ++at_;
      add(CssTokenType::Percentage, std::move(value));
    } else {
      add(CssTokenType::Number, std::move(value));
    }
  }

  void digits() {
    while (isDigit(peek())) {
      ++at_;
    }
  }

  void identLike() {
    std::string value = name();
    if (peek() != '(' || !has(0)) {
      add(CssTokenType::Ident, std::move(value));
      return;
    }
    ++at_;
    if (!text::equalsIgnoringCase(value, "url")) {
      add(CssTokenType::Function, std::move(value));
      return;
    }
    std::size_t ahead = 0;
    while (has(ahead) && isCssSpace(peek(ahead))) {
      ++ahead;
    }
    if (peek(ahead) == '"' || peek(ahead) == '\'') {
      add(CssTokenType::Function, std::move(value));
      return;
    }
    url();
  }

  void url() {
    while (has(0) && peek() != ')') {
      at_ += peek() == '\\' && has(1) ? 2 : 1;
    }
    if (has(0)) {
      ++at_;
    }
    add(CssTokenType::Url);
  }

  std::string_view css_;
  std::size_t at_ = 0;
  std::vector<CssToken> tokens_;
};

}  // namespace

std::vector<CssToken> cssTokens(std::string_view css) {
  return Tokenizer(css).run();
}

}  // namespace brennox::html
