// Values with parameters: Content-Type, Content-Disposition (RFC 2045 section 5.1, RFC 2231).
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace brennox::rfc822 {

struct Parameter {
  std::string name;      // lower case, without the marks of RFC 2231
  std::string value;     // UTF-8
  std::string language;  // of RFC 2231, mostly empty
};

struct ParameterizedValue {
  // Lower case, white space and comments removed: "text/plain", "attachment". Empty when missing.
  std::string value;
  // In order; of several parameters with one name the first counts, one in RFC 2231 form before a
  // plain one.
  std::vector<Parameter> parameters;

  // The first of that name (lower case), or null.
  const std::string* find(std::string_view name) const;
  std::string_view get(std::string_view name) const;

  // The parts of a media type; empty when missing.
  std::string_view type() const;
  std::string_view subtype() const;
};

// Parses a raw field value, which may be folded. Continuations are joined in their numbers' order,
// missing quotes and semicolons are put up with, encoded-words are decoded; raw 8-bit values are
// UTF-8, else in `rawCharset`, else Windows-1252.
ParameterizedValue parseParameterized(std::string_view raw, std::string_view rawCharset = {});

// Only the value itself (`value` above), without looking at the parameters.
std::string parseParameterizedValue(std::string_view raw);

// Appends `; name=value`, as a token or in quotes, in RFC 2231 form (several continuations if need
// be) when it is not ASCII. `column` is the length of the current line and is kept up to date; the
// line is folded before it exceeds 78.
void appendParameter(std::string_view name, std::string_view value, std::size_t& column,
                     std::string& out);
// The same for old readers, which know encoded-words only: quoted ones when the value is not ASCII
// or does not fit on a line.
void appendParameterAsEncodedWord(std::string_view name, std::string_view value,
                                  std::size_t& column, std::string& out);

}  // namespace brennox::rfc822
