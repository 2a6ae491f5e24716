// Any bytes parse, and the entities lie inside them and inside each other.
#include <cstdint>
#include <cstdlib>

#include "mime/entity.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length) {
  const std::string_view input(reinterpret_cast<const char*>(bytes), length);
  const auto entities = brennox::mime::scanEntities(input);
  for (const auto& entity : entities) {
    const bool ordered =
        entity.header <= entity.body && entity.body <= entity.end && entity.end <= length;
    const bool inside = entity.parent == brennox::mime::kNoEntity ||
                        (entity.header >= entities[entity.parent].body &&
                         entity.end <= entities[entity.parent].end);
    if (entities.empty() || !ordered || !inside) {
      std::abort();
    }
  }
  return 0;
}
