// Opening encrypted content (CMS EnvelopedData, RFC 5652 section 6, and AuthEnvelopedData, RFC
// 5083).
#pragma once

#include <brennox/Data.h>

#include <functional>
#include <string_view>
#include <vector>

#include "crypto/openssl.h"

namespace brennox::crypto {

enum class DecryptStatus {
  kOpened,
  kSwitchedOff,
  kNoKey,
  kKeyNotOpened,
  kNoGost,
  kUnsupportedRecipient,
  kUnsupportedAlgorithm,
  kMalformed,
  kFailed,
};

// The text for people. One for everything that can go wrong with the right key: which check failed
// is nothing that a sender of forged mails should learn.
const char* decryptStatusText(DecryptStatus status);

// A certificate whose private key can be had. The key is asked for only when a message names the
// certificate, and freed at once.
struct OwnCertificate {
  CertHandle certificate;
  // Null when the key cannot be opened.
  std::function<KeyHandle()> openKey;
};

struct DecryptResult {
  DecryptStatus status = DecryptStatus::kMalformed;
  Ref<Data> content;  // null unless opened
};

// Opens the message that fills `cms`. The block must be the caller's alone: the content is
// decrypted where it lies, and the block is of no other use afterwards.
DecryptResult decrypt(Ref<Block> cms, const std::vector<OwnCertificate>& own);

}  // namespace brennox::crypto
