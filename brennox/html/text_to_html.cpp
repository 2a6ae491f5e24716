// A long text is gone through in pieces of whole lines that stay in the cache, in one pass that
// copies what stands between line ends, markup and addresses. Texts hardly ever hold anything that
// has to be cleaned: a piece that does is written once more after that.
#include "html/text_to_html.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "core/TextBuffer.h"
#include "html/escape.h"
#include "html/sanitizer.h"
#include "html/url.h"
#include "text/ascii.h"
#include "text/charset.h"
#include "text/scan.h"

namespace brennox::html {
namespace {

constexpr std::string_view kOpening =
    "<div class=\"bx-text\" style=\"white-space:pre-wrap;overflow-wrap:anywhere\">";
constexpr std::string_view kQuoteOpening =
    "<blockquote type=\"cite\" style=\"margin:0 0 0 2px;padding:0 0 0 10px;"
    "border-left:2px solid #b6bdc5;color:#59636e\">";
constexpr std::string_view kQuoteClosing = "</blockquote>";

constexpr bool isAddressChar(char c) {
  return static_cast<unsigned char>(c) > ' ' && c != '<' && c != '>' && c != '"' && c != '`' &&
         c != 0x7F;
}

constexpr bool isMailboxChar(char c) {
  return text::isAlpha(c) || text::isDigit(c) ||
         std::string_view("!#$%&'*+-/=?^_{|}~.").find(c) != std::string_view::npos;
}

constexpr bool isHostChar(char c) {
  return text::isAlpha(c) || text::isDigit(c) || c == '-' || c == '.';
}

constexpr bool isWordChar(char c) {
  return text::isAlpha(c) || text::isDigit(c) || static_cast<unsigned char>(c) >= 0x80;
}

// What ends a sentence does not end an address; neither does a bracket that was opened before it.
std::string_view withoutTrailingPunctuation(std::string_view url) {
  std::size_t open = 0;
  std::size_t close = 0;
  for (const char c : url) {
    open += c == '(' ? 1 : 0;
    close += c == ')' ? 1 : 0;
  }
  while (!url.empty()) {
    const char c = url.back();
    if (c == ')' && close > open) {
      --close;
    } else if (std::string_view(".,:;!?'*_~]}|").find(c) == std::string_view::npos) {
      break;
    }
    url.remove_suffix(1);
  }
  return url;
}

// Without the empty lines at the end, and what cleaning would leave of them.
std::string_view withoutBlankEnd(std::string_view text) {
  const auto isC1End = [](std::string_view end) {
    return end.size() >= 2 && end[end.size() - 2] == '\xC2' &&
           (static_cast<std::uint8_t>(end.back()) & 0xE0) == 0x80;
  };
  while (!text.empty()) {
    const auto last = static_cast<std::uint8_t>(text.back());
    if (isC1End(text)) {
      text.remove_suffix(2);
    } else if ((last <= ' ' && last != '\t') || last == 0x7F) {
      text.remove_suffix(1);
    } else {
      break;
    }
  }
  return text;
}

// A character that stands for nothing, ever: U+FDD0 to U+FDEF, and the last two of each plane.
// Builders of trees replace them, and so what is read would not be what was written. `text` begins
// with EF or a higher byte and is valid.
bool isNoncharacter(std::string_view text) {
  const auto at = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const std::size_t length = text::utf8Length(text[0]);
  if (length < 3 || text.size() < length) {
    return false;
  }
  if (at(0) == 0xEF && at(1) == 0xB7) {
    return at(2) >= 0x90 && at(2) <= 0xAF;
  }
  return (at(length - 3) & 0x0F) == 0x0F && at(length - 2) == 0xBF && at(length - 1) >= 0xBE;
}

bool hasHighBytes(std::string_view text) {
  // All bytes, without a way out of the loop: the compiler then looks at many at a time.
  std::uint8_t highest = 0;
  for (const char c : text) {
    highest = std::max(highest, static_cast<std::uint8_t>(c));
  }
  return highest >= 0xEF;
}

// With U+FFFD for them; empty where there is none.
std::string withoutNoncharacters(std::string_view text) {
  std::string result;
  std::size_t done = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (static_cast<std::uint8_t>(text[at]) >= 0xEF && isNoncharacter(text.substr(at))) {
      result += text.substr(done, at - done);
      result += "\xEF\xBF\xBD";
      done = at + text::utf8Length(text[at]);
    }
  }
  return done == 0 ? std::string() : result.append(text.substr(done));
}

// ":" is in every address with a scheme, "@" in every mailbox, "www." starts a bare host. C2 begins
// the control characters beyond ASCII.
constexpr text::Scanner kLineStops(text::CharacterSet("&<>:@wW\xC2").withControls().without("\t"));
constexpr text::CharacterSet kAddressStops("&<>\xC2");

// Writes lines one after the other, with their addresses as links.
class LineWriter {
 public:
  explicit LineWriter(TextBuffer& out) : out_(out) {}

