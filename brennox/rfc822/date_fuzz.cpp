// Dates: whatever is read as one is in the years that mail has, and comes back after writing.
#include <cstdint>
#include <cstdlib>

#include "rfc822/date.h"

using namespace brennox::rfc822;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::time_t date = parseDate(text);
  const std::time_t first = static_cast<std::time_t>(daysFromCivil(1900, 1, 2)) * 86400;
  const std::time_t last = static_cast<std::time_t>(daysFromCivil(9999, 12, 30)) * 86400;
  if (date > first && date < last && parseDate(formatDate(date)) != date) {
    std::abort();
  }
  parseReceivedDate(text);
  return 0;
}
