// OpenSSL made ready for this library: GOST algorithms and those of old mails.
#pragma once

#include "crypto/openssl.h"

#if defined(__SANITIZE_ADDRESS__)
#define BRENNOX_LEAKS_ARE_WATCHED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define BRENNOX_LEAKS_ARE_WATCHED
#endif
#endif
#if defined(BRENNOX_LEAKS_ARE_WATCHED)
#include <sanitizer/lsan_interface.h>
#endif

namespace brennox::crypto {

// True when the GOST engine is loaded. Loads it at the first call of the process; any thread.
bool isGostAvailable();

// A context that also knows the ciphers OpenSSL has put aside (RC2, DES), for reading old mails and
// old key files; null when the system has none. Never freed; any thread.
OSSL_LIB_CTX* legacyContext();

// While one lives, what the engine leaks by itself (an object identifier for each message with
// OMAC) is not held against us by the sanitizer that watches leaks. Does nothing otherwise.
class EngineLeaks {
 public:
#if defined(BRENNOX_LEAKS_ARE_WATCHED)
  EngineLeaks() {
    __lsan_disable();
  }
  ~EngineLeaks() {
    __lsan_enable();
  }
#else
  EngineLeaks() {}
  ~EngineLeaks() {}
#endif
  EngineLeaks(const EngineLeaks&) = delete;
  EngineLeaks& operator=(const EngineLeaks&) = delete;
};

}  // namespace brennox::crypto
