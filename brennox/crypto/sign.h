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

// The name of the digest that sign() uses, as a multipart/signed gives it (RFC 8551
// section 3.5.3.2). Throws std::runtime_error for a key that cannot sign.
std::string_view micalgOf(const Signer& signer);

// No signature of the signer is longer.
std::size_t maxSignatureLength(const Signer& signer);

// Signs with the digest that the key prescribes (GOST) or SHA-256: the signature in DER. Throws
// std::runtime_error.
std::string sign(const Pieces& content, const Signer& signer);

}  // namespace brennox::crypto
