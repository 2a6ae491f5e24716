#include "rfc822/plain_parameters.h"

#include "rfc822/cursor.h"
#include "text/ascii.h"

namespace brennox::rfc822 {
namespace {

#define BRENNOX_LETTERS "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_"
constexpr text::CharacterSet kInName(BRENNOX_LETTERS);
constexpr text::CharacterSet kInValue(BRENNOX_LETTERS ".+/");
constexpr text::CharacterSet kInToken(BRENNOX_LETTERS ".+");
#undef BRENNOX_LETTERS
// What ends a quoted string, or may mean more in it than itself: a percent sign where the marks of
// an encoding stand before it, an equals sign where it begins an encoded-word.
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
  const Cursor::Checkpoint start = in.checkpoint();
  in.takeUntil(kNotPlainInQuotes);
  while (in.peek() == '=' && in.peek(1) != '?') {
    in.skip();
    in.takeUntil(kNotPlainInQuotes);
  }
  value = in.since(start);
  return in.take('"');
}

}  // namespace

std::string_view PlainParameters::get(std::string_view name) const {
  for (std::size_t i = 0; i < count; ++i) {
    if (text::equalsIgnoringCase(parameters[i].name, name)) {
      return parameters[i].value;
    }
  }
  return {};
}

std::string_view PlainParameters::type() const {
  return std::string_view(value).substr(0, value.find('/'));
}

std::string_view PlainParameters::subtype() const {
  const std::size_t slash = value.find('/');
  return slash == std::string::npos ? std::string_view()
                                    : std::string_view(value).substr(slash + 1);
}

std::optional<PlainParameters> readPlainParameters(std::string_view raw) {
  PlainParameters result;
  Cursor in(raw);
  in.skipWhiteSpace();
  text::appendLowered(take(in, kInValue), result.value);
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
