#include "rfc822/subject.h"

#include "text/ascii.h"

namespace brennox::rfc822 {
namespace {

// In lower case; the two Cyrillic ones in both cases, since only ASCII is folded.
constexpr std::string_view kPrefixes[] = {"re",   "fwd",  "fw",   "aw",   "wg",   "sv",  "vs",
                                          "vb",   "tr",   "rv",   "enc",  "odp",  "pd",  "rif",
                                          "antw", "ynt",  "ilt",  "res",  "Отв",  "отв", "Пересл",
                                          "На",   "回复", "答复", "转发", "回覆", "轉寄"};
constexpr std::string_view kFullWidthColon = "：";

// The length of a prefix with its counter and colon at the start of `subject`, else 0.
std::size_t prefixLength(std::string_view subject) {
  for (const std::string_view prefix : kPrefixes) {
    if (!text::startsWithIgnoringCase(subject, prefix)) {
      continue;
    }
    std::size_t at = prefix.size();
    if (at < subject.size() && (subject[at] == '[' || subject[at] == '(' || subject[at] == '^')) {
      ++at;
      while (at < subject.size() && text::isDigit(subject[at])) {
        ++at;
      }
      if (at < subject.size() && (subject[at] == ']' || subject[at] == ')')) {
        ++at;
      }
    }
    while (at < subject.size() && subject[at] == ' ') {
      ++at;
    }
    if (at < subject.size() && subject[at] == ':') {
      return at + 1;
    }
    if (subject.substr(at, kFullWidthColon.size()) == kFullWidthColon) {
      return at + kFullWidthColon.size();
    }
  }
  return 0;
}

}  // namespace

std::string_view baseSubject(std::string_view subject) {
  subject = text::trimmed(subject);
  for (std::size_t length = prefixLength(subject); length != 0; length = prefixLength(subject)) {
    subject = text::trimmed(subject.substr(length));
  }
  constexpr std::string_view kForwarded = "(fwd)";
  while (subject.size() >= kForwarded.size() &&
         text::equalsIgnoringCase(subject.substr(subject.size() - kForwarded.size()), kForwarded)) {
    subject = text::trimmed(subject.substr(0, subject.size() - kForwarded.size()));
  }
  return subject;
}

}  // namespace brennox::rfc822
