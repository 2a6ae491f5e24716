// Encoded-words: any value decodes to UTF-8 without line ends; any text that we encode comes back.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "text/charset.h"
#include "text/encoded_word.h"

using namespace brennox::text;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::string decoded = decodeWords(bytes, "koi8-r");
  if (!isValidUtf8(decoded) ||
      decoded.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos) {
    std::abort();
  }
  if (decoded.empty()) {
    return 0;
  }
  std::string encoded;
  std::size_t column = 0;
  appendEncodedWords(decoded, column, encoded);
  std::string back;
  appendDecodedWords(encoded, {}, back);
  if (back != decoded) {
    std::abort();
  }
  return 0;
}
