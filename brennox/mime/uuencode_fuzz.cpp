#include <cstdint>
#include <cstdlib>

#include "mime/uuencode.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length) {
  const std::string_view input(reinterpret_cast<const char*>(bytes), length);
  std::size_t last = 0;
  for (const auto& file : brennox::mime::findUuencodedFiles(input)) {
    if (file.begin < last || file.end < file.begin || file.end > length) {
      std::abort();
    }
    last = file.end;
  }
  const std::string_view lines = brennox::mime::uuencodedLines(input);
  std::string out(brennox::mime::uudecodedBound(lines.size()), '\0');
  if (brennox::mime::uudecodeLines(lines, out.data()) > out.size()) {
    std::abort();
  }
  return 0;
}
