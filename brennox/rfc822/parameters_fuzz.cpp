// Parameters: any value can be read, and where it is plain, with the same result as in full; what
// we write of it is read as the same.
#include <cstdint>
#include <cstdlib>

#include "rfc822/parameters.h"
#include "rfc822/plain_parameters.h"
#include "text/ascii.h"
#include "text/charset.h"

using namespace brennox;
using namespace brennox::rfc822;

namespace {

bool agree(const PlainParameters& plain, const ParameterizedValue& full) {
  bool same = plain.value == full.value && plain.count == full.parameters.size();
  for (std::size_t i = 0; same && i < plain.count; ++i) {
    same = text::lowered(plain.parameters[i].name) == full.parameters[i].name &&
           plain.parameters[i].value == full.parameters[i].value;
  }
  return same;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view raw(reinterpret_cast<const char*>(data), size);
  const ParameterizedValue value = parseParameterized(raw, "koi8-r");
  const std::optional<PlainParameters> plain = readPlainParameters(raw);
  if (plain && !agree(*plain, value)) {
    std::abort();
  }
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
