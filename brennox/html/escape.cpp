#include "html/escape.h"

#include <algorithm>
#include <cstdint>

#include "core/TextBuffer.h"
#include "text/ascii.h"
#include "text/scan.h"

namespace brennox::html {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

constexpr std::uint8_t byte(char c) {
  return static_cast<std::uint8_t>(c);
}

// C0 without tab, LF and CR, and DEL.
constexpr bool isControl(char c) {
  return (byte(c) < 0x20 && c != '\t' && c != '\n' && c != '\r') || c == 0x7F;
}

// C1, U+0080 to U+009F: terminals read some of them as escape sequences.
bool isC1(std::string_view sequence) {
  return sequence.size() == 2 && byte(sequence[0]) == 0xC2 && byte(sequence[1]) < 0xA0;
}

// U+061C, U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069.
bool isDirectionMark(std::string_view sequence) {
  if (sequence == "\xD8\x9C") {
    return true;
  }
  if (sequence.size() != 3 || byte(sequence[0]) != 0xE2) {
    return false;
  }
  const std::uint8_t second = byte(sequence[1]);
  const std::uint8_t third = byte(sequence[2]);
  return (second == 0x80 && (third == 0x8E || third == 0x8F || (third >= 0xAA && third <= 0xAE))) ||
         (second == 0x81 && third >= 0xA6 && third <= 0xA9);
}

// What needs no thought is copied in runs. These end one, and so do C1 and what is no UTF-8.
constexpr text::CharacterSet kSpecialInText = text::CharacterSet("&<>").withControls();
constexpr text::CharacterSet kSpecialInQuotes = text::CharacterSet("&<>\"'`").withControls();
constexpr text::CharacterSet kSpecialInPlainText =
    text::CharacterSet("").withControls().without("\t\n");

}  // namespace

std::size_t utf8Length(std::string_view text) {
  const std::uint8_t first = byte(text[0]);
  if (first < 0x80) {
    return 1;
  }
  const auto continues = [&](std::size_t i) {
    return i < text.size() && (byte(text[i]) & 0xC0) == 0x80;
  };
  if (first >= 0xC2 && first <= 0xDF) {
    return continues(1) ? 2 : 0;
  }
  if (first >= 0xE0 && first <= 0xEF) {
    if (!continues(1) || !continues(2)) {
      return 0;
    }
    const std::uint8_t second = byte(text[1]);
    const bool overlong = first == 0xE0 && second < 0xA0;
    const bool surrogate = first == 0xED && second >= 0xA0;
    return overlong || surrogate ? 0 : 3;
  }
  if (first >= 0xF0 && first <= 0xF4) {
    if (!continues(1) || !continues(2) || !continues(3)) {
      return 0;
    }
    const std::uint8_t second = byte(text[1]);
    const bool overlong = first == 0xF0 && second < 0x90;
    const bool beyond = first == 0xF4 && second >= 0x90;
    return overlong || beyond ? 0 : 4;
  }
  return 0;
}

namespace {

std::size_t plainRun(std::string_view text, const text::CharacterSet& special) {
  std::size_t at = 0;
  while (at < text.size()) {
    if (byte(text[at]) < 0x80) {
      if (special.has(text[at])) {
        break;
      }
      ++at;
      continue;
    }
    const std::size_t length = utf8Length(text.substr(at));
    if (length == 0 || isC1(text.substr(at, length))) {
      break;
    }
    at += length;
  }
  return at;
}

template <bool kQuotes>
void append(std::string_view text, std::string& out) {
  while (!text.empty()) {
    const std::size_t run = plainRun(text, kQuotes ? kSpecialInQuotes : kSpecialInText);
    out.append(text.substr(0, run));
    text.remove_prefix(run);
    if (text.empty()) {
      return;
    }
    const char c = text[0];
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      case '`':
        out += "&#96;";
        break;
      case '\r':
        // A raw CR would be read back as LF.
        out += "&#13;";
        break;
      case '\t':
      case '\n':
        out += c;
        break;
      default:
        if (!isControl(c)) {
          const std::size_t length = utf8Length(text);
          if (length == 0) {
            out += kReplacement;
          } else if (!isC1(text.substr(0, length))) {
            out.append(text.substr(0, length));
          }
          text.remove_prefix(length == 0 ? 1 : length);
          continue;
        }
    }
    text.remove_prefix(1);
  }
}

}  // namespace

