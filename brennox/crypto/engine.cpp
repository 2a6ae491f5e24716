#include "crypto/engine.h"

#include <gost_engine.h>
#include <openssl/provider.h>

namespace brennox::crypto {

bool isGostAvailable() {
  return cpcurl::loadGostEngine();
}

OSSL_LIB_CTX* legacyContext() {
  static OSSL_LIB_CTX* const context = []() -> OSSL_LIB_CTX* {
    const ErrorQueueGuard errors;
    // A context of its own: the process's default one keeps to the current algorithms.
    OSSL_LIB_CTX* const made = OSSL_LIB_CTX_new();
    if (made == nullptr || OSSL_PROVIDER_load(made, "default") == nullptr ||
        OSSL_PROVIDER_load(made, "legacy") == nullptr) {
      OSSL_LIB_CTX_free(made);
      return nullptr;
    }
    return made;
  }();
  return context;
}

}  // namespace brennox::crypto
