// Quoted-printable: the decoder stays within its input's length; what we encode comes back.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "text/quoted_printable.h"

using namespace brennox::text;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  quotedPrintableDecode(bytes);
  std::string encoded;
  quotedPrintableEncode(bytes, encoded);
  if (quotedPrintableDecode(encoded) != bytes) {
    std::abort();
  }
  return 0;
}
