#include "pop/responses.h"

#include <algorithm>
#include <limits>

namespace brennox::pop {
namespace {

char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return upper(x) == upper(y); });
}

// The next word; `rest` loses it and the white space around it.
std::string_view takeWord(std::string_view* rest) {
  rest->remove_prefix(std::min(rest->size(), rest->find_first_not_of(" \t")));
  const std::size_t end = std::min(rest->size(), rest->find_first_of(" \t"));
  const std::string_view word = rest->substr(0, end);
  rest->remove_prefix(end);
  rest->remove_prefix(std::min(rest->size(), rest->find_first_not_of(" \t")));
  return word;
}

}  // namespace

void addCapability(std::string_view line, Capabilities* capabilities) {
  const std::string_view keyword = takeWord(&line);
  struct Flag {
    const char* name;
    bool Capabilities::*member;
  };
  static constexpr Flag kFlags[] = {{"USER", &Capabilities::user},
                                    {"TOP", &Capabilities::top},
                                    {"UIDL", &Capabilities::uidl},
                                    {"PIPELINING", &Capabilities::pipelining},
                                    {"UTF8", &Capabilities::utf8}};
  for (const Flag& flag : kFlags) {
    if (equalsIgnoringCase(keyword, flag.name)) {
      capabilities->*flag.member = true;
    }
  }
  if (equalsIgnoringCase(keyword, "SASL")) {
    while (!line.empty()) {
      capabilities->sasl.emplace_back(takeWord(&line));
    }
  }
}

std::string_view apopTimestamp(std::string_view greeting) {
  const std::size_t start = greeting.rfind('<');
  const std::size_t end = start == std::string_view::npos ? start : greeting.find('>', start);
  if (end == std::string_view::npos) {
    return {};
  }
  const std::string_view timestamp = greeting.substr(start, end - start + 1);
  const bool printable =
      std::all_of(timestamp.begin(), timestamp.end(), [](char c) { return c > ' ' && c < 0x7f; });
  return printable && timestamp.find('@') != std::string_view::npos ? timestamp
                                                                    : std::string_view();
}

std::optional<std::uint32_t> number(std::string_view text) {
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint32_t>::max();
  if (text.empty() || text[0] < '0' || text[0] > '9') {
    return std::nullopt;
  }
  std::uint64_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') {
      break;
    }
    value = std::min(value * 10 + static_cast<std::uint64_t>(c - '0'), kMax);
  }
  return static_cast<std::uint32_t>(value);
}

std::optional<ListLine> listLine(std::string_view line) {
  const std::optional<std::uint32_t> index = number(takeWord(&line));
  const std::string_view value = takeWord(&line);
  if (!index || *index == 0 || value.empty()) {
    return std::nullopt;
  }
  return ListLine{*index, value};
}

ErrorCode errorOf(std::string_view text, ErrorCode otherwise) {
  const std::size_t end = text.find(']');
  if (!text.starts_with('[') || end == std::string_view::npos) {
    return otherwise;
  }
  const std::string_view code = text.substr(1, end - 1);
  if (equalsIgnoringCase(code, "IN-USE")) {
    return ErrorMailboxInUse;
  }
  if (equalsIgnoringCase(code, "LOGIN-DELAY") || equalsIgnoringCase(code, "SYS/TEMP") ||
      equalsIgnoringCase(code, "SYS/PERM")) {
    return ErrorAccountUnavailable;
  }
  return equalsIgnoringCase(code, "AUTH") ? ErrorAuthentication : otherwise;
}

}  // namespace brennox::pop
