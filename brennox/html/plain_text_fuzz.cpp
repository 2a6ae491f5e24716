#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "html/escape.h"
#include "html/plain_text.h"

// The text has no control characters and no line end at its end.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brennox::html;
  const std::string text = htmlToText({reinterpret_cast<const char*>(data), size});
  if (cleanedText(text) != text || (!text.empty() && text.back() == '\n')) {
    std::abort();
  }
  return 0;
}
