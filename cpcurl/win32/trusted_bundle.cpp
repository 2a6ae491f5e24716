#include "system_store.h"
// OpenSSL's headers undo what the system's define, which has to come first.
#include <openssl/x509_vfy.h>

#include <chrono>
#include <mutex>

#include "system_roots.h"
#include "trusted_bundle.h"

namespace cpcurl {
namespace {

// The store is gone through again after this time only.
constexpr std::chrono::seconds kCheckInterval{2};

struct Checked {
  std::mutex mutex;
  // Both under the mutex.
  std::chrono::steady_clock::time_point at;
  std::string mark;
};

// Never deleted: threads may still connect while the process exits.
Checked& checked() {
  static Checked* const instance = new Checked;
  return *instance;
}

}  // namespace

// The thumbprints of all of them.
std::string bundleMark() {
  Checked& last = checked();
  const std::lock_guard lock(last.mutex);
  const auto now = std::chrono::steady_clock::now();
  if (!last.mark.empty() && now - last.at < kCheckInterval) {
    return last.mark;
  }
  last.at = now;
  last.mark = "ROOT:";
  forEachSystemRoot([&](PCCERT_CONTEXT certificate) {
    char thumbprint[20] = {};
    DWORD length = sizeof thumbprint;
    CertGetCertificateContextProperty(certificate, CERT_SHA1_HASH_PROP_ID, thumbprint, &length);
    last.mark.append(thumbprint, sizeof thumbprint);
  });
  return last.mark;
}

X509_STORE* readBundle() {
  X509_STORE* const store = X509_STORE_new();
  if (store != nullptr) {
    addSystemRoots(store, RootsFor::kServers);
  }
  return store;
}

}  // namespace cpcurl
