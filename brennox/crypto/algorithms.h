// Names of algorithms, and which of them are good enough.
#pragma once

#include <string>
#include <string_view>

#include "crypto/openssl.h"

namespace brennox::crypto {

// "RSA", "RSA-PSS", "ECDSA", "DSA", "Ed25519", "GOST R 34.10-2001", "GOST R 34.10-2012 256",
// "GOST R 34.10-2012 512", else the object identifier itself.
std::string signatureName(const std::string& oid);
// "MD5", "SHA-1", "SHA-256", ..., "GOST R 34.11-2012 256", else the object identifier itself.
std::string digestName(const std::string& oid);
// False for digests in which collisions can be made, and for those that are not known here.
bool isDigestTrusted(const std::string& oid);
// Whether the digest or the signature algorithm needs the GOST engine.
bool isGostOid(const std::string& oid);

enum class KeyKind { kRsa, kRsaPss, kEc, kDsa, kEd25519, kGost2001, kGost256, kGost512, kOther };
KeyKind keyKindOf(EVP_PKEY* key);
KeyKind keyKindOf(X509* certificate);
inline bool isGost(KeyKind kind) {
  return kind == KeyKind::kGost2001 || kind == KeyKind::kGost256 || kind == KeyKind::kGost512;
}

std::string oidText(const ASN1_OBJECT* object);

}  // namespace brennox::crypto
