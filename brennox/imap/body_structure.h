// BODYSTRUCTURE (RFC 9051 section 7.5.2) as a tree of parts.
#pragma once

#include <brennox/IMAPPart.h>
#include <brennox/Ref.h>

#include <string_view>

namespace brennox::imap {

// The parts that a description names. Null only when it is no list at all. What does not have the
// form of a part becomes a leaf of type application/octet-stream, so that the numbers of the parts
// behind it stay right.
Ref<IMAPPart> parseBodyStructure(std::string_view text);

}  // namespace brennox::imap
