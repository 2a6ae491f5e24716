// There is no GOST engine for the OpenSSL that Windows builds bring along.
#include "gost_engine.h"

#include <openssl/crypto.h>

namespace cpcurl {

bool loadGostEngine() noexcept {
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  return false;
}

}  // namespace cpcurl
