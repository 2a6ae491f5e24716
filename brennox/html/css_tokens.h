// CSS tokens (CSS Syntax Module Level 3, section 4).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace brennox::html {

enum class CssTokenType : std::uint8_t {
  Ident,
  Function,   // value is the name; the "(" is part of the token
  AtKeyword,  // value is the name
  Hash,       // value is what follows the "#"
  String,
  BadString,
  Url,  // any url(...) without quotes, well formed or not; value is empty
  Delim,
  Number,      // value is the number as written
  Percentage,  // value is the number as written
  Dimension,   // value is the number as written, unit the unit
  Whitespace,
  Cdo,
  Cdc,
  Colon,
  Semicolon,
  Comma,
  OpenSquare,
  CloseSquare,
  OpenParen,
  CloseParen,
  OpenCurly,
  CloseCurly,
};

// Escapes are decoded: value and unit say what is meant, not how it is spelt.
struct CssToken {
  CssTokenType type;
  char delim = 0;
  std::string value;
  std::string unit;
  // A comment stood before it: without one it must not run together with the token before.
  bool afterComment = false;
};

// Comments are left out. Linear in the input.
std::vector<CssToken> cssTokens(std::string_view css);

}  // namespace brennox::html
