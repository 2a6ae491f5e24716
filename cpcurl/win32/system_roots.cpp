// Windows keeps the authorities in the store "ROOT", each with the purposes that it is trusted for.

#include "system_store.h"
// OpenSSL's headers undo what the system's define, which has to come first.
#include <openssl/err.h>
#include <openssl/x509.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "system_roots.h"

namespace cpcurl {
namespace {

// What cannot be found out counts as not trusted.
bool isTrustedFor(PCCERT_CONTEXT certificate, std::string_view purpose) {
  DWORD length = 0;
  if (CertGetEnhancedKeyUsage(certificate, 0, nullptr, &length) == FALSE) {
    return false;
  }
  std::vector<std::uint64_t> answer((length + 7) / 8);
  auto* const usage = reinterpret_cast<CERT_ENHKEY_USAGE*>(answer.data());
  SetLastError(ERROR_SUCCESS);
  if (CertGetEnhancedKeyUsage(certificate, 0, usage, &length) == FALSE) {
    return false;
  }
  if (usage->cUsageIdentifier == 0) {
    // Either every purpose or none.
    return GetLastError() == static_cast<DWORD>(CRYPT_E_NOT_FOUND);
  }
  return std::any_of(usage->rgpszUsageIdentifier,
                     usage->rgpszUsageIdentifier + usage->cUsageIdentifier,
                     [purpose](const char* allowed) { return allowed == purpose; });
}

}  // namespace

int addSystemRoots(X509_STORE* store, RootsFor purpose) {
  const std::string_view usage =
      purpose == RootsFor::kServers ? szOID_PKIX_KP_SERVER_AUTH : szOID_PKIX_KP_EMAIL_PROTECTION;
  int count = 0;
  ERR_set_mark();
  forEachSystemRoot([&](PCCERT_CONTEXT certificate) {
    if (!isTrustedFor(certificate, usage)) {
      return;
    }
    const unsigned char* bytes = certificate->pbCertEncoded;
    X509* const root = d2i_X509(nullptr, &bytes, static_cast<long>(certificate->cbCertEncoded));
    count += root != nullptr && X509_STORE_add_cert(store, root) == 1 ? 1 : 0;
    X509_free(root);
  });
  ERR_pop_to_mark();
  return count;
}

}  // namespace cpcurl