  // Whole lines.
  void write(std::string_view lines) {
    std::string replaced;
    if (hasHighBytes(lines)) {
      replaced = withoutNoncharacters(lines);
      lines = replaced.empty() ? lines : replaced;
    }
    const State before = state_;
    const std::size_t size = out_.size();
    if (!writeClean(lines)) {
      state_ = before;
      out_.truncate(size);
      writeClean(cleanedText(lines));
    }
  }

  void finish() {
    for (; state_.depth > 0; --state_.depth) {
      out_ += kQuoteClosing;
    }
  }

 private:
  // What lines leave behind for the next ones.
  struct State {
    std::size_t depth = 0;
    bool isFirst = true;
    bool wasEmpty = false;
  };

  // False at the first character that cleaning would change.
  bool writeClean(std::string_view lines) {
    text_ = lines;
    at_ = 0;
    isClean_ = true;
    while (at_ < text_.size()) {
      startLine();
      if (!writeLine()) {
        return false;
      }
    }
    return true;
  }

  // Lines of one depth are a block, with breaks between them. An empty line at its end shows only
  // with a break of its own.
  void startLine() {
    const std::size_t depth = takeQuoteMarks();
    if (depth != state_.depth) {
      out_ += state_.wasEmpty ? "<br>" : "";
      state_.isFirst = true;
    }
    for (; state_.depth > depth; --state_.depth) {
      out_ += kQuoteClosing;
    }
    for (; state_.depth < depth; ++state_.depth) {
      out_ += kQuoteOpening;
    }
    if (!state_.isFirst) {
      out_ += "<br>";
    }
    state_.isFirst = false;
    state_.wasEmpty = at_ == text_.size() || stands('\n', at_) || stands('\r', at_);
    free_ = at_;
  }

  bool stands(char c, std::size_t at) const { return at < text_.size() && text_[at] == c; }

  // The quote marks at the start of a line: ">> text", "> > text". One space after the last mark
  // belongs to them.
  std::size_t takeQuoteMarks() {
    std::size_t depth = 0;
    while (depth < kMaxQuoteDepth && stands('>', at_)) {
      ++depth;
      at_ += stands(' ', at_ + 1) && stands('>', at_ + 2) ? 2 : 1;
    }
    at_ += depth > 0 && stands(' ', at_) ? 1 : 0;
    return depth;
  }

  bool writeLine() {
    for (;;) {
      const std::string_view rest = text_.substr(at_);
      const std::size_t run =
          kLineStops.copyRun(rest, out_.room(rest.size() + text::Scanner::kOverhang));
      out_.wrote(run);
      at_ += run;
      if (run == rest.size()) {
        return true;
      }
      const char c = text_[at_];
      switch (c) {
        case '\r':
        case '\n':
          at_ += c == '\r' ? 2 : 1;
          return c == '\n' || stands('\n', at_ - 1);
        case '&':
        case '<':
        case '>':
          writeMarkup(c);
          ++at_;
          break;
        case ':':
        case '@':
        case 'w':
        case 'W':
          if (!tryLink()) {
            out_ += c;
            ++at_;
          } else if (!isClean_) {
            return false;
          }
          break;
        case '\xC2':
          if (isC1(at_)) {
            return false;
          }
          out_ += c;
          ++at_;
          break;
        default:
          return false;
      }
    }
  }

  void writeMarkup(char c) { out_ += c == '&' ? "&amp;" : c == '<' ? "&lt;" : "&gt;"; }

  // A control character beyond ASCII.
  bool isC1(std::size_t at) const {
    return text_[at] == '\xC2' && at + 1 < text_.size() &&
           static_cast<std::uint8_t>(text_[at + 1]) < 0xA0;
  }

  // Writes an address, or what is too long to be one.
  void writeUntil(std::size_t end) {
    while (at_ < end) {
      const std::size_t run = kAddressStops.runBefore(text_.substr(at_, end - at_));
      out_ += text_.substr(at_, run);
      at_ += run;
      if (at_ == end) {
        return;
      }
      if (text_[at_] == '\xC2') {
        isClean_ = isClean_ && !isC1(at_);
        out_ += text_[at_];
      } else {
        writeMarkup(text_[at_]);
      }
      ++at_;
    }
  }

  // Takes back what was written from `begin` on, a mailbox or a word.
  void unwriteFrom(std::size_t begin) {
    const std::string_view written = text_.substr(begin, at_ - begin);
    const auto escapes = static_cast<std::size_t>(std::count(written.begin(), written.end(), '&'));
    out_.truncate(out_.size() - written.size() - escapes * (std::string_view("&amp;").size() - 1));
    at_ = begin;
  }

