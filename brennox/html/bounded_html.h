// Bounds on HTML before it is parsed, so that no input makes the tree builder slow, deep or large.
//
// The tree builder looks through its open elements at every tag and copies formatting elements that
// were left open into every later block; each is fine as long as there are few of them. Real mail
// stays far below the bounds and is handed on untouched. Beyond them tags are taken out and their
// text stays in its place.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "html/stand_ins.h"

namespace brennox::html {

// Elements open at once, as estimated from the tags. Deeper start tags are taken out.
constexpr std::size_t kMaxOpenElements = 384;
// Formatting elements (<b>, <font>, ...) waiting to be closed.
constexpr std::size_t kMaxOpenFormatting = 48;
// Attributes of one tag: the tree builder compares each with all before it.
constexpr std::size_t kMaxAttributes = 64;
// Elements that the tree will have, as estimated from the tags; about 300 bytes each.
constexpr std::size_t kMaxElements = 400'000;
// <html> and <body> tags: each merges its attributes into the first one.
constexpr std::size_t kMaxBodyTags = 8;
// Bytes of one part; the rest is left out.
constexpr std::size_t kMaxHtmlLength = std::size_t{48} << 20;

// `html` itself when it keeps the bounds, else a reduced copy in `storage`. With `standIns`, text
// and long attribute values are in the copy by their stand-ins, and comments are empty.
std::string_view boundedHtml(std::string_view html, std::string& storage,
                             StandIns* standIns = nullptr);

}  // namespace brennox::html
