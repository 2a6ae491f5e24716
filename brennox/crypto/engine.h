// OpenSSL made ready for this library: GOST algorithms and those of old mails.
#pragma once

#include "crypto/openssl.h"

namespace brennox::crypto {

// True when the GOST engine is loaded. Loads it at the first call of the process; any thread.
bool isGostAvailable();

// A context that also knows the ciphers OpenSSL has put aside (RC2, DES), for reading old mails and
// old key files; null when the system has none. Never freed; any thread.
OSSL_LIB_CTX* legacyContext();

}  // namespace brennox::crypto