  bool tryLink() {
    switch (text_[at_]) {
      case ':':
        return scheme();
      case '@':
        return mailbox();
      default:
        return bareHost();
    }
  }

  std::size_t wordBegin() const {
    std::size_t begin = at_;
    while (begin > free_ && text::isAlpha(text_[begin - 1]) && at_ - begin < 8) {
      --begin;
    }
    return begin;
  }

  std::size_t runEnd(std::size_t from) const {
    std::size_t end = from;
    while (end < text_.size() && isAddressChar(text_[end])) {
      ++end;
    }
    return end;
  }

  bool scheme() {
    const std::size_t begin = wordBegin();
    const std::string_view name = text_.substr(begin, at_ - begin);
    const bool isWeb =
        text::equalsIgnoringCase(name, "http") || text::equalsIgnoringCase(name, "https");
    if (!isWeb && !text::equalsIgnoringCase(name, "mailto")) {
      return false;
    }
    const std::string_view slashes = isWeb ? "://" : ":";
    if (text_.substr(at_, slashes.size()) != slashes) {
      return false;
    }
    const std::size_t rest = at_ + slashes.size();
    const std::size_t end = runEnd(rest);
    const std::string_view url = withoutTrailingPunctuation(text_.substr(begin, end - begin));
    if (begin + url.size() <= rest || url.size() > kMaxLinkLength) {
      // Looked at once; a long run is not looked at again.
      writeUntil(end);
      return true;
    }
    link(begin, url, std::string(url));
    return true;
  }

  bool bareHost() {
    const bool startsWord = at_ == 0 || (!isWordChar(text_[at_ - 1]) && text_[at_ - 1] != '.' &&
                                         text_[at_ - 1] != '/' && text_[at_ - 1] != '-');
    if (!startsWord || at_ < free_ || !text::startsWithIgnoringCase(text_.substr(at_), "www.")) {
      return false;
    }
    const std::size_t end = runEnd(at_);
    const std::string_view host = withoutTrailingPunctuation(text_.substr(at_, end - at_));
    const bool hasName = host.size() > 4 && isHostChar(host[4]) && host[4] != '.' &&
                         host.find('.', 4) != std::string_view::npos;
    if (!hasName || host.size() > kMaxLinkLength) {
      writeUntil(end);
      return true;
    }
    link(at_, host, "http://" + std::string(host));
    return true;
  }

  bool mailbox() {
    constexpr std::size_t kMaxLocalPart = 64;
    constexpr std::size_t kMaxHost = 255;
    std::size_t begin = at_;
    while (begin > free_ && at_ - begin <= kMaxLocalPart && isMailboxChar(text_[begin - 1])) {
      --begin;
    }
    while (begin < at_ && !isWordChar(text_[begin])) {
      ++begin;
    }
    std::size_t end = at_ + 1;
    while (end < text_.size() && end - at_ <= kMaxHost && isHostChar(text_[end])) {
      ++end;
    }
    const std::string_view host = withoutTrailingPunctuation(text_.substr(at_ + 1, end - at_ - 1));
    if (begin == at_ || at_ - begin > kMaxLocalPart || host.size() > kMaxHost ||
        host.find('.') == std::string_view::npos || !isWordChar(host.front()) ||
        !text::isAlpha(host.back())) {
      return false;
    }
    const std::string_view address = text_.substr(begin, at_ + 1 + host.size() - begin);
    link(begin, address, "mailto:" + std::string(address));
    return true;
  }

  void link(std::size_t begin, std::string_view text, const std::string& target) {
    const std::optional<std::string> url = linkUrl(target);
    unwriteFrom(begin);
    if (url) {
      out_ += "<a href=\"";
      out_ += escaped(*url);
      out_ += "\" rel=\"noopener noreferrer\" target=\"_blank\">";
    }
    writeUntil(begin + text.size());
    out_ += url ? "</a>" : "";
    free_ = at_;
  }

  TextBuffer& out_;
  State state_;
  // The lines that are being written, up to `at_`.
  std::string_view text_;
  std::size_t at_ = 0;
  // What stands before it belongs to the line's quote marks or an address.
  std::size_t free_ = 0;
  // No address has shown anything that cleaning would change.
  bool isClean_ = true;
};

}  // namespace

void appendAsHtml(std::string_view text, TextBuffer& out) {
  text = withoutBlankEnd(text);
  // Room for the breaks of lines that are not short.
  out.room(text.size() + text.size() / 16 + kPartOpening.size() + kOpening.size() + 64);
  out += kPartOpening;
  out += kOpening;
  LineWriter writer(out);
  while (!text.empty()) {
    const std::string_view piece = firstLines(text);
    text.remove_prefix(piece.size());
    writer.write(piece);
  }
  writer.finish();
  out += "</div>";
  out += kPartClosing;
}

}  // namespace brennox::html
