// Going through the system's store of certificate authorities.
#pragma once

// In this order only.
// clang-format off
#include <windows.h>
#include <wincrypt.h>
// clang-format on

namespace cpcurl {

// The context is lent for the length of the call.
template <class Visit>
void forEachSystemRoot(const Visit& visit) {
  const HCERTSTORE roots = CertOpenSystemStoreW(0, L"ROOT");
  if (roots == nullptr) {
    return;
  }
  // Each call gives back the one before.
  PCCERT_CONTEXT certificate = nullptr;
  while ((certificate = CertEnumCertificatesInStore(roots, certificate)) != nullptr) {
    visit(certificate);
  }
  CertCloseStore(roots, 0);
}

}  // namespace cpcurl
