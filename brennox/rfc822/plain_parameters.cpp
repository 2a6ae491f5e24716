#include "rfc822/plain_parameters.h"

#include "rfc822/cursor.h"
#include "text/ascii.h"

namespace brennox::rfc822 {
namespace {

constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr text::CharacterSet kInName(kLetters);
constexpr text::CharacterSet kInValue("abcdefghijklmnopqrstuvwxyz0123456789-_.+/");
constexpr text::CharacterSet kInToken(
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.+");
// What ends a quoted string, or means more in it than itself. A percent sign may, where the marks
// of an encoding stand before it, and an equals sign begins encoded-words.
constexpr text::CharacterSet kNotPlainInQuotes =
    text::CharacterSet("\"\\%=").withControls().withNonAscii();

std::string_view take(Cursor& in, const text::CharacterSet& set) {
  return in.takeWhile([&set](char c) { return set.has(c); });
}

// Reads a parameter's value. False for one that is not plain.
bool readValue(Cursor& in, std::string_view& value) {
  if (!in.take('"')) {
    value = take(in, kInToken);
    return !value.empty();
  }
  value = in.takeUntil(kNotPlainInQuotes);
  return in.take('"');
}

}  // namespace

std::string_view PlainParameters::get(std::string_view name) const {
  for (std::size_t i = 0; i < count; ++i) {
    if (parameters[i].name == name) {
      return parameters[i].value;
    }
  }
  return {};
}

std::string_view PlainParameters::subtype() const {
  const std::size_t slash = value.find('/');
  return slash == std::string_view::npos ? std::string_view() : value.substr(slash + 1);
}

std::optional<PlainParameters> readPlainParameters(std::string_view raw) {
  PlainParameters result;
  Cursor in(raw);
  in.skipWhiteSpace();
  result.value = take(in, kInValue);
  if (result.value.empty() || result.value.front() == '/' || result.value.back() == '/') {
    return std::nullopt;
  }
  for (;;) {
    in.skipWhiteSpace();
    if (in.atEnd()) {
      return result;
    }
    if (!in.take(';')) {
      return std::nullopt;
    }
    in.skipWhiteSpace();
    if (in.atEnd()) {
      return result;
    }
    if (result.count == PlainParameters::kMax) {
      return std::nullopt;
    }
    PlainParameters::Parameter& parameter = result.parameters[result.count++];
    parameter.name = take(in, kInName);
    if (parameter.name.empty() || !in.take('=') || !readValue(in, parameter.value)) {
      return std::nullopt;
    }
  }
}

}  // namespace brennox::rfc822
