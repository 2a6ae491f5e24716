// A message with everything that can be asked of its parts.
#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/Data.h>
#include <brennox/String.h>

#include <cstdint>

#include "mime/MimePart.h"
#include "mime/classify.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length) {
  const brennox::AutoreleasePool pool;
  const auto root = brennox::mime::MimePart::parse(brennox::Data::dataWithBytes(bytes, length));
  const auto sorting = brennox::mime::sortParts(root.get());
  for (const auto& body : sorting.bodies) {
    for (auto* part : body.html) {
      static_cast<brennox::Attachment*>(part)->decodedString();
    }
  }
  for (auto* part : sorting.attachments) {
    static_cast<brennox::Attachment*>(part)->data();
    if (part->partType() == brennox::PartType::Message) {
      brennox::mime::sortParts(part->mainPart());
    }
  }
  return 0;
}
