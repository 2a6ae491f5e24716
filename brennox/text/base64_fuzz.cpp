// Base64: whatever comes, the decoder stays within its bound; what we encode comes back.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "text/base64.h"

using namespace brennox::text;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  std::string decoded(base64DecodedBound(size), '\0');
  if (base64Decode(bytes, decoded.data()) > decoded.size()) {
    std::abort();
  }
  std::string lines(base64EncodedLinesLength(size), '\0');
  base64EncodeLines(bytes, lines.data());
  if (base64Decode(lines) != bytes) {
    std::abort();
  }
  return 0;
}
