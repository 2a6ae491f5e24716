// What the writer has to know of a MessageHeader beyond its public face.
#pragma once

#include <brennox/Ref.h>
#include <brennox/String.h>

#include <vector>

namespace brennox {

class MessageHeader;

namespace rfc822 {

struct ExtraField {
  Ref<String> name;
  Ref<String> value;
  bool parsed = false;  // out of a received message, not set by a caller
};

struct HeaderAccess {
  // All extra fields in order, those of one name too.
  static std::vector<ExtraField> extraFields(MessageHeader* header);
};

}  // namespace rfc822
}  // namespace brennox
