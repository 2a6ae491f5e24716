// HTML as the text that a person would have typed.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brennox::html {

// Levels of lists and quotes that are told apart; deeper ones read as the deepest.
constexpr std::size_t kMaxPrefixes = 32;

// White space collapses and lines are never wrapped; one empty line stands between blocks; lists,
// quotes, preformatted text and tables read as in a typed mail; links are "text <address>"; what is
// not displayed is left out. No line end at the end.
std::string htmlToText(std::string_view html);

}  // namespace brennox::html
