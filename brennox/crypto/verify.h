// Verifying signatures (CMS SignedData, RFC 5652 section 5).
#pragma once

#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "crypto/openssl.h"
#include "crypto/policy.h"

namespace brennox::crypto {

// Bytes in pieces that stand in different places.
using Pieces = std::vector<std::string_view>;

// What a verification may draw on beside the message.
struct Trust {
  CertStoreHandle anchors;
  std::vector<CertHandle> intermediates;  // links of chains
  std::vector<CertHandle> people;         // signers whose message carries no certificate
};

struct VerifySettings {
  KeyUsagePolicy policy = KeyUsagePolicy::kNone;
  // The mailboxes of the authors; the strict policy wants all of them in the certificate.
  std::vector<std::string> authors;
  // Seconds since 1970; a signature without a (credible) time of its own is judged at this one.
  std::time_t now = 0;
};

struct Signature {
  // Every signer's signature is right, its digest trusted, its certificate chained to an anchor at
  // the time of signing, and its use allowed.
  bool isGood = false;
  // Of the first signer: the certificate in DER ("" when it was not found), the time as
  // 2026-11-21T07:46:45Z ("" when there is none), and the names of the algorithms.
  std::string certificate;
  std::string creationDate;
  std::string signatureAlgorithm;
  std::string digestAlgorithm;
};

// A signature that stands beside its content. One that brings content of its own is not good.
Signature verifyDetached(std::string_view cms, const Pieces& content, const Trust& trust,
                         const VerifySettings& settings);

// A signature around its content, which is given out whether it is good or not.
struct OpaqueSignature {
  // False for something that holds no content and no signer (a mere bag of certificates), or is
  // malformed.
  bool isSignedContent = false;
  Pieces content;  // into the message
  Signature signature;
};
OpaqueSignature verifyOpaque(std::string_view cms, const Trust& trust,
                             const VerifySettings& settings);

}  // namespace brennox::crypto
