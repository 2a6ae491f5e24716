// Foreign HTML made safe to put into a page.
//
// The HTML is parsed as a browser would, walked with an allow-list (elements.h, css.h, url.h) and
// written anew from the tree. What comes out is one element whose re-parsing gives the same tree
// again, in any document mode: tags that another parse would move or end early are left out and
// their content stays.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace brennox::html {

// Nesting of the result. Deeper content stays as text in its place.
constexpr std::size_t kMaxDepth = 256;
// The result is at most this many times as long as the input and a constant, pictures not counted;
// beyond that only text goes on.
constexpr std::size_t kMaxOutputGrowth = 8;
constexpr std::size_t kOutputFloor = std::size_t{64} << 10;

struct SanitizerOptions {
  // The class of the element that holds the result. Has to be different for every part that is
  // shown on one page: the part's style sheet is confined to it.
  std::string scope;
  // The data: URI to show for a picture's address (cid: or a Content-Location), "" for none. May be
  // empty.
  std::function<std::string(std::string_view address)> pictureAt;
};

std::string sanitizedHtml(std::string_view html, const SanitizerOptions& options);

// What stands around a part: keeps it inside of its own box.
extern const std::string_view kPartOpening;
extern const std::string_view kPartClosing;

}  // namespace brennox::html
