// Authorities and people made on the spot for unit tests.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "crypto/decrypt.h"
#include "crypto/openssl.h"
#include "crypto/sign.h"
#include "crypto/verify.h"

namespace brennox::crypto::testing {

enum class Kind { kRsa, kRsaPss, kEc, kGost256, kGost512 };

struct CertificateWish {
  std::string name;
  std::string address;  // "": none
  // As an OpenSSL configuration would give them; "": no such extension.
  std::string keyUsage = "critical,digitalSignature,keyEncipherment,keyAgreement";
  std::string extendedKeyUsage = "emailProtection";
  bool isAuthority = false;
  // Seconds from now.
  long notBefore = -3600;
  long notAfter = 365L * 24 * 3600;
  std::string signingDigest = "SHA256";
  // Of the key, by its kind.
  unsigned rsaBits = 2048;
  const char* curve = "P-256";
};

class Person {
 public:
  Person(Kind kind, const CertificateWish& wish, const Person* issuer);

  X509* certificate() const { return certificate_.get(); }
  EVP_PKEY* key() const { return key_.get(); }

  Signer signer(const std::vector<const Person*>& chain = {}) const;
  OwnCertificate own() const;
  CertHandle recipient() const;
  std::string certificatePem() const;
  std::string certificateDer() const;
  // "" for `password`: not encrypted.
  std::string keyPem(const std::string& password = "") const;
  std::string pkcs12(const std::string& password) const;

 private:
  Kind kind_;
  KeyHandle key_;
  CertHandle certificate_;
};

// Known to everybody: an authority of each kind and somebody certified by it, made once.
const Person& authority(Kind kind);
const Person& person(Kind kind);

Trust trusting(const std::vector<const Person*>& anchors);
// Trusts the authorities of all kinds.
Trust trustingAll();

// Seconds since 1970.
std::time_t now();

// A message encrypted for `recipients`, as bytes.
std::string encrypted(std::string_view content, const std::vector<const Person*>& recipients);
// What the owner of `own` reads of it.
DecryptResult decrypted(std::string_view cms, const Person& own);
Ref<Block> blockOf(std::string_view bytes);

}  // namespace brennox::crypto::testing
