// ASCII classes and case folding that no locale can change.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brennox::text {

constexpr char toLower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

constexpr bool isDigit(char c) noexcept {
  return c >= '0' && c <= '9';
}
constexpr bool isAlpha(char c) noexcept {
  return toLower(c) >= 'a' && toLower(c) <= 'z';
}
// Blank and tab.
constexpr bool isBlank(char c) noexcept {
  return c == ' ' || c == '\t';
}
// What folding leaves between tokens: blanks and line ends.
constexpr bool isSpace(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// The value of a hexadecimal digit of either case, or -1.
constexpr int hexValue(char c) noexcept {
  if (isDigit(c)) {
    return c - '0';
  }
  const char lower = toLower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

constexpr bool equalsIgnoringCase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (toLower(a[i]) != toLower(b[i])) {
      return false;
    }
  }
  return true;
}

constexpr bool startsWithIgnoringCase(std::string_view text, std::string_view prefix) noexcept {
  return text.size() >= prefix.size() && equalsIgnoringCase(text.substr(0, prefix.size()), prefix);
}

inline std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    c = toLower(c);
  }
  return result;
}

constexpr std::string_view trimmed(std::string_view text) noexcept {
  while (!text.empty() && isSpace(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && isSpace(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

}  // namespace brennox::text
