// The stand-ins are the characters of plane 15 (U+F0000 and on), each four bytes of UTF-8 that
// start with 0xF3.
#include "html/stand_ins.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "text/ascii.h"

namespace brennox::html {
namespace {

constexpr std::uint32_t kFirst = 0xF0000;
// The last two characters of a plane are none.
constexpr std::size_t kMaxRuns = 0xFFFE;
constexpr char kLead = '\xF3';
constexpr std::size_t kLength = 4;
// What is shorter may as well stay.
constexpr std::size_t kShortestRun = 3;

// ASCII that a tree builder neither changes nor takes for markup.
constexpr text::CharacterSet kEndsRun =
    text::CharacterSet("&<").withControls().without("\t\n\f").withNonAscii();
constexpr text::CharacterSet kEndsRawRun =
    text::CharacterSet("").withControls().without("\t\n\f").withNonAscii();

constexpr text::CharacterSet kEndsValue =
    text::CharacterSet("&").withControls().without("\t\n\f").withNonAscii();

constexpr bool isHtmlSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

// The length of the UTF-8 character at the start of `text` when it is one that every decoder takes
// for text, else 0. It is none for C1 controls, byte order marks, noncharacters and what is not
// UTF-8; some harmless neighbours of theirs are left out, too.
std::size_t characterLength(std::string_view text) {
  const auto byte = [text](std::size_t i) {
    return i < text.size() ? static_cast<std::uint8_t>(text[i]) : std::uint8_t{0};
  };
  const auto continues = [&byte](std::size_t i) { return (byte(i) & 0xC0) == 0x80; };
  const std::uint8_t first = byte(0);
  if (first >= 0xC2 && first <= 0xDF) {
    return continues(1) && (first != 0xC2 || byte(1) >= 0xA0) ? 2 : 0;
  }
  if (first >= 0xE0 && first <= 0xEF) {
    const bool isShort = first == 0xE0 && byte(1) < 0xA0;
    const bool isSurrogate = first == 0xED && byte(1) >= 0xA0;
    const bool mayBeNone = first == 0xEF && (byte(1) == 0xB7 || byte(1) == 0xBB || byte(1) == 0xBF);
    return continues(1) && continues(2) && !isShort && !isSurrogate && !mayBeNone ? 3 : 0;
  }
  if (first == 0xF0) {
    return continues(1) && continues(2) && continues(3) && byte(1) >= 0x90 && byte(2) != 0xBF ? 4
                                                                                              : 0;
  }
  return 0;
}

std::size_t runLength(std::string_view text, const text::CharacterSet& ends) {
  std::size_t length = 0;
  for (;;) {
    const std::size_t end = std::min(ends.findIn(text, length), text.size());
    const std::size_t character = characterLength(text.substr(end));
    if (character == 0) {
      return end;
    }
    length = end + character;
  }
}

// A character reference with all that could belong to it.
std::size_t referenceLength(std::string_view text) {
  std::size_t length = 1;
  while (length < text.size() &&
         (text::isAlpha(text[length]) || text::isDigit(text[length]) || text[length] == '#')) {
    ++length;
  }
  return length < text.size() && text[length] == ';' ? length + 1 : length;
}

// The number that a reference like "#65" or "#x41" names.
std::uint32_t numberOf(std::string_view reference) {
  const bool isHex = text::toLower(reference.size() > 1 ? reference[1] : '\0') == 'x';
  constexpr std::uint32_t kTooLarge = 0x110000;
  std::uint32_t number = 0;
  for (std::size_t i = isHex ? 2 : 1; i < reference.size() && number < kTooLarge; ++i) {
    const int digit = text::hexValue(reference[i]);
    if (digit < 0 || (!isHex && digit > 9)) {
      break;
    }
    number = number * (isHex ? 16 : 10) + static_cast<std::uint32_t>(digit);
  }
  return number;
}

void appendStandIn(std::size_t index, std::string& out) {
  const std::uint32_t c = kFirst + static_cast<std::uint32_t>(index);
  out += kLead;
  out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
  out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
  out += static_cast<char>(0x80 | (c & 0x3F));
}

}  // namespace

bool StandIns::mayServe(std::string_view html) {
  if (areIn(html)) {
    return false;
  }
  for (std::size_t at = html.find("&#"); at != std::string_view::npos;
       at = html.find("&#", at + 2)) {
    const std::uint32_t number = numberOf(html.substr(at + 1));
    if (number >= kFirst && number <= kFirst + 0xFFFF) {
      return false;
    }
  }
  return true;
}

void StandIns::appendText(std::string_view text, std::string& out) {
  append(text, false, out);
}

void StandIns::appendRawText(std::string_view text, std::string& out) {
  append(text, true, out);
}

void StandIns::appendValue(std::string_view value, std::string& out) {
  const bool isPlain = runLength(value, kEndsValue) == value.size();
  if (!isPlain || (runs_.size() == kMaxRuns && values_.count(value) == 0)) {
    out += value;
    return;
  }
  const auto [known, isNew] = values_.try_emplace(value, runs_.size());
  if (isNew) {
    runs_.push_back(value);
  }
  appendStandIn(known->second, out);
}

void StandIns::append(std::string_view text, bool isRaw, std::string& out) {
  while (!text.empty()) {
    std::size_t length = 1;
    if (text.front() == '&' && !isRaw) {
      length = referenceLength(text);
    } else if (!isHtmlSpace(text.front())) {
      length = runLength(text, isRaw ? kEndsRawRun : kEndsRun);
      if (length >= kShortestRun && runs_.size() < kMaxRuns) {
        appendStandIn(runs_.size(), out);
        runs_.push_back(text.substr(0, length));
        text.remove_prefix(length);
        continue;
      }
      length = std::max<std::size_t>(length, 1);
    }
    out += text.substr(0, length);
    text.remove_prefix(length);
  }
}

const std::string_view* StandIns::runAt(std::string_view text) const {
  if (text.size() < kLength) {
    return nullptr;
  }
  const auto bits = [text](std::size_t i) { return static_cast<std::uint32_t>(text[i] & 0x3F); };
  const std::size_t index = (bits(1) << 12 | bits(2) << 6 | bits(3)) - (kFirst & 0x3FFFF);
  return index < runs_.size() ? &runs_[index] : nullptr;
}

bool StandIns::areIn(std::string_view text) {
  return text.find(kLead) != std::string_view::npos;
}

std::size_t StandIns::restoredLength(std::string_view text) const {
  std::size_t length = text.size();
  for (std::size_t at = text.find(kLead); at != std::string_view::npos;
       at = text.find(kLead, at + 1)) {
    if (const std::string_view* const run = runAt(text.substr(at))) {
      length += run->size() - kLength;
    }
  }
  return length;
}

void StandIns::restore(std::string_view text, char* out) const {
  while (!text.empty()) {
    const std::size_t before = std::min(text.find(kLead), text.size());
    out = std::copy_n(text.data(), before, out);
    text.remove_prefix(before);
    if (text.empty()) {
      return;
    }
    if (const std::string_view* const run = runAt(text)) {
      out = std::copy(run->begin(), run->end(), out);
      text.remove_prefix(kLength);
    } else {
      *out++ = text.front();
      text.remove_prefix(1);
    }
  }
}

}  // namespace brennox::html