void appendEscaped(std::string_view text, std::string& out) {
  append<true>(text, out);
}

void appendEscapedText(std::string_view text, std::string& out) {
  append<false>(text, out);
}

std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size() + text.size() / 16);
  appendEscaped(text, result);
  return result;
}

std::string cleanedText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::size_t run = plainRun(text, kSpecialInPlainText);
    out.append(text.substr(0, run));
    text.remove_prefix(run);
    if (text.empty()) {
      break;
    }
    if (text[0] == '\r') {
      // Line ends that were converted twice are CR CR LF.
      const std::size_t returns = std::min(text.find_first_not_of('\r'), text.size());
      text.remove_prefix(returns);
      if (text.empty() || text[0] != '\n') {
        out.append(returns, '\n');
      }
    } else if (isControl(text[0])) {
      text.remove_prefix(1);
    } else {
      const std::size_t length = utf8Length(text);
      if (length == 0) {
        out += kReplacement;
      } else if (!isC1(text.substr(0, length))) {
        out.append(text.substr(0, length));
      }
      text.remove_prefix(length == 0 ? 1 : length);
    }
  }
  return out;
}

std::string_view firstLines(std::string_view text) {
  constexpr std::size_t kPiece = std::size_t{1} << 15;
  if (text.size() <= kPiece) {
    return text;
  }
  std::size_t end = text.rfind('\n', kPiece - 1);
  if (end == std::string_view::npos) {
    end = text.find('\n', kPiece);
  }
  return end == std::string_view::npos ? text : text.substr(0, end + 1);
}

namespace {

constexpr text::Scanner kCleaningStops(text::CharacterSet("\xC2").withControls().without("\t\n"));

// False, and something has been appended, when there is anything to clean but line ends.
bool appendClean(std::string_view text, TextBuffer& out) {
  char* to = out.room(text.size() + text::Scanner::kOverhang);
  char* const begin = to;
  while (!text.empty()) {
    const std::size_t run = kCleaningStops.copyRun(text, to);
    to += run;
    text.remove_prefix(run);
    if (text.size() < 2) {
      break;
    }
    if (text[0] == '\xC2' && byte(text[1]) >= 0xA0) {
      *to++ = text[0];
    } else if (text[0] != '\r' || text[1] != '\n') {
      return false;
    }
    text.remove_prefix(1);
  }
  out.wrote(static_cast<std::size_t>(to - begin));
  return text.empty();
}

}  // namespace

void appendCleanedText(std::string_view text, TextBuffer& out) {
  out.room(text.size() + text::Scanner::kOverhang);
  while (!text.empty()) {
    const std::string_view piece = firstLines(text);
    text.remove_prefix(piece.size());
    const std::size_t before = out.size();
    if (!appendClean(piece, out)) {
      out.truncate(before);
      out += cleanedText(piece);
    }
  }
}

std::string cleanedLine(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  const std::string clean = cleanedText(text);
  std::string_view rest = clean;
  while (!rest.empty()) {
    const std::size_t length = utf8Length(rest);
    const std::string_view sequence = rest.substr(0, length);
    // U+2028 and U+2029 break lines as well.
    const bool breaks = sequence == "\t" || sequence == "\n" || sequence == "\xE2\x80\xA8" ||
                        sequence == "\xE2\x80\xA9";
    if (breaks) {
      out += ' ';
    } else if (!isDirectionMark(sequence)) {
      out.append(sequence);
    }
    rest.remove_prefix(length);
  }
  return out;
}

}  // namespace brennox::html
