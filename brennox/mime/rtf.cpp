// RTF is a stream of groups, control words and text. Groups nest; what a group sets ends with it.
#include "mime/rtf.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include "text/ascii.h"
#include "text/charset.h"

namespace brennox::mime {
namespace {

// Groups below this depth are read as part of the group at it.
constexpr std::size_t kMaxGroups = 1000;
// Control words are short; what is longer is none that we know.
constexpr std::size_t kMaxWord = 32;

struct Group {
  bool skipped = false;  // a destination that holds no text of the message
  bool htmlTag = false;  // original HTML
  bool htmlRtf = false;  // text that only RTF readers show
  int unicodeSkip = 1;   // characters that stand for one \u to old readers
};

class RtfReader {
 public:
  explicit RtfReader(std::string_view rtf) : at_(rtf.data()), end_(rtf.data() + rtf.size()) {}

  RtfContent run() {
    while (at_ < end_) {
      const char c = *at_++;
      switch (c) {
        case '{':
          open();
          break;
        case '}':
          close();
          break;
        case '\\':
          control();
          break;
        case '\r':
        case '\n':
          break;
        default:
          byte(c);
      }
    }
    flush();
    RtfContent content;
    (fromHtml_ ? content.html : content.plain) = std::move(out_);
    return content;
  }

 private:
  void open() {
    if (stack_.size() < kMaxGroups) {
      stack_.push_back(group_);
    } else {
      ++tooDeep_;
    }
    group_.htmlTag = false;
    pendingSkip_ = 0;
  }

  void close() {
    pendingSkip_ = 0;
    if (tooDeep_ > 0) {
      --tooDeep_;
    } else if (!stack_.empty()) {
      group_ = stack_.back();
      stack_.pop_back();
    }
  }

  bool silent() const { return group_.skipped || (fromHtml_ && group_.htmlRtf && !group_.htmlTag); }

  // One byte of text in the document's code page.
  void byte(char c) {
    if (pendingSkip_ > 0) {
      --pendingSkip_;
    } else if (!silent()) {
      bytes_ += c;
    }
  }

  void text(std::string_view utf8) {
    if (!silent()) {
      flush();
      out_ += utf8;
    }
  }

  void flush() {
    if (!bytes_.empty()) {
      flushSurrogate();
      out_ += text::decodeText(bytes_, "windows-" + std::to_string(codepage_));
      bytes_.clear();
    }
  }

  void flushSurrogate() {
    if (highSurrogate_ != 0) {
      out_ += "\xEF\xBF\xBD";
      highSurrogate_ = 0;
    }
  }

  void unicode(int value) {
    const auto unit = static_cast<std::uint32_t>(value) & 0xFFFF;
    if (!silent()) {
      flush();
      appendUnit(unit);
    }
    pendingSkip_ = group_.unicodeSkip;
  }

  void appendUnit(std::uint32_t unit) {
    if (unit >= 0xD800 && unit < 0xDC00) {
      flushSurrogate();
      highSurrogate_ = unit;
      return;
    }
    if (unit >= 0xDC00 && unit < 0xE000) {
      if (highSurrogate_ != 0) {
        const std::uint32_t c = 0x10000 + ((highSurrogate_ - 0xD800) << 10) + (unit - 0xDC00);
        highSurrogate_ = 0;
        out_ += static_cast<char>(0xF0 | c >> 18);
        out_ += static_cast<char>(0x80 | (c >> 12 & 63));
        out_ += static_cast<char>(0x80 | (c >> 6 & 63));
        out_ += static_cast<char>(0x80 | (c & 63));
      } else {
        out_ += "\xEF\xBF\xBD";
      }
      return;
    }
    flushSurrogate();
    if (unit < 0x80) {
      out_ += static_cast<char>(unit);
    } else if (unit < 0x800) {
      out_ += static_cast<char>(0xC0 | unit >> 6);
      out_ += static_cast<char>(0x80 | (unit & 63));
    } else {
      out_ += static_cast<char>(0xE0 | unit >> 12);
      out_ += static_cast<char>(0x80 | (unit >> 6 & 63));
      out_ += static_cast<char>(0x80 | (unit & 63));
    }
  }

