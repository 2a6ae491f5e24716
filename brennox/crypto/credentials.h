// Certificates and private keys out of the forms they are kept in: PEM, DER, PKCS#8, PKCS#12.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "crypto/openssl.h"

namespace brennox::crypto {

struct Credentials {
  // In the order of the input, but with the key's own certificate first.
  std::vector<CertHandle> certificates;
  KeyHandle key;
  // There is a private key, but the password does not open it.
  bool isKeyLocked = false;
};

// Reads whatever `bytes` hold; nothing in them that is known gives empty credentials. Never asks
// anybody for a password: `password` (null: none) is all there is.
Credentials readCredentials(std::string_view bytes, const Secret* password);

// The private key alone.
KeyHandle readKey(std::string_view bytes, const Secret* password);

CertHandle share(X509* certificate);
bool isPem(std::string_view text);

// Lower case hexadecimal digits of the certificate's digest.
std::string thumbprint(X509* certificate, const EVP_MD* digest);

}  // namespace brennox::crypto
