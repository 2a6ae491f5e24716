// ASCII classes and case folding that no locale can change.
#pragma once

#include <array>
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

// A set of characters, for loops that scan text: one look-up a character.
class CharacterSet {
 public:
  constexpr explicit CharacterSet(std::string_view characters) noexcept {
    for (const char c : characters) {
      has_[static_cast<unsigned char>(c)] = true;
    }
  }
  // The same with all control characters (C0 and DEL).
  constexpr CharacterSet withControls() const noexcept {
    CharacterSet result = *this;
    for (std::size_t i = 0; i < ' '; ++i) {
      result.has_[i] = true;
    }
    result.has_[0x7F] = true;
    return result;
  }
  // The same with all bytes that are not ASCII.
  constexpr CharacterSet withNonAscii() const noexcept {
    CharacterSet result = *this;
    for (std::size_t i = 0x80; i < result.has_.size(); ++i) {
      result.has_[i] = true;
    }
    return result;
  }
  constexpr CharacterSet without(std::string_view characters) const noexcept {
    CharacterSet result = *this;
    for (const char c : characters) {
      result.has_[static_cast<unsigned char>(c)] = false;
    }
    return result;
  }
  constexpr bool has(char c) const noexcept { return has_[static_cast<unsigned char>(c)]; }

  // Where the first character of the set stands in `text`, from `start` on; npos without one.
  constexpr std::size_t findIn(std::string_view text, std::size_t start = 0) const noexcept {
    for (std::size_t i = start; i < text.size(); ++i) {
      if (has(text[i])) {
        return i;
      }
    }
    return std::string_view::npos;
  }
  // The length of the run at the start of `text` that has none of them.
  constexpr std::size_t runBefore(std::string_view text) const noexcept {
    const std::size_t found = findIn(text);
    return found == std::string_view::npos ? text.size() : found;
  }

 private:
  std::array<bool, 256> has_{};
};

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

inline void appendLowered(std::string_view text, std::string& out) {
  const std::size_t from = out.size();
  out += text;
  for (std::size_t i = from; i < out.size(); ++i) {
    out[i] = toLower(out[i]);
  }
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
