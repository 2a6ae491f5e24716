#include <cstdint>
#include <cstdlib>

#include "mime/format_flowed.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length) {
  if (length == 0) {
    return 0;
  }
  const std::string_view input(reinterpret_cast<const char*>(bytes) + 1, length - 1);
  const std::string text = brennox::mime::unflow(input, (bytes[0] & 1) != 0);
  // Each line may gain a blank behind its quote marks and a line end.
  if (text.size() > 2 * input.size() + 2) {
    std::abort();
  }
  return 0;
}
