// ENVELOPE (RFC 9051 section 7.5.2) as a message header.
#pragma once

#include <brennox/Ref.h>

#include <string>
#include <string_view>

#include "imap/sexpr.h"

namespace brennox {
class MessageHeader;
}

namespace brennox::imap {

// The header fields that the envelope stands for, as they would stand in a message: what decodes a
// message's own header then decodes these. `withSubject` false leaves the subject out.
std::string envelopeFields(const Tree& tree, Tree::Index envelope, bool withSubject);

// The header of a message from its envelope and further fields, either of which may be empty.
Ref<MessageHeader> headerOf(std::string_view envelope, std::string_view fields);
Ref<MessageHeader> headerOf(const Tree& tree, Tree::Index envelope);

}  // namespace brennox::imap
