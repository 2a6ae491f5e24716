#include "crypto/outline.h"

#include <algorithm>

namespace brennox::crypto {
namespace {

// Each signer costs a public-key operation and a chain; each recipient a comparison with every own
// certificate.
constexpr std::size_t kMaxSigners = 32;
constexpr std::size_t kMaxRecipients = 4096;
// Of all certificates together.
constexpr std::size_t kMaxCertificateOctets = std::size_t{4} << 20;
// Of everything but the content.
constexpr std::size_t kMaxSkeletonOctets = std::size_t{16} << 20;

constexpr std::string_view kSignedOid("\x2A\x86\x48\x86\xF7\x0D\x01\x07\x02");
constexpr std::string_view kEnvelopedOid("\x2A\x86\x48\x86\xF7\x0D\x01\x07\x03");
constexpr std::string_view kAuthEnvelopedOid("\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x01\x17");

// Steps into a message: ContentInfo ::= SEQUENCE { contentType, content [0] EXPLICIT }.
bool openContentInfo(std::string_view cms, std::string_view& type, std::string_view& body) {
  const std::optional<DerValue> info = DerReader(cms).next(kDerSequence);
  if (!info) {
    return false;
  }
  DerReader fields(info->content);
  const std::optional<DerValue> oid = fields.next(kDerObjectIdentifier);
  const std::optional<DerValue> content = fields.next(derContext(0, true));
  if (!oid || !content || !isDerObjectIdentifier(oid->content)) {
    return false;
  }
  const std::optional<DerValue> sequence = DerReader(content->content).next(kDerSequence);
  if (!sequence) {
    return false;
  }
  type = oid->content;
  body = sequence->content;
  return true;
}

// By the object identifier that stands at the start of `contentInfo`.
ContentType kindOf(std::string_view contentInfo) {
  const std::optional<DerValue> oid = DerReader(contentInfo).next(kDerObjectIdentifier);
  if (!oid || !isDerObjectIdentifier(oid->content)) {
    return ContentType::kMalformed;
  }
  if (oid->content == kSignedOid) {
    return ContentType::kSigned;
  }
  if (oid->content == kEnvelopedOid) {
    return ContentType::kEnveloped;
  }
  return oid->content == kAuthEnvelopedOid ? ContentType::kAuthEnveloped : ContentType::kOther;
}

std::string closeContentInfo(std::string_view oid, std::string_view body) {
  return derWrap(kDerSequence, derWrap(kDerObjectIdentifier, oid) +
                                   derWrap(derContext(0, true), derWrap(kDerSequence, body)));
}

// EncapsulatedContentInfo ::= SEQUENCE { eContentType, eContent [0] EXPLICIT OCTET STRING OPTIONAL
// }
bool readEncapsulated(std::string_view body, SignedOutline& outline) {
  DerReader fields(body);
  const std::optional<DerValue> type = fields.next(kDerObjectIdentifier);
  if (!type) {
    return false;
  }
  outline.contentType = type->whole;
  if (fields.atEnd()) {
    return true;
  }
  const std::optional<DerValue> content = fields.next(derContext(0, true));
  if (!content || !fields.atEnd()) {
    return false;
  }
  const std::optional<DerValue> octets = DerReader(content->content).next();
  outline.hasContent = true;
  return octets && (octets->tag & ~kDerConstructed) == kDerOctetString &&
         derOctets(*octets, outline.content);
}

// SignerInfo ::= SEQUENCE { version, sid, digestAlgorithm, ... }
std::string_view digestOf(const DerValue& signer) {
  DerReader fields(signer.content);
  if (!fields.next(kDerInteger) || !fields.next()) {
    return {};
  }
  const std::optional<DerValue> digest = fields.next(kDerSequence);
  return digest ? digest->whole : std::string_view();
}

// The key encryption of KeyTransRecipientInfo ::= SEQUENCE { version, rid, keyEncryptionAlgorithm,
// ... } and of KeyAgreeRecipientInfo ::= SEQUENCE { version, originator [0], ukm [1] OPTIONAL,
// keyEncryptionAlgorithm, ... }.
bool readRecipient(const DerValue& value, Recipient& recipient) {
  recipient.whole = value.whole;
  if (value.tag == kDerSequence) {
    recipient.kind = RecipientKind::kKeyTransport;
  } else if (value.tag == derContext(1, true)) {
    recipient.kind = RecipientKind::kKeyAgreement;
  } else {
    recipient.kind = RecipientKind::kOther;
    return true;
  }
  DerReader fields(value.content);
  if (!fields.next(kDerInteger) || !fields.next()) {
    return false;
  }
  if (recipient.kind == RecipientKind::kKeyAgreement && fields.isNext(derContext(1, true)) &&
      !fields.next()) {
    return false;
  }
  const std::optional<DerValue> algorithm = fields.next(kDerSequence);
  Algorithm parsed;
  if (!algorithm || !readAlgorithm(algorithm->whole, parsed)) {
    return false;
  }
  recipient.algorithm = parsed.oid;
  if (recipient.kind == RecipientKind::kKeyTransport) {
    const std::optional<DerValue> key = fields.next(kDerOctetString);
    if (!key || !fields.atEnd()) {
      return false;
    }
    recipient.wrappedKey = key->content;
  }
  return true;
}

// EncryptedContentInfo ::= SEQUENCE { contentType, contentEncryptionAlgorithm,
// encryptedContent [0] IMPLICIT OCTET STRING OPTIONAL }
bool readEncryptedContent(std::string_view body, EnvelopedOutline& outline) {
  DerReader fields(body);
  const std::optional<DerValue> type = fields.next(kDerObjectIdentifier);
  const std::optional<DerValue> algorithm = fields.next(kDerSequence);
  if (!type || !algorithm || !readAlgorithm(algorithm->whole, outline.algorithm)) {
    return false;
  }
  outline.contentType = type->whole;
  outline.algorithmValue = algorithm->whole;
  const std::optional<DerValue> content = fields.next();
  return content && (content->tag & ~kDerConstructed) == derContext(0, false) && fields.atEnd() &&
         derOctets(*content, outline.content);
}

}  // namespace

bool readAlgorithm(std::string_view value, Algorithm& algorithm) {
  const std::optional<DerValue> sequence = DerReader(value).next(kDerSequence);
  if (!sequence) {
    return false;
  }
  DerReader fields(sequence->content);
  const std::optional<DerValue> oid = fields.next(kDerObjectIdentifier);
  if (!oid) {
    return false;
  }
  algorithm.oid = derObjectIdentifierText(oid->content);
  algorithm.parameters = {};
  if (!fields.atEnd()) {
    const std::optional<DerValue> parameters = fields.next();
    if (!parameters || !fields.atEnd()) {
      return false;
    }
    algorithm.parameters = parameters->whole;
  }
  return !algorithm.oid.empty();
}

ContentType contentTypeOf(std::string_view cms) {
  const std::optional<DerValue> info = DerReader(cms).next(kDerSequence);
  return info ? kindOf(info->content) : ContentType::kMalformed;
}

ContentType announcedTypeOf(std::string_view cms) {
  constexpr std::size_t kMaxLengthOctets = 8;
  if (cms.size() < 2 || static_cast<unsigned char>(cms[0]) != kDerSequence) {
    return ContentType::kMalformed;
  }
  const auto length = static_cast<unsigned char>(cms[1]);
  const std::size_t octets = length > 0x80 ? length & 0x7FU : 0;
  if (octets > kMaxLengthOctets || cms.size() - 2 < octets) {
    return ContentType::kMalformed;
  }
  return kindOf(cms.substr(2 + octets));
}

// SignedData ::= SEQUENCE { version, digestAlgorithms SET, encapContentInfo, certificates [0]
// OPTIONAL, crls [1] OPTIONAL, signerInfos SET }
bool readSigned(std::string_view cms, SignedOutline& outline) {
  outline = {};
  std::string_view type;
  std::string_view body;
  if (!openContentInfo(cms, type, body) || type != kSignedOid) {
    return false;
  }
  DerReader fields(body);
  const std::optional<DerValue> version = fields.next(kDerInteger);
  if (!version || !fields.next(kDerSet)) {
    return false;
  }
  outline.version = version->whole;
  const std::optional<DerValue> encapsulated = fields.next(kDerSequence);
  if (!encapsulated || !readEncapsulated(encapsulated->content, outline)) {
    return false;
  }
  if (const std::optional<DerValue> certificates = fields.next(derContext(0, true))) {
    outline.certificates = certificates->whole;
  }
  fields.next(derContext(1, true));
  const std::optional<DerValue> signers = fields.next(kDerSet);
  if (!signers || outline.certificates.size() > kMaxCertificateOctets ||
      signers->whole.size() > kMaxSkeletonOctets) {
    return false;
  }
  DerReader each(signers->content);
  while (!each.atEnd()) {
    const std::optional<DerValue> signer = each.next(kDerSequence);
    if (!signer || outline.signers.size() == kMaxSigners) {
      return false;
    }
    outline.signers.push_back(signer->whole);
    const std::string_view digest = digestOf(*signer);
    if (digest.empty()) {
      return false;
    }
    if (std::find(outline.digests.begin(), outline.digests.end(), digest) ==
        outline.digests.end()) {
      outline.digests.push_back(digest);
    }
  }
  return true;
}

// EnvelopedData ::= SEQUENCE { version, originatorInfo [0] OPTIONAL, recipientInfos SET,
// encryptedContentInfo, unprotectedAttrs [1] OPTIONAL }; AuthEnvelopedData (RFC 5083) ends with
// authAttrs [1] OPTIONAL, mac OCTET STRING, unauthAttrs [2] OPTIONAL.
bool readEnveloped(std::string_view cms, EnvelopedOutline& outline) {
  outline = {};
  std::string_view type;
  std::string_view body;
  if (!openContentInfo(cms, type, body) || (type != kEnvelopedOid && type != kAuthEnvelopedOid)) {
    return false;
  }
  outline.isAuthenticated = type == kAuthEnvelopedOid;
  DerReader fields(body);
  const std::optional<DerValue> version = fields.next(kDerInteger);
  if (!version) {
    return false;
  }
  outline.version = version->whole;
  fields.next(derContext(0, true));
  const std::optional<DerValue> recipients = fields.next(kDerSet);
  if (!recipients || recipients->whole.size() > kMaxSkeletonOctets) {
    return false;
  }
  DerReader each(recipients->content);
  while (!each.atEnd()) {
    const std::optional<DerValue> value = each.next();
    Recipient recipient;
    if (!value || outline.recipients.size() == kMaxRecipients ||
        !readRecipient(*value, recipient)) {
      return false;
    }
    outline.recipients.push_back(std::move(recipient));
  }
  const std::optional<DerValue> content = fields.next(kDerSequence);
  if (!content || !readEncryptedContent(content->content, outline)) {
    return false;
  }
  outline.trailer = fields.rest();
  if (outline.trailer.size() > kMaxSkeletonOctets) {
    return false;
  }
  while (!fields.atEnd()) {
    const std::optional<DerValue> value = fields.next();
    if (!value) {
      return false;
    }
    if (outline.isAuthenticated && value->tag == derContext(1, true)) {
      outline.authAttributes = value->whole;
    } else if (outline.isAuthenticated && value->tag == kDerOctetString) {
      outline.authenticationCode = value->content;
    }
  }
  return true;
}

std::string skeletonOf(const SignedOutline& outline) {
  std::string digests;
  for (const std::string_view digest : outline.digests) {
    digests += digest;
  }
  std::string signers;
  for (const std::string_view signer : outline.signers) {
    signers += signer;
  }
  std::string body(outline.version);
  body += derWrap(kDerSet, digests);
  body += derWrap(kDerSequence, outline.contentType);
  body += outline.certificates;
  body += derWrap(kDerSet, signers);
  return closeContentInfo(kSignedOid, body);
}

std::string skeletonOf(const EnvelopedOutline& outline, const Recipient& recipient) {
  std::string content(outline.contentType);
  content += outline.algorithmValue;
  std::string body(outline.version);
  body += derWrap(kDerSet, recipient.whole);
  body += derWrap(kDerSequence, content);
  // Some versions of OpenSSL authenticate the attributes by themselves, some do not.
  body += outline.isAuthenticated ? derWrap(kDerOctetString, outline.authenticationCode)
                                  : std::string(outline.trailer);
  return closeContentInfo(outline.isAuthenticated ? kAuthEnvelopedOid : kEnvelopedOid, body);
}

}  // namespace brennox::crypto
