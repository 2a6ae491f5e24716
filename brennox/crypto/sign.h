// Making signatures that stand beside their content (CMS SignedData).
#pragma once

#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "crypto/openssl.h"
#include "crypto/verify.h"

namespace brennox::crypto {

struct Signer {
  CertHandle certificate;
  KeyHandle key;
  // Goes into the message with the certificate, so that others can follow it to an anchor they
  // know.
  std::vector<CertHandle> chain;
};

struct DetachedSignature {
  std::string cms;  // DER
  // The name of the digest as a multipart/signed gives it (RFC 8551 section 3.5.3.2).
  std::string_view micalg;
};

// Signs with the digest that the key prescribes (GOST) or SHA-256. Throws std::runtime_error.
DetachedSignature sign(const Pieces& content, const Signer& signer);

}  // namespace brennox::crypto
