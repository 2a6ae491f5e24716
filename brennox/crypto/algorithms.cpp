#include "crypto/algorithms.h"

#include <openssl/objects.h>

#include <array>

namespace brennox::crypto {
namespace {

struct NamedOid {
  std::string_view oid;
  std::string_view name;
};

// Mails name a signature by its key's algorithm or by the combination with a digest.
constexpr std::array kSignatures{
    NamedOid{"1.2.840.113549.1.1.1", "RSA"},
    NamedOid{"1.2.840.113549.1.1.2", "RSA"},
    NamedOid{"1.2.840.113549.1.1.4", "RSA"},
    NamedOid{"1.2.840.113549.1.1.5", "RSA"},
    NamedOid{"1.2.840.113549.1.1.11", "RSA"},
    NamedOid{"1.2.840.113549.1.1.12", "RSA"},
    NamedOid{"1.2.840.113549.1.1.13", "RSA"},
    NamedOid{"1.2.840.113549.1.1.14", "RSA"},
    NamedOid{"1.2.840.113549.1.1.15", "RSA"},
    NamedOid{"1.2.840.113549.1.1.16", "RSA"},
    NamedOid{"2.16.840.1.101.3.4.3.13", "RSA"},
    NamedOid{"2.16.840.1.101.3.4.3.14", "RSA"},
    NamedOid{"2.16.840.1.101.3.4.3.15", "RSA"},
    NamedOid{"2.16.840.1.101.3.4.3.16", "RSA"},
    NamedOid{"1.2.840.113549.1.1.10", "RSA-PSS"},
    NamedOid{"1.2.840.10045.2.1", "ECDSA"},
    NamedOid{"1.2.840.10045.4.1", "ECDSA"},
    NamedOid{"1.2.840.10045.4.3.1", "ECDSA"},
    NamedOid{"1.2.840.10045.4.3.2", "ECDSA"},
    NamedOid{"1.2.840.10045.4.3.3", "ECDSA"},
    NamedOid{"1.2.840.10045.4.3.4", "ECDSA"},
    NamedOid{"2.16.840.1.101.3.4.3.9", "ECDSA"},
    NamedOid{"2.16.840.1.101.3.4.3.10", "ECDSA"},
    NamedOid{"2.16.840.1.101.3.4.3.11", "ECDSA"},
    NamedOid{"2.16.840.1.101.3.4.3.12", "ECDSA"},
    NamedOid{"1.2.840.10040.4.1", "DSA"},
    NamedOid{"1.2.840.10040.4.3", "DSA"},
    NamedOid{"2.16.840.1.101.3.4.3.1", "DSA"},
    NamedOid{"2.16.840.1.101.3.4.3.2", "DSA"},
    NamedOid{"1.3.101.112", "Ed25519"},
    NamedOid{"1.2.643.2.2.3", "GOST R 34.10-2001"},
    NamedOid{"1.2.643.2.2.19", "GOST R 34.10-2001"},
    NamedOid{"1.2.643.7.1.1.1.1", "GOST R 34.10-2012 256"},
    NamedOid{"1.2.643.7.1.1.3.2", "GOST R 34.10-2012 256"},
    NamedOid{"1.2.643.7.1.1.1.2", "GOST R 34.10-2012 512"},
    NamedOid{"1.2.643.7.1.1.3.3", "GOST R 34.10-2012 512"},
};

struct Digest {
  std::string_view oid;
  std::string_view name;
  bool isTrusted;
};

constexpr std::array kDigests{
    Digest{"1.2.840.113549.2.2", "MD2", false},
    Digest{"1.2.840.113549.2.4", "MD4", false},
    Digest{"1.2.840.113549.2.5", "MD5", false},
    Digest{"1.3.36.3.2.1", "RIPEMD-160", false},
    Digest{"1.3.14.3.2.26", "SHA-1", false},
    Digest{"2.16.840.1.101.3.4.2.4", "SHA-224", true},
    Digest{"2.16.840.1.101.3.4.2.1", "SHA-256", true},
    Digest{"2.16.840.1.101.3.4.2.2", "SHA-384", true},
    Digest{"2.16.840.1.101.3.4.2.3", "SHA-512", true},
    Digest{"2.16.840.1.101.3.4.2.5", "SHA-512/224", true},
    Digest{"2.16.840.1.101.3.4.2.6", "SHA-512/256", true},
    Digest{"2.16.840.1.101.3.4.2.7", "SHA3-224", true},
    Digest{"2.16.840.1.101.3.4.2.8", "SHA3-256", true},
    Digest{"2.16.840.1.101.3.4.2.9", "SHA3-384", true},
    Digest{"2.16.840.1.101.3.4.2.10", "SHA3-512", true},
    Digest{"1.2.643.2.2.9", "GOST R 34.11-94", true},
    Digest{"1.2.643.7.1.1.2.2", "GOST R 34.11-2012 256", true},
    Digest{"1.2.643.7.1.1.2.3", "GOST R 34.11-2012 512", true},
};

const Digest* findDigest(std::string_view oid) {
  for (const Digest& digest : kDigests) {
    if (digest.oid == oid) {
      return &digest;
    }
  }
  return nullptr;
}

KeyKind kindOf(int nid) {
  switch (nid) {
    case NID_rsaEncryption:
      return KeyKind::kRsa;
    case NID_rsassaPss:
      return KeyKind::kRsaPss;
    case NID_X9_62_id_ecPublicKey:
      return KeyKind::kEc;
    case NID_dsa:
      return KeyKind::kDsa;
    case NID_ED25519:
      return KeyKind::kEd25519;
    case NID_id_GostR3410_2001:
      return KeyKind::kGost2001;
    case NID_id_GostR3410_2012_256:
      return KeyKind::kGost256;
    case NID_id_GostR3410_2012_512:
      return KeyKind::kGost512;
    default:
      return KeyKind::kOther;
  }
}

}  // namespace

std::string signatureName(const std::string& oid) {
  for (const NamedOid& named : kSignatures) {
    if (named.oid == oid) {
      return std::string(named.name);
    }
  }
  return oid;
}

std::string digestName(const std::string& oid) {
  const Digest* const digest = findDigest(oid);
  return digest == nullptr ? oid : std::string(digest->name);
}

bool isDigestTrusted(const std::string& oid) {
  const Digest* const digest = findDigest(oid);
  return digest != nullptr && digest->isTrusted;
}

bool isGostOid(const std::string& oid) {
  return oid.starts_with("1.2.643.");
}

KeyKind keyKindOf(EVP_PKEY* key) {
  return key == nullptr ? KeyKind::kOther : kindOf(EVP_PKEY_get_base_id(key));
}

KeyKind keyKindOf(X509* certificate) {
  // Read from the certificate itself: without the engine a GOST key does not decode, but is one.
  ASN1_OBJECT* algorithm = nullptr;
  X509_PUBKEY* const key = X509_get_X509_PUBKEY(certificate);
  if (key == nullptr || X509_PUBKEY_get0_param(&algorithm, nullptr, nullptr, nullptr, key) != 1) {
    return KeyKind::kOther;
  }
  return kindOf(OBJ_obj2nid(algorithm));
}

std::string oidText(const ASN1_OBJECT* object) {
  char text[256];
  const int length = OBJ_obj2txt(text, sizeof text, object, 1);
  return length > 0 && static_cast<std::size_t>(length) < sizeof text ? std::string(text)
                                                                      : std::string();
}

}  // namespace brennox::crypto
