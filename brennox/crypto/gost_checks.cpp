#include "crypto/gost_checks.h"

#include "crypto/algorithms.h"
#include "crypto/der.h"

namespace brennox::crypto {
namespace {

constexpr std::string_view kMagmaExport = "1.2.643.7.1.1.7.1.1";
constexpr std::string_view kKuznyechikExport = "1.2.643.7.1.1.7.2.1";

// The one value that fills `bytes`.
std::optional<DerValue> only(std::string_view bytes, unsigned char tag) {
  DerReader reader(bytes);
  const std::optional<DerValue> value = reader.next(tag);
  return value && reader.atEnd() ? value : std::nullopt;
}

bool hasOctets(const std::optional<DerValue>& value, std::size_t count) {
  return value && value->content.size() == count;
}

// SubjectPublicKeyInfo ::= SEQUENCE { algorithm, subjectPublicKey BIT STRING }, with a GOST
// algorithm and its parameters. `content` is that of the sequence, which may be tagged otherwise.
bool isGostPublicKey(std::string_view content) {
  constexpr unsigned char kBitString = 0x03;
  DerReader fields(content);
  const std::optional<DerValue> algorithm = fields.next(kDerSequence);
  const std::optional<DerValue> key = fields.next(kBitString);
  if (!algorithm || !key || key->content.empty() || !fields.atEnd()) {
    return false;
  }
  DerReader parts(algorithm->content);
  const std::optional<DerValue> oid = parts.next(kDerObjectIdentifier);
  return oid && isGostOid(derObjectIdentifierText(oid->content)) && parts.next(kDerSequence) &&
         parts.atEnd();
}

// GostR3410-KeyTransport ::= SEQUENCE { sessionEncryptedKey SEQUENCE { encryptedKey OCTET STRING
// (32), macKey OCTET STRING (4) }, transportParameters [0] { encryptionParamSet, ephemeralPublicKey
// [0], ukm OCTET STRING (8) } } (RFC 4490 section 4.2).
bool isTransportOf28147(std::string_view wrappedKey) {
  const std::optional<DerValue> transport = only(wrappedKey, kDerSequence);
  if (!transport) {
    return false;
  }
  DerReader fields(transport->content);
  const std::optional<DerValue> session = fields.next(kDerSequence);
  const std::optional<DerValue> parameters = fields.next(derContext(0, true));
  if (!session || !parameters || !fields.atEnd()) {
    return false;
  }
  DerReader keys(session->content);
  if (!hasOctets(keys.next(kDerOctetString), 32) || !hasOctets(keys.next(kDerOctetString), 4) ||
      !keys.atEnd()) {
    return false;
  }
  DerReader parts(parameters->content);
  const std::optional<DerValue> set = parts.next(kDerObjectIdentifier);
  const std::optional<DerValue> ephemeral = parts.next(derContext(0, true));
  return set && isDerObjectIdentifier(set->content) && ephemeral &&
         isGostPublicKey(ephemeral->content) && hasOctets(parts.next(kDerOctetString), 8) &&
         parts.atEnd();
}

// PSKeyTransport ::= SEQUENCE { psexp OCTET STRING, ephemeralPublicKey, ukm OCTET STRING (32) }
// (R 1323565.1.025-2019): the key of 32 octets with the authentication code of one block.
bool isKeyExport(std::string_view wrappedKey, std::size_t blockLength) {
  const std::optional<DerValue> transport = only(wrappedKey, kDerSequence);
  if (!transport) {
    return false;
  }
  DerReader fields(transport->content);
  if (!hasOctets(fields.next(kDerOctetString), 32 + blockLength)) {
    return false;
  }
  const std::optional<DerValue> ephemeral = fields.next(kDerSequence);
  return ephemeral && isGostPublicKey(ephemeral->content) &&
         hasOctets(fields.next(kDerOctetString), 32) && fields.atEnd();
}

}  // namespace

// GOST 28147-89: SEQUENCE { iv OCTET STRING (8), encryptionParamSet OBJECT IDENTIFIER } (RFC 4490
// section 4.1); the newer ciphers: SEQUENCE { ukm OCTET STRING }, half a block of it and 8 octets.
bool areGostParametersSound(GostCipher cipher, std::string_view parameters) {
  const std::optional<DerValue> sequence = only(parameters, kDerSequence);
  if (!sequence) {
    return false;
  }
  DerReader fields(sequence->content);
  const std::optional<DerValue> octets = fields.next(kDerOctetString);
  if (cipher == GostCipher::k28147) {
    const std::optional<DerValue> set = fields.next(kDerObjectIdentifier);
    return hasOctets(octets, 8) && set && isDerObjectIdentifier(set->content) && fields.atEnd();
  }
  return hasOctets(octets, cipher == GostCipher::kMagma ? 12 : 16) && fields.atEnd();
}

bool isGostTransportSound(const std::string& oid, std::string_view wrappedKey) {
  if (oid == kMagmaExport) {
    return isKeyExport(wrappedKey, 8);
  }
  if (oid == kKuznyechikExport) {
    return isKeyExport(wrappedKey, 16);
  }
  return isGostOid(oid) && isTransportOf28147(wrappedKey);
}

}  // namespace brennox::crypto
