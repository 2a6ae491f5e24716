// The outer structure of a CMS message (RFC 5652), read by bounds of our own before OpenSSL sees
// any of it.
//
// OpenSSL is then given a skeleton: the same structure without the content, which may be large and
// is worked on where it lies, and with the one recipient that matters. What it parses is therefore
// exactly what was looked at here.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "crypto/der.h"

namespace brennox::crypto {

enum class ContentType {
  kMalformed,  // not a CMS message at all
  kOther,      // a kind that holds nothing for us (compressed, digested, plain data)
  kSigned,
  kEnveloped,
  kAuthEnveloped,
};

// What kind of message `cms` is. Reads a few octets.
ContentType contentTypeOf(std::string_view cms);
// What kind of message the first octets announce, whether the rest is there or not.
ContentType announcedTypeOf(std::string_view cms);

// An AlgorithmIdentifier.
struct Algorithm {
  std::string oid;              // with dots
  std::string_view parameters;  // the whole value, empty when absent
};
bool readAlgorithm(std::string_view value, Algorithm& algorithm);

// All views point into the message.
struct SignedOutline {
  std::string_view version;
  std::string_view contentType;  // the object identifier's value, whole
  bool hasContent = false;
  std::vector<std::string_view> content;  // pieces, in order
  std::string_view certificates;          // whole, empty when absent
  std::vector<std::string_view> signers;  // SignerInfo values, whole
  std::vector<std::string_view>
      digests;  // the signers' digest AlgorithmIdentifiers, distinct, whole
};

enum class RecipientKind {
  kKeyTransport,
  kKeyAgreement,
  kOther,  // key-encryption keys, passwords and others: there is nobody to ask for them
};

struct Recipient {
  RecipientKind kind = RecipientKind::kOther;
  std::string_view whole;
  // Of the key encryption; with dots.
  std::string algorithm;
  // The content key as it was wrapped, in key transport only.
  std::string_view wrappedKey;
};

struct EnvelopedOutline {
  bool isAuthenticated = false;
  std::string_view version;
  std::vector<Recipient> recipients;
  std::string_view contentType;
  std::string_view algorithmValue;  // the content encryption's AlgorithmIdentifier, whole
  Algorithm algorithm;
  std::vector<std::string_view> content;  // pieces of the ciphertext, in order
  std::string_view authAttributes;        // whole, empty when absent
  std::string_view authenticationCode;    // of an authenticated message, else empty
  std::string_view trailer;  // what follows the content: attributes, authentication code
};

// False when malformed or beyond a bound.
bool readSigned(std::string_view cms, SignedOutline& outline);
bool readEnveloped(std::string_view cms, EnvelopedOutline& outline);

// The message without its content, as a detached one.
std::string skeletonOf(const SignedOutline& outline);
// The same for an encrypted message, with `recipient` as the only one and without authenticated
// attributes, which are left to the caller.
std::string skeletonOf(const EnvelopedOutline& outline, const Recipient& recipient);

}  // namespace brennox::crypto
