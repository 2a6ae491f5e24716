// A long text is gone through in pieces of whole lines that stay in the cache: a look whether the
// piece is clean, which nearly every one is, and then one pass that copies what stands between line
// ends, markup characters and addresses.
#include "html/text_to_html.h"

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

// Writes lines of clean text one after the other, with their addresses as links.
class LineWriter {
 public:
  explicit LineWriter(TextBuffer& out) : out_(out) {}

  // Whole lines.
  void write(std::string_view lines) {
    text_ = lines;
    at_ = done_ = 0;
    while (at_ < text_.size()) {
      startLine();
      writeLine();
    }
  }

  void finish() {
    for (; depth_ > 0; --depth_) {
      out_ += kQuoteClosing;
    }
  }

 private:
  // Lines of one depth are a block, with breaks between them. An empty line at its end shows only
  // with a break of its own.
  void startLine() {
    const std::size_t depth = takeQuoteMarks();
    if (depth != depth_) {
      out_ += wasEmpty_ ? "<br>" : "";
      isFirst_ = true;
    }
    for (; depth_ > depth; --depth_) {
      out_ += kQuoteClosing;
    }
    for (; depth_ < depth; ++depth_) {
      out_ += kQuoteOpening;
    }
    out_ += isFirst_ ? "" : "<br>";
    isFirst_ = false;
    done_ = at_;
    wasEmpty_ = at_ == text_.size() || text_[at_] == '\n' || text_[at_] == '\r';
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

  void writeLine() {
    // ":" is in every address with a scheme, "@" in every mailbox, "www." starts a bare host.
    constexpr text::Scanner kMarks("\r\n&<>:@wW");
    hasMarkup_ = false;
    for (at_ = kMarks.find(text_, at_); at_ < text_.size(); at_ = kMarks.find(text_, at_)) {
      switch (text_[at_]) {
        case '\r':
        case '\n':
          writeUntil(at_);
          at_ += text_[at_] == '\r' ? 2 : 1;
          return;
        case '&':
        case '<':
        case '>':
          hasMarkup_ = true;
          ++at_;
          break;
        default:
          if (!tryLink()) {
            ++at_;
          }
      }
    }
    writeUntil(at_);
  }

  void writeUntil(std::size_t end) {
    writeText(text_.substr(done_, end - done_));
    done_ = end;
  }

  void writeText(std::string_view text) {
    if (!hasMarkup_) {
      out_ += text;
      return;
    }
    constexpr text::CharacterSet kMarkup("&<>");
    while (!text.empty()) {
      const std::size_t run = kMarkup.runBefore(text);
      out_ += text.substr(0, run);
      if (run == text.size()) {
        return;
      }
      out_ += text[run] == '&' ? "&amp;" : text[run] == '<' ? "&lt;" : "&gt;";
      text.remove_prefix(run + 1);
    }
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
    while (begin > done_ && text::isAlpha(text_[begin - 1]) && at_ - begin < 8) {
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
      skipTo(end);
      return true;
    }
    link(begin, url, std::string(url));
    return true;
  }

  bool bareHost() {
    const bool startsWord = at_ == 0 || (!isWordChar(text_[at_ - 1]) && text_[at_ - 1] != '.' &&
                                         text_[at_ - 1] != '/' && text_[at_ - 1] != '-');
    if (!startsWord || at_ < done_ || !text::startsWithIgnoringCase(text_.substr(at_), "www.")) {
      return false;
    }
    const std::size_t end = runEnd(at_);
    const std::string_view host = withoutTrailingPunctuation(text_.substr(at_, end - at_));
    const bool hasName = host.size() > 4 && isHostChar(host[4]) && host[4] != '.' &&
                         host.find('.', 4) != std::string_view::npos;
    if (!hasName || host.size() > kMaxLinkLength) {
      skipTo(end);
      return true;
    }
    link(at_, host, "http://" + std::string(host));
    return true;
  }

  bool mailbox() {
    constexpr std::size_t kMaxLocalPart = 64;
    constexpr std::size_t kMaxHost = 255;
    std::size_t begin = at_;
    while (begin > done_ && at_ - begin <= kMaxLocalPart && isMailboxChar(text_[begin - 1])) {
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
    writeUntil(begin);
    if (url) {
      out_ += "<a href=\"";
      out_ += escaped(*url);
      out_ += "\" rel=\"noopener noreferrer\" target=\"_blank\">";
    }
    skipTo(begin + text.size());
    writeUntil(at_);
    out_ += url ? "</a>" : "";
  }

  // What is passed over has not been looked at for markup.
  void skipTo(std::size_t end) {
    hasMarkup_ = true;
    at_ = end;
  }

  TextBuffer& out_;
  // State between lines.
  std::size_t depth_ = 0;
  bool isFirst_ = true;
  bool wasEmpty_ = false;
  // The lines that are being written. What stands before `done_` has been.
  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t done_ = 0;
  // What is not written yet may hold characters to escape.
  bool hasMarkup_ = false;
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
    if (text::isCleanText(piece)) {
      writer.write(piece);
    } else {
      writer.write(cleanedText(piece));
    }
  }
  writer.finish();
  out += "</div>";
  out += kPartClosing;
}

}  // namespace brennox::html
