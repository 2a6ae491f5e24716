// Entities (RFC 2045 to 2049) on their way onto the wire.
//
// A tree of OutgoingEntity is made first; its exact length is known before the first octet is
// written, so that the whole goes into one block and contents are copied once, encoded. Every text
// and every byte may come from a script: none of them can begin a field, end a part or make a line
// longer than 998 octets, and all lines end in CRLF.
#pragma once

#include <brennox/Data.h>

#include <string>
#include <string_view>
#include <vector>

#include "mime/body_encoding.h"

namespace brennox {

class Attachment;

namespace mime {

struct OutgoingEntity {
  // The MIME fields, each ended by CRLF.
  std::string fields;

  // A leaf has its body in one of these: octets as they are written, or bytes that are written as
  // `encoding` says (base64 or as they are).
  std::string octets;
  Ref<Data> data;
  BodyEncoding encoding = BodyEncoding::SevenBit;

  // A multipart has its parts and gets its boundary and `fields` by assignBoundaries.
  std::vector<OutgoingEntity> parts;
  std::string multipartType;
  std::string boundary;
};

// How carefully bodies are written.
struct WriteOptions {
  // The entity is all there is of a message, so that its body's last line has to end.
  bool standsAlone = false;
  // Its bytes get signed: lines that some relays change (blanks at their end, "From " at their
  // start) are encoded.
  bool isSigned = false;
};

// A text/plain or text/html part; line ends of every kind become CRLF.
OutgoingEntity textEntity(std::string_view text, std::string_view subtype,
                          const WriteOptions& options);

enum class Disposition { Attachment, Inline };

// A part with an attachment's bytes unchanged, but for the line ends of an attached message. A type
// that cannot be attached as such (multipart, none, garbage, a message that is none) becomes
// application/octet-stream.
OutgoingEntity attachmentEntity(Attachment* attachment, Disposition disposition,
                                const WriteOptions& options);

// A multipart/`subtype`; multipart/related names its first part's type as its root.
OutgoingEntity multipartEntity(std::string_view subtype, std::vector<OutgoingEntity> parts);

// Gives each multipart of the tree its boundary: the characters of `prefix` that a boundary may
// have, then `seed` (a core::uniqueToken). Another seed is taken if this one occurs in a part's
// body. Returns a text that occurs nowhere in the tree and can begin a boundary around it, with
// room for one more character.
std::string assignBoundaries(OutgoingEntity& root, std::string_view prefix, std::string seed);

// The message made of header fields, each ended by CRLF, and an entity. Without header fields the
// entity alone: what gets signed or encrypted.
Ref<Data> assemble(std::string_view messageFields, const OutgoingEntity& entity);
// The same in a block that has `room` bytes more, for what is to follow.
Ref<Block> assembleWithRoom(std::string_view messageFields, const OutgoingEntity& entity,
                            std::size_t room);
// The same with an entity (MIME fields, empty line, body) that exists as bytes already.
Ref<Data> assemble(std::string_view messageFields, std::string_view entity);

}  // namespace mime
}  // namespace brennox
