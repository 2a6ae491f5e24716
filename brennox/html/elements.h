// The allow-list: what becomes of each element, and which attributes it may have.
#pragma once

#include <gumbo.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace brennox::html {

enum class Treatment : std::uint8_t {
  Keep,    // as `name`
  Unwrap,  // the tags go, what is inside stays
  Drop,    // goes with everything inside
};

// What an element may not be put into without changing when it is parsed again.
enum class Shape : std::uint8_t {
  Inline,
  Void,
  Block,     // ends an open <p>
  Heading,   // ends an open heading right around it; otherwise as Block
  Link,      // ends an open link
  ListItem,  // ends an open item of its list; otherwise as Block
  Term,      // the same for <dt> and <dd>
  RubyText,
  Table,
  Caption,
  ColumnGroup,
  Column,
  RowGroup,
  Row,
  Cell,
};

struct Element {
  Treatment treatment = Treatment::Unwrap;
  Shape shape = Shape::Inline;
  std::string_view name;
};

// Unknown elements are unwrapped.
Element elementOf(GumboTag tag);

// True when a presentational or descriptive attribute may stay as it is; `value` is then what to
// write. Attributes with a meaning of their own (style, class, id, name, href, src) are not decided
// here.
bool keepsAttribute(std::string_view element, std::string_view name, std::string_view value,
                    std::string& kept);

// A colour as HTML attributes have it (a name or #hex), as CSS; empty when it is neither.
std::string colorOf(std::string_view value);

}  // namespace brennox::html
