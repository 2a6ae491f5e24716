// Finding the certificates that a script names.
//
// A name is, in this order: PEM text; the SHA-1 or SHA-256 thumbprint of a certificate in my/; a
// file; an address that a certificate of the store was issued for; base64 of a DER certificate or
// of PKCS#12.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "crypto/policy.h"
#include "crypto/sign.h"
#include "crypto/store.h"

namespace brennox::crypto {

struct LookupSettings {
  KeyUsagePolicy policy = KeyUsagePolicy::kNone;
  std::string policyName;
  std::time_t now = 0;
  // The mailbox of the author, and those of everybody the message names, the author included; the
  // strict policy holds them against the certificates.
  std::string author;
  std::vector<std::string> mailboxes;
};

// The certificate and key to sign with. `second` is the password of the key or a private key as PEM
// text; the text "undefined" may also mean that there is none. Throws std::runtime_error.
Signer findSigner(const StoreContents& store, std::string_view name,
                  const std::optional<std::string>& second, const LookupSettings& settings);

// The certificates to encrypt for; a PEM text may hold several. Throws std::runtime_error when a
// single one of them cannot be found or used: nobody is left out in silence.
std::vector<CertHandle> findRecipients(const StoreContents& store,
                                       const std::vector<std::string>& names,
                                       const LookupSettings& settings);

}  // namespace brennox::crypto
