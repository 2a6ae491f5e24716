#include <cstddef>
#include <cstdint>

#include "crypto/der.h"

using namespace brennox::crypto;

// Walks over all values, steps into constructed ones, and holds the reader to what it promises.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(bytes), size);
  std::vector<DerReader> open{DerReader(input)};
  std::size_t steps = 0;
  while (!open.empty() && ++steps < 10'000) {
    const auto value = open.back().next();
    if (!value) {
      open.pop_back();
      continue;
    }
    if (value->whole.data() < input.data() ||
        value->whole.data() + value->whole.size() > input.data() + input.size() ||
        value->content.size() >= value->whole.size()) {
      __builtin_trap();
    }
    std::vector<std::string_view> pieces;
    derOctets(*value, pieces);
    derObjectIdentifierText(value->content);
    if (value->isConstructed() && open.size() < 64) {
      open.emplace_back(value->content);
    }
  }
  return 0;
}
