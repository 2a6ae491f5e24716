// Signing and encrypting (RFC 8551) of a message that is being built.
#pragma once

#include <brennox/Data.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace brennox {

class Array;
class String;

namespace message {

// What a builder was told; pointers are borrowed and may be null.
struct Protection {
  String* signer = nullptr;        // null: do not sign
  String* signerSecond = nullptr;  // password or private key
  Array* recipients = nullptr;     // null or empty: do not encrypt
  String* keyUsagePolicy = nullptr;
  String* sender = nullptr;  // the mailbox of From
  // Everybody the message names, the sender included.
  std::vector<std::string> mailboxes;
  // For boundaries: never occurs in the entity, nor does anything that begins with it.
  std::string boundaryStem;

  bool isSigned() const { return signer != nullptr; }
  bool isEncrypted() const;
};

// Writes the entity that is to be protected (MIME fields, empty line, body; CRLF throughout; with
// WriteOptions::isSigned where it gets signed) behind `front` into a block with `room` bytes more.
using EntityWriter = std::function<Ref<Block>(std::string_view front, std::size_t room)>;

// Makes a message of its own fields and of an entity that it wraps as was asked for. Throws
// std::runtime_error with a text for the script when a certificate or key cannot be used; nothing
// is ever left unsigned or unencrypted that was to be.
Ref<Data> protect(std::string_view fields, const EntityWriter& writeEntity,
                  const Protection& protection);

}  // namespace message
}  // namespace brennox
