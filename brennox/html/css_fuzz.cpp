#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "html/css.h"

// What was cleaned once is clean: cleaning it again changes nothing, and it cannot end its element.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brennox::html;
  const std::string css(data, data + size);
  const std::string declarations = cleanedDeclarations(css);
  if (cleanedDeclarations(declarations) != declarations) {
    std::abort();
  }
  const std::string sheet = cleanedStyleSheet(css, "S");
  if (sheet.find('<') != std::string::npos || declarations.find('<') != std::string::npos) {
    std::abort();
  }
  return 0;
}
