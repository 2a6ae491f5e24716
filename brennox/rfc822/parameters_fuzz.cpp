// Parameters: any value can be read; what we write of it is read as the same.
#include <cstdint>
#include <cstdlib>

#include "rfc822/parameters.h"
#include "text/charset.h"

using namespace brennox;
using namespace brennox::rfc822;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view raw(reinterpret_cast<const char*>(data), size);
  const ParameterizedValue value = parseParameterized(raw, "koi8-r");
  for (const Parameter& parameter : value.parameters) {
    if (!text::isValidUtf8(parameter.value)) {
      std::abort();
    }
    std::string line = "attachment";
    std::size_t column = line.size();
    appendParameter("filename", parameter.value, column, line);
    const bool looksEncoded = parameter.value.find("=?") != std::string::npos;
    if (!looksEncoded && parseParameterized(line).get("filename") != parameter.value) {
      std::abort();
    }
  }
  return 0;
}
