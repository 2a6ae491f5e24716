// The structure of a message: where each entity's header and body stand in the bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

namespace brennox::mime {

// Entities below this depth stay inside the leaf that holds them.
constexpr unsigned int kMaxEntityDepth = 256;
// The last entity takes the rest of a message that has more.
constexpr std::size_t kMaxEntities = 250'000;

enum class EntityKind : std::uint8_t { Leaf, Multipart, Message };

// Entities refer to each other by their index in the scan's list.
constexpr std::uint32_t kNoEntity = std::numeric_limits<std::uint32_t>::max();

struct Entity {
  // Offsets: the header is [header, body), with the empty line; the body is [body, end).
  std::size_t header = 0;
  std::size_t body = 0;
  std::size_t end = 0;
  // The first Content-Type and Content-Transfer-Encoding field as they stand, folding included;
  // empty when absent.
  std::string_view contentType;
  std::string_view encoding;
  // So is the Content-Disposition of a header that has one and nothing else that takes a closer
  // look: no other such field, no line of doubtful meaning. Null where the header has to be read.
  std::string_view disposition;
  std::uint32_t parent = kNoEntity;
  std::uint32_t firstChild = kNoEntity;
  std::uint32_t nextSibling = kNoEntity;
  std::uint16_t depth = 0;
  // A multipart without any boundary line, one below the depth limit and an embedded message in an
  // encoding are leaves here.
  EntityKind kind = EntityKind::Leaf;
  // The header may have other fields of a part: the Content-Disposition above, or any.
  bool hasOtherFields = false;
  // Has the type of a body that can be shown: plain text, HTML, or none given.
  bool isText = false;
  // multipart/digest, and a child of it: message/rfc822 unless its header says otherwise.
  bool isDigest = false;
  bool inDigest = false;
};

// Finds all entities in one pass, in time linear in the input. The first is the root; a parent
// comes before its children. `depth` is the depth of the root (for a message found inside a decoded
// body).
std::vector<Entity> scanEntities(std::string_view bytes, unsigned int depth = 0);

// The entity `root` of a scan and all below it as if they were a message of their own: offsets
// count from the start of its header.
std::vector<Entity> entitiesBelow(const std::vector<Entity>& entities, std::uint32_t root);

}  // namespace brennox::mime
