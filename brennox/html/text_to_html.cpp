#include "html/text_to_html.h"

#include <algorithm>
#include <optional>

#include "html/escape.h"
#include "html/sanitizer.h"
#include "html/url.h"
#include "text/ascii.h"

namespace brennox::html {
namespace {

constexpr std::string_view kOpening =
    "<div class=\"bx-text\" style=\"white-space:pre-wrap;overflow-wrap:anywhere\">";
constexpr std::string_view kQuoteOpening =
    "<blockquote type=\"cite\" style=\"margin:0 0 0 2px;padding:0 0 0 10px;"
    "border-left:2px solid #b6bdc5;color:#59636e\">";
constexpr std::string_view kQuoteClosing = "</blockquote>";

// The quote marks at the start of a line, taken off it: ">> text", "> > text". One space after the
// last mark belongs to them.
std::size_t takeQuoteMarks(std::string_view& line) {
  std::size_t depth = 0;
  while (depth < kMaxQuoteDepth && !line.empty() && line[0] == '>') {
    ++depth;
    line.remove_prefix(1);
    if (line.size() > 1 && line[0] == ' ' && line[1] == '>') {
      line.remove_prefix(1);
    }
  }
  if (depth > 0 && !line.empty() && line[0] == ' ') {
    line.remove_prefix(1);
  }
  return depth;
}

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

// Writes one line with its addresses as links.
class LineWriter {
 public:
  LineWriter(std::string_view line, std::string& out) : line_(line), out_(out) {}

  void write() {
    // ":" is in every address with a scheme, "@" in every mailbox, "www." starts a bare host.
    constexpr text::CharacterSet kMarks(":@wW");
    for (at_ = kMarks.findIn(line_); at_ != std::string_view::npos;
         at_ = kMarks.findIn(line_, at_)) {
      if (!tryLink()) {
        ++at_;
      }
    }
    appendEscapedText(line_.substr(done_), out_);
  }

 private:
  bool tryLink() {
    switch (line_[at_]) {
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
    while (begin > done_ && text::isAlpha(line_[begin - 1]) && at_ - begin < 8) {
      --begin;
    }
    return begin;
  }

  std::size_t runEnd(std::size_t from) const {
    std::size_t end = from;
    while (end < line_.size() && isAddressChar(line_[end])) {
      ++end;
    }
    return end;
  }

  bool scheme() {
    const std::size_t begin = wordBegin();
    const std::string name = text::lowered(line_.substr(begin, at_ - begin));
    const bool isWeb = name == "http" || name == "https";
    if (!isWeb && name != "mailto") {
      return false;
    }
    const std::string_view slashes = isWeb ? "://" : ":";
    if (line_.substr(at_, slashes.size()) != slashes) {
      return false;
    }
    const std::size_t rest = at_ + slashes.size();
    const std::size_t end = runEnd(rest);
    const std::string_view url = withoutTrailingPunctuation(line_.substr(begin, end - begin));
    if (begin + url.size() <= rest || url.size() > kMaxLinkLength) {
      // Looked at once; a long run is not looked at again.
      at_ = end;
      return true;
    }
    link(begin, url, std::string(url));
    return true;
  }

  bool bareHost() {
    const bool startsWord = at_ == 0 || (!isWordChar(line_[at_ - 1]) && line_[at_ - 1] != '.' &&
                                         line_[at_ - 1] != '/' && line_[at_ - 1] != '-');
    if (!startsWord || at_ < done_ || !text::startsWithIgnoringCase(line_.substr(at_), "www.")) {
      return false;
    }
    const std::size_t end = runEnd(at_);
    const std::string_view host = withoutTrailingPunctuation(line_.substr(at_, end - at_));
    const bool hasName = host.size() > 4 && isHostChar(host[4]) && host[4] != '.' &&
                         host.find('.', 4) != std::string_view::npos;
    if (!hasName || host.size() > kMaxLinkLength) {
      at_ = end;
      return true;
    }
    link(at_, host, "http://" + std::string(host));
    return true;
  }

  bool mailbox() {
    constexpr std::size_t kMaxLocalPart = 64;
    constexpr std::size_t kMaxHost = 255;
    std::size_t begin = at_;
    while (begin > done_ && at_ - begin <= kMaxLocalPart && isMailboxChar(line_[begin - 1])) {
      --begin;
    }
    while (begin < at_ && !isWordChar(line_[begin])) {
      ++begin;
    }
    std::size_t end = at_ + 1;
    while (end < line_.size() && end - at_ <= kMaxHost && isHostChar(line_[end])) {
      ++end;
    }
    const std::string_view host = withoutTrailingPunctuation(line_.substr(at_ + 1, end - at_ - 1));
    if (begin == at_ || at_ - begin > kMaxLocalPart || host.size() > kMaxHost ||
        host.find('.') == std::string_view::npos || !isWordChar(host.front()) ||
        !text::isAlpha(host.back())) {
      return false;
    }
    const std::string_view address = line_.substr(begin, at_ + 1 + host.size() - begin);
    link(begin, address, "mailto:" + std::string(address));
    return true;
  }

  void link(std::size_t begin, std::string_view text, const std::string& target) {
    const std::optional<std::string> url = linkUrl(target);
    appendEscapedText(line_.substr(done_, begin - done_), out_);
    if (url) {
      out_ += "<a href=\"";
      appendEscaped(*url, out_);
      out_ += "\" rel=\"noopener noreferrer\" target=\"_blank\">";
    }
    appendEscapedText(text, out_);
    out_ += url ? "</a>" : "";
    done_ = at_ = begin + text.size();
  }

  std::string_view line_;
  std::string& out_;
  std::size_t at_ = 0;
  // What stands before it has been written.
  std::size_t done_ = 0;
};

}  // namespace

std::string textToHtml(std::string_view input) {
  const std::string text = cleanedText(input);
  std::string_view rest = text;
  while (!rest.empty() && (rest.back() == '\n' || rest.back() == ' ')) {
    rest.remove_suffix(1);
  }
  std::string out(kPartOpening);
  out += kOpening;
  std::size_t depth = 0;
  // Lines of one depth are a block, with breaks between them. An empty line at its end shows only
  // with a break of its own.
  bool isFirst = true;
  bool wasEmpty = false;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    const std::size_t lineDepth = takeQuoteMarks(line);
    if (lineDepth != depth) {
      out += wasEmpty ? "<br>" : "";
      isFirst = true;
    }
    for (; depth > lineDepth; --depth) {
      out += kQuoteClosing;
    }
    for (; depth < lineDepth; ++depth) {
      out += kQuoteOpening;
    }
    out += isFirst ? "" : "<br>";
    LineWriter(line, out).write();
    isFirst = false;
    wasEmpty = line.empty();
  }
  for (; depth > 0; --depth) {
    out += kQuoteClosing;
  }
  out += "</div>";
  out += kPartClosing;
  return out;
}

}  // namespace brennox::html
