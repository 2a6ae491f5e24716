// CSS of a message on its way into a rendering: an allow-list of properties and of what their
// values are made of, and style sheets whose rules reach nothing but one element.
//
// Nothing that comes out can fetch (no url(), image-set(), @import, @font-face), place itself
// outside of its element (no position, z-index, transform, negative margin), make text appear (no
// content) or run code in any browser.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>

namespace brennox::html {

// Put before every id, name and class of a message.
constexpr std::string_view kNamePrefix = "m-";

// The declarations of a style attribute that may stay, as "name:value;name:value". Not yet escaped
// for an attribute.
std::string cleanedDeclarations(std::string_view css);

// The rules of a style sheet that may stay, each selector confined to what is inside the element
// with the class `scope`; rules for html, body and :root apply to that element itself. Never
// contains "<".
std::string cleanedStyleSheet(std::string_view css, std::string_view scope);

// True when a media attribute is harmless; such a text contains no characters that need escaping.
bool isCleanMediaQuery(std::string_view media);

// True when declarations make an element invisible.
bool hidesElement(std::string_view declarations);

// Classes and ids (as ".name" and "#name") that unconditional rules of a style sheet make
// invisible.
void collectHiddenNames(std::string_view css, std::unordered_set<std::string>& names);

// Whether declarations lay an element out as a block of its own ("display: block").
bool isDisplayedAsBlock(std::string_view declarations);

}  // namespace brennox::html
