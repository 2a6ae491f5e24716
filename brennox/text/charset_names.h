// What mail means by a charset's name.
#pragma once

#include <string>
#include <string_view>

namespace brennox::text {

enum class CharsetKind {
  kUnknown,
  kUtf8,
  kAscii,
  kConverter,  // the system's converter of the name beside it
};

struct CharsetName {
  CharsetKind kind = CharsetKind::kUnknown;
  std::string converter;
};

// Longer names are not known.
inline constexpr std::size_t kMaxCharsetName = 64;

CharsetName resolveCharset(std::string_view name);

}  // namespace brennox::text