  void control() {
    if (at_ == end_) {
      return;
    }
    const char c = *at_;
    if (!text::isAlpha(c)) {
      ++at_;
      symbol(c);
      return;
    }
    const char* const start = at_;
    while (at_ < end_ && text::isAlpha(*at_)) {
      ++at_;
    }
    const std::string_view word(start, static_cast<std::size_t>(at_ - start));
    bool negative = false;
    bool hasValue = false;
    int value = 0;
    if (end_ - at_ >= 2 && *at_ == '-' && text::isDigit(at_[1])) {
      negative = true;
      ++at_;
    }
    for (; at_ < end_ && text::isDigit(*at_); ++at_) {
      hasValue = true;
      value = value < 100'000'000 ? value * 10 + (*at_ - '0') : value;
    }
    if (at_ < end_ && *at_ == ' ') {
      ++at_;
    }
    if (word.size() <= kMaxWord) {
      controlWord(word, hasValue, negative ? -value : value);
    }
  }

  void symbol(char c) {
    switch (c) {
      case '\'':
        if (end_ - at_ >= 2 && text::hexValue(at_[0]) >= 0 && text::hexValue(at_[1]) >= 0) {
          byte(static_cast<char>(text::hexValue(at_[0]) * 16 + text::hexValue(at_[1])));
          at_ += 2;
        }
        break;
      case '*':
        group_.skipped = true;
        starred_ = true;
        return;
      case '~':
        text("\xC2\xA0");
        break;
      case '_':
        text("-");
        break;
      case '\r':
      case '\n':
        lineBreak();
        break;
      case '\\':
      case '{':
      case '}':
        byte(c);
        break;
      default:
        break;
    }
    starred_ = false;
  }

  void lineBreak() { text(fromHtml_ ? "\r\n" : "\n"); }

  void controlWord(std::string_view word, bool hasValue, int value) {
    const bool starred = starred_;
    starred_ = false;
    if (starred) {
      if (word == "htmltag" && fromHtml_) {
        group_.skipped = false;
        group_.htmlTag = true;
      }
      return;
    }
    if (word == "par" || word == "line" || word == "row" || word == "sect" || word == "page") {
      lineBreak();
    } else if (word == "tab" || word == "cell") {
      text("\t");
    } else if (word == "u") {
      unicode(value);
    } else if (word == "uc") {
      group_.unicodeSkip = value < 0 || value > 16 ? 1 : value;
    } else if (word == "htmlrtf") {
      group_.htmlRtf = !hasValue || value != 0;
    } else if (word == "fromhtml") {
      fromHtml_ = true;
    } else if (word == "ansicpg") {
      if (value > 0 && value < 100'000) {
        codepage_ = value;
      }
    } else if (word == "emdash") {
      text("\xE2\x80\x94");
    } else if (word == "endash") {
      text("\xE2\x80\x93");
    } else if (word == "lquote") {
      text("\xE2\x80\x98");
    } else if (word == "rquote") {
      text("\xE2\x80\x99");
    } else if (word == "ldblquote") {
      text("\xE2\x80\x9C");
    } else if (word == "rdblquote") {
      text("\xE2\x80\x9D");
    } else if (word == "bullet") {
      text("\xE2\x80\xA2");
    } else if (word == "fonttbl" || word == "colortbl" || word == "stylesheet" || word == "info" ||
               word == "pict" || word == "object" || word == "header" || word == "footer" ||
               word == "headerl" || word == "headerr" || word == "headerf" || word == "footerl" ||
               word == "footerr" || word == "footerf" || word == "fldinst" || word == "footnote") {
      group_.skipped = true;
    }
  }

  const char* at_;
  const char* const end_;
  std::string out_;
  std::string bytes_;
  std::vector<Group> stack_;
  Group group_;
  std::size_t tooDeep_ = 0;
  int codepage_ = 1252;
  int pendingSkip_ = 0;
  std::uint32_t highSurrogate_ = 0;
  bool starred_ = false;
  bool fromHtml_ = false;
};

}  // namespace

RtfContent readRtf(std::string_view rtf) {
  // Without its opening it is no RTF.
  return rtf.substr(0, 5) == "{\\rtf" ? RtfReader(rtf).run() : RtfContent();
}

}  // namespace brennox::mime
