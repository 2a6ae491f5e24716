// Engines are deprecated, but GOST comes as one.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "crypto/engine.h"

#include <openssl/provider.h>

#include <mutex>

#ifndef OPENSSL_NO_ENGINE
#include <openssl/engine.h>
#endif

namespace brennox::crypto {
namespace {

bool loadGost() {
  const ErrorQueueGuard errors;
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  ENGINE_load_dynamic();
  ENGINE* const engine = ENGINE_by_id("gost");
  if (engine == nullptr) {
    return false;
  }
  const bool isReady = ENGINE_init(engine) == 1;
  return isReady && ENGINE_set_default(engine, ENGINE_METHOD_ALL) == 1;
}

}  // namespace

bool isGostAvailable() {
  static const bool isLoaded = loadGost();
  return isLoaded;
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
