#include "trust_store.h"

#include <openssl/x509_vfy.h>

#include <mutex>
#include <string>
#include <utility>

#include "trusted_bundle.h"

namespace cpcurl {
namespace {

struct Shared {
  std::mutex mutex;
  // The rest under the mutex.
  X509_STORE* store = nullptr;
  std::string mark;
  std::uint64_t generation = 0;
};

// Never deleted: threads may still connect while the process exits.
Shared& shared() {
  static Shared* const instance = new Shared;
  return *instance;
}

// Reads the bundle when that has not happened yet or the file has changed. The lock is held.
void refresh(Shared& trust) {
  std::string mark = bundleMark();
  if (trust.store && mark == trust.mark) {
    return;
  }
  X509_STORE* const fresh = readBundle();
  if (fresh) {
    // As libcurl sets them: prefer what is trusted, and an intermediate in the bundle is trusted as
    // it is.
    X509_STORE_set_flags(fresh, X509_V_FLAG_TRUSTED_FIRST | X509_V_FLAG_PARTIAL_CHAIN);
  }
  X509_STORE_free(trust.store);
  trust.store = fresh;
  trust.mark = std::move(mark);
  trust.generation++;
}

}  // namespace

X509_STORE* acquireTrustStore() noexcept {
  Shared& trust = shared();
  const std::lock_guard lock(trust.mutex);
  refresh(trust);
  if (!trust.store) {
    return nullptr;
  }
  X509_STORE_up_ref(trust.store);
  return trust.store;
}

std::uint64_t trustGeneration() noexcept {
  Shared& trust = shared();
  const std::lock_guard lock(trust.mutex);
  refresh(trust);
  return trust.generation;
}

}  // namespace cpcurl
