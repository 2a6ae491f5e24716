// Charsets: the first line names one, the rest is read in it. The result is UTF-8 in every case.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "text/charset.h"

using namespace brennox::text;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::size_t line = bytes.find('\n');
  const std::string_view charset = bytes.substr(0, line);
  const std::string_view text =
      line == std::string_view::npos ? std::string_view() : bytes.substr(line + 1);
  if (!isValidUtf8(decodeText(text, charset)) || !isValidUtf8(decodeText(text, {}))) {
    std::abort();
  }
  std::string out;
  if (appendInCharset(text, charset, out) && !isValidUtf8(out)) {
    std::abort();
  }
  return 0;
}
