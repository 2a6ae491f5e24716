#include <cstdint>
#include <cstdlib>

#include "mime/rtf.h"
#include "mime/tnef.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length) {
  const std::string_view input(reinterpret_cast<const char*>(bytes), length);
  brennox::mime::Tnef tnef;
  if (brennox::mime::parseTnef(input, tnef)) {
    for (const auto& attachment : tnef.attachments) {
      const char* const at = attachment.content.data();
      if (!attachment.content.empty() &&
          (at < input.data() ||
           attachment.content.size() > length - static_cast<std::size_t>(at - input.data()))) {
        std::abort();
      }
    }
    brennox::mime::readRtf(tnef.rtf);
  }
  if (brennox::mime::decompressRtf(input).size() > 9 * length + 17) {
    std::abort();
  }
  brennox::mime::readRtf(input);
  return 0;
}
