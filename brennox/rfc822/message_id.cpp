#include "rfc822/message_id.h"

#include "core/unique_token.h"
#include "text/ascii.h"
#include "text/charset.h"
#include "text/encoded_word.h"

namespace brennox::rfc822 {
namespace {

// More references than any reader follows.
constexpr std::size_t kMaxIDs = 4096;

constexpr text::CharacterSet kBrackets("<>");

// The text of an identifier: without line ends and the white space around them.
std::string unfolded(std::string_view raw) {
  raw = text::trimmed(raw);
  std::string id;
  id.reserve(raw.size());
  for (std::size_t i = 0; i < raw.size(); ++i) {
    if (raw[i] != '\r' && raw[i] != '\n') {
      id += raw[i];
      continue;
    }
    while (!id.empty() && text::isBlank(id.back())) {
      id.pop_back();
    }
    while (i + 1 < raw.size() && text::isSpace(raw[i + 1])) {
      ++i;
    }
  }
  return text::isAscii(id) && id.find('\0') == std::string::npos ? id : text::decodeRawText(id);
}

std::string_view nextWord(std::string_view& rest) {
  while (!rest.empty() && (text::isSpace(rest.front()) || rest.front() == ',')) {
    rest.remove_prefix(1);
  }
  std::size_t length = 0;
  while (length < rest.size() && !text::isSpace(rest[length]) && rest[length] != ',') {
    ++length;
  }
  const std::string_view word = rest.substr(0, length);
  rest.remove_prefix(length);
  return word;
}

void parseBareIDs(std::string_view raw, std::vector<std::string>& out) {
  std::string_view rest = raw;
  const std::string_view first = nextWord(rest);
  if (first.empty()) {
    return;
  }
  if (text::trimmed(rest).empty()) {
    out.push_back(unfolded(first));
    return;
  }
  rest = raw;
  for (std::string_view word = nextWord(rest); !word.empty() && out.size() < kMaxIDs;
       word = nextWord(rest)) {
    if (word.find('@') != std::string_view::npos) {
      out.push_back(unfolded(word));
    }
  }
}

}  // namespace

void parseMessageIDs(std::string_view raw, std::vector<std::string>& out) {
  std::size_t open = raw.find('<');
  if (open == std::string_view::npos) {
    parseBareIDs(raw, out);
    return;
  }
  while (open != std::string_view::npos && out.size() < kMaxIDs) {
    // One that does not close ends where the next one begins.
    std::size_t end = kBrackets.findIn(raw, open + 1);
    if (end == std::string_view::npos) {
      end = raw.size();
    }
    std::string id = unfolded(raw.substr(open + 1, end - open - 1));
    if (!id.empty()) {
      out.push_back(std::move(id));
    }
    open = raw.find('<', end);
  }
}

std::string parseMessageID(std::string_view raw) {
  if (raw.find('<') == std::string_view::npos) {
    return unfolded(raw);
  }
  std::vector<std::string> ids;
  parseMessageIDs(raw, ids);
  return ids.empty() ? std::string() : std::move(ids.front());
}

std::string newMessageID(std::string_view domain) {
  std::string id = core::uniqueToken();
  id += '@';
  const std::size_t start = id.size();
  for (const char c : domain) {
    if (text::isAlpha(c) || text::isDigit(c) || c == '-' || (c == '.' && id.back() != '.')) {
      id += text::toLower(c);
    }
  }
  constexpr std::size_t kMaxDomain = 255;
  const std::string_view used(id.data() + start, id.size() - start);
  if (used.empty() || used.size() > kMaxDomain || used.front() == '.' || used.back() == '.') {
    id.resize(start);
    id += "localhost";
  }
  return id;
}

}  // namespace brennox::rfc822
