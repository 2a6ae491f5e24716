// Each recipient of the message is compared with the own certificates by name and number; only keys
// that a recipient names are tried, never others.
//
// OpenSSL unwraps the content key and sets up the cipher; the ciphertext is run through that cipher
// here, in one call and in place. Two things OpenSSL and the GOST engine leave to their caller:
// parameters of GOST 28147-89 that do not decode end the process, and so does key agreement with
// GOST keys. Neither gets that far.
#include "crypto/decrypt.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <string>

#include "crypto/algorithms.h"
#include "crypto/engine.h"
#include "crypto/gost_checks.h"
#include "crypto/outline.h"

namespace brennox::crypto {
namespace {

// Key re-meshing sections of the ciphers with ACPKM (R 1323565.1.017-2018 leaves the size to the
// protocol; CMS uses these). The engine decrypts with a smaller one unless told.
constexpr int kKuznyechikSection = 256 * 1024;
constexpr int kMagmaSection = 8 * 1024;
// Own certificates may share a name and number; each attempt costs a private-key operation.
constexpr std::size_t kMaxAttempts = 16;
// Octets of the code that authenticates content (RFC 5084 section 3.2). OpenSSL compares as many as
// there are.
constexpr std::size_t kMinAuthenticationCode = 12;
constexpr std::size_t kMaxAuthenticationCode = 16;

enum class CipherFamily { kModern, kLegacy, kGost28147, kKuznyechik, kMagma };

struct Cipher {
  std::string_view oid;
  CipherFamily family;
  bool isAuthenticated;
};

constexpr std::array kCiphers{
    Cipher{"2.16.840.1.101.3.4.1.2", CipherFamily::kModern, false},     // AES-128-CBC
    Cipher{"2.16.840.1.101.3.4.1.22", CipherFamily::kModern, false},    // AES-192-CBC
    Cipher{"2.16.840.1.101.3.4.1.42", CipherFamily::kModern, false},    // AES-256-CBC
    Cipher{"2.16.840.1.101.3.4.1.6", CipherFamily::kModern, true},      // AES-128-GCM
    Cipher{"2.16.840.1.101.3.4.1.26", CipherFamily::kModern, true},     // AES-192-GCM
    Cipher{"2.16.840.1.101.3.4.1.46", CipherFamily::kModern, true},     // AES-256-GCM
    Cipher{"1.2.840.113549.3.7", CipherFamily::kModern, false},         // Triple DES
    Cipher{"1.2.392.200011.61.1.1.1.2", CipherFamily::kModern, false},  // Camellia-128-CBC
    Cipher{"1.2.392.200011.61.1.1.1.3", CipherFamily::kModern, false},
    Cipher{"1.2.392.200011.61.1.1.1.4", CipherFamily::kModern, false},
    Cipher{"1.2.840.113549.3.2", CipherFamily::kLegacy, false},  // RC2-CBC
    Cipher{"1.3.14.3.2.7", CipherFamily::kLegacy, false},        // DES-CBC
    Cipher{"1.2.643.2.2.21", CipherFamily::kGost28147, false},
    Cipher{"1.2.643.7.1.1.5.1.1", CipherFamily::kMagma, false},
    Cipher{"1.2.643.7.1.1.5.1.2", CipherFamily::kMagma, false},  // OMAC in an attribute
    Cipher{"1.2.643.7.1.1.5.2.1", CipherFamily::kKuznyechik, false},
    Cipher{"1.2.643.7.1.1.5.2.2", CipherFamily::kKuznyechik, false},
};

const Cipher* findCipher(std::string_view oid, bool isAuthenticated) {
  for (const Cipher& cipher : kCiphers) {
    if (cipher.oid == oid && cipher.isAuthenticated == isAuthenticated) {
      return &cipher;
    }
  }
  return nullptr;
}

bool isGostCipher(CipherFamily family) {
  return family != CipherFamily::kModern && family != CipherFamily::kLegacy;
}

GostCipher gostCipherOf(CipherFamily family) {
  if (family == CipherFamily::kGost28147) {
    return GostCipher::k28147;
  }
  return family == CipherFamily::kMagma ? GostCipher::kMagma : GostCipher::kKuznyechik;
}

// Ephemeral-static Diffie-Hellman on elliptic curves (RFC 5753 section 7.1.4): the arcs of SECG and
// ANSI X9.63.
bool isEllipticAgreement(const std::string& oid) {
  return oid.starts_with("1.3.132.1.11.") || oid.starts_with("1.3.132.1.14.") ||
         oid == "1.3.133.16.840.63.0.2" || oid == "1.3.133.16.840.63.0.3";
}

CmsHandle parseSkeleton(const EnvelopedOutline& outline, const Recipient& recipient,
                        CipherFamily family) {
  const std::string skeleton = skeletonOf(outline, recipient);
  const auto* in = reinterpret_cast<const unsigned char*>(skeleton.data());
  OSSL_LIB_CTX* const context = family == CipherFamily::kLegacy ? legacyContext() : nullptr;
  CMS_ContentInfo* cms = CMS_ContentInfo_new_ex(context, nullptr);
  // Frees the object it was given when it fails.
  return CmsHandle(d2i_CMS_ContentInfo(&cms, &in, static_cast<long>(skeleton.size())));
}

bool isFor(CMS_RecipientInfo* info, X509* certificate) {
  switch (CMS_RecipientInfo_type(info)) {
    case CMS_RECIPINFO_TRANS:
      return CMS_RecipientInfo_ktri_cert_cmp(info, certificate) == 0;
    case CMS_RECIPINFO_AGREE: {
      STACK_OF(CMS_RecipientEncryptedKey)* const keys = CMS_RecipientInfo_kari_get0_reks(info);
      for (int i = 0; i < sk_CMS_RecipientEncryptedKey_num(keys); ++i) {
        CMS_RecipientEncryptedKey* const key = sk_CMS_RecipientEncryptedKey_value(keys, i);
        if (CMS_RecipientEncryptedKey_cert_cmp(key, certificate) == 0) {
          return true;
        }
      }
      return false;
    }
    default:
      return false;
  }
}

bool isFor(CMS_ContentInfo* cms, X509* certificate) {
  STACK_OF(CMS_RecipientInfo)* const infos = CMS_get0_RecipientInfos(cms);
  return sk_CMS_RecipientInfo_num(infos) == 1 &&
         isFor(sk_CMS_RecipientInfo_value(infos, 0), certificate);
}

bool canOpen(const Recipient& recipient, X509* certificate) {
  const KeyKind kind = keyKindOf(certificate);
  if (recipient.kind == RecipientKind::kKeyAgreement) {
    return kind == KeyKind::kEc && isEllipticAgreement(recipient.algorithm);
  }
  return kind == KeyKind::kRsa || isGost(kind);
}

class Opening {
 public:
  Opening(Ref<Block> block, const std::vector<OwnCertificate>& own)
      : block_(std::move(block)), own_(own) {}

  DecryptStatus run(Ref<Data>& plaintext) {
    if (!readEnveloped({block_->bytes(), block_->size()}, outline_)) {
      return DecryptStatus::kMalformed;
    }
    cipher_ = findCipher(outline_.algorithm.oid, outline_.isAuthenticated);
    if (cipher_ == nullptr) {
      return DecryptStatus::kUnsupportedAlgorithm;
    }
    const std::size_t code = outline_.authenticationCode.size();
    if (cipher_->isAuthenticated &&
        (code < kMinAuthenticationCode || code > kMaxAuthenticationCode)) {
      return DecryptStatus::kMalformed;
    }
    if (isGostCipher(cipher_->family)) {
      if (!areGostParametersSound(gostCipherOf(cipher_->family), outline_.algorithm.parameters)) {
        return DecryptStatus::kMalformed;
      }
      if (!isGostAvailable()) {
        return DecryptStatus::kNoGost;
      }
    }
    if (cipher_->family == CipherFamily::kLegacy && legacyContext() == nullptr) {
      return DecryptStatus::kUnsupportedAlgorithm;
    }
    return tryRecipients(plaintext);
  }

 private:
  struct Candidate {
    const Recipient* recipient;
    const OwnCertificate* own;
  };

  DecryptStatus tryRecipients(Ref<Data>& plaintext) {
    std::vector<Candidate> candidates;
    // The outcome that says most: an attempt that failed says more than a key that was not to be
    // had.
    DecryptStatus outcome = collect(candidates);
    for (const Candidate& candidate : candidates) {
      const DecryptStatus status =
          tryKey(*candidate.recipient, *candidate.own, candidates.size() == 1, plaintext);
      if (status == DecryptStatus::kOpened) {
        return status;
      }
      outcome = std::max(outcome, status);
    }
    return outcome;
  }

  DecryptStatus collect(std::vector<Candidate>& candidates) const {
    DecryptStatus outcome = DecryptStatus::kNoKey;
    bool hasOnlyUnsupported = !outline_.recipients.empty();
    for (const Recipient& recipient : outline_.recipients) {
      if (recipient.kind == RecipientKind::kOther ||
          (recipient.kind == RecipientKind::kKeyAgreement &&
           !isEllipticAgreement(recipient.algorithm))) {
        continue;
      }
      hasOnlyUnsupported = false;
      const CmsHandle cms =
          own_.empty() ? nullptr : parseSkeleton(outline_, recipient, cipher_->family);
      if (!cms) {
        outcome = own_.empty() ? outcome : DecryptStatus::kMalformed;
        continue;
      }
      for (const OwnCertificate& own : own_) {
        if (candidates.size() < kMaxAttempts && isFor(cms.get(), own.certificate.get())) {
          candidates.push_back({&recipient, &own});
        }
      }
    }
    return hasOnlyUnsupported ? DecryptStatus::kUnsupportedRecipient : outcome;
  }

  DecryptStatus tryKey(const Recipient& recipient, const OwnCertificate& own, bool isOnlyChance,
                       Ref<Data>& plaintext) {
    if (!canOpen(recipient, own.certificate.get())) {
      return DecryptStatus::kUnsupportedRecipient;
    }
    if (isGost(keyKindOf(own.certificate.get()))) {
      if (!isGostAvailable()) {
        return DecryptStatus::kNoGost;
      }
      if (!isGostCipher(cipher_->family) ||
          !isGostTransportSound(recipient.algorithm, recipient.wrappedKey)) {
        return DecryptStatus::kMalformed;
      }
    }
    const KeyHandle key = own.openKey();
    if (!key) {
      return DecryptStatus::kKeyNotOpened;
    }
    // Afresh for each key: a failed attempt leaves its traces in the parsed message.
    const CmsHandle cms = parseSkeleton(outline_, recipient, cipher_->family);
    if (!cms) {
      return DecryptStatus::kFailed;
    }
    // A content key that cannot be unwrapped is replaced by a random one and the content run
    // through all the same, so that the time tells nothing about the padding of the wrapped key
    // (RFC 3218).
    const bool isUnwrapped = unwrap(cms.get(), recipient, key.get(), own.certificate.get());
    const bool isDecrypted = decryptContent(cms.get(), isOnlyChance, plaintext);
    if (!isUnwrapped || !isDecrypted) {
      plaintext.reset();
      return DecryptStatus::kFailed;
    }
    return DecryptStatus::kOpened;
  }

  // OpenSSL's call for both kinds reports success for key transport whether the key was right or
  // not.
  static bool unwrap(CMS_ContentInfo* cms, const Recipient& recipient, EVP_PKEY* key,
                     X509* certificate) {
    if (recipient.kind == RecipientKind::kKeyAgreement) {
      return CMS_decrypt_set1_pkey(cms, key, certificate) == 1;
    }
    CMS_RecipientInfo* const info = sk_CMS_RecipientInfo_value(CMS_get0_RecipientInfos(cms), 0);
    if (EVP_PKEY_up_ref(key) != 1) {
      return false;
    }
    if (CMS_RecipientInfo_set0_pkey(info, key) != 1) {
      EVP_PKEY_free(key);
      return false;
    }
    return CMS_RecipientInfo_decrypt(cms, info) == 1;
  }

  // In place when there is no second key to try, else into storage of its own.
  bool decryptContent(CMS_ContentInfo* cms, bool isInPlace, Ref<Data>& plaintext) {
    BioHandle source(BIO_new_mem_buf("", 0));
    if (!source) {
      return false;
    }
    BioHandle chain;
    {
      const EngineLeaks leaks;
      chain.reset(CMS_dataInit(cms, source.get()));
    }
    if (!chain) {
      return false;
    }
    // The chain ends in the source and owns it now.
    static_cast<void>(source.release());
    BIO* const cipherBio = BIO_find_type(chain.get(), BIO_TYPE_CIPHER);
    EVP_CIPHER_CTX* context = nullptr;
    if (cipherBio == nullptr || BIO_get_cipher_ctx(cipherBio, &context) != 1 ||
        !setSection(context) || !addAuthenticatedAttributes(context)) {
      return false;
    }
    const std::string_view ciphertext = joinContent();
    if (ciphertext.size() > INT_MAX - EVP_MAX_BLOCK_LENGTH) {
      return false;
    }
    Ref<Block> output = isInPlace ? block_ : Block::allocate(ciphertext.size());
    char* const start = isInPlace ? contentStart() : output->bytes();
    auto* const out = reinterpret_cast<unsigned char*>(start);
    int length = 0;
    int last = 0;
    if (!ciphertext.empty() &&
        EVP_CipherUpdate(context, out, &length,
                         reinterpret_cast<const unsigned char*>(ciphertext.data()),
                         static_cast<int>(ciphertext.size())) != 1) {
      return false;
    }
    std::array<unsigned char, EVP_MAX_BLOCK_LENGTH> tail{};
    if (EVP_CipherFinal_ex(context, tail.data(), &last) != 1) {
      OPENSSL_cleanse(start, ciphertext.size());
      return false;
    }
    std::memcpy(out + length, tail.data(), static_cast<std::size_t>(last));
    OPENSSL_cleanse(tail.data(), tail.size());
    plaintext = make<Data>(std::move(output), start,
                           static_cast<std::size_t>(length) + static_cast<std::size_t>(last));
    return true;
  }

  bool setSection(EVP_CIPHER_CTX* context) const {
    if (cipher_->family != CipherFamily::kKuznyechik && cipher_->family != CipherFamily::kMagma) {
      return true;
    }
    const int section =
        cipher_->family == CipherFamily::kKuznyechik ? kKuznyechikSection : kMagmaSection;
    return EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_KEY_MESH, section, nullptr) > 0;
  }

  // The authentication covers the attributes too, encoded as a plain set (RFC 5083 section 2.2).
  bool addAuthenticatedAttributes(EVP_CIPHER_CTX* context) const {
    if (outline_.authAttributes.empty()) {
      return true;
    }
    const std::optional<DerValue> attributes = DerReader(outline_.authAttributes).next();
    const std::string set = derWrap(kDerSet, attributes->content);
    int length = 0;
    return EVP_CipherUpdate(context, nullptr, &length,
                            reinterpret_cast<const unsigned char*>(set.data()),
                            static_cast<int>(set.size())) == 1;
  }

  char* contentStart() {
    return outline_.content.empty()
               ? block_->bytes()
               : block_->bytes() + (outline_.content.front().data() - block_->bytes());
  }

  // Programs that stream write the ciphertext in pieces; they are moved together over the heads
  // that stand between them.
  std::string_view joinContent() {
    char* const start = contentStart();
    char* end = start;
    for (const std::string_view piece : outline_.content) {
      std::memmove(end, piece.data(), piece.size());
      end += piece.size();
    }
    const std::string_view joined(start, static_cast<std::size_t>(end - start));
    outline_.content = {joined};
    return joined;
  }

  const Ref<Block> block_;
  const std::vector<OwnCertificate>& own_;
  EnvelopedOutline outline_;
  const Cipher* cipher_ = nullptr;
};

}  // namespace

const char* decryptStatusText(DecryptStatus status) {
  switch (status) {
    case DecryptStatus::kOpened:
      return "";
    case DecryptStatus::kSwitchedOff:
      return "Decryption is switched off";
    case DecryptStatus::kNoKey:
      return "No private key found for any recipient of this message";
    case DecryptStatus::kKeyNotOpened:
      return "The private key cannot be opened";
    case DecryptStatus::kNoGost:
      return "GOST cryptography is not available";
    case DecryptStatus::kUnsupportedRecipient:
      return "Unsupported recipient type";
    case DecryptStatus::kUnsupportedAlgorithm:
      return "Unsupported encryption algorithm OID";
    case DecryptStatus::kMalformed:
      return "The encrypted data is malformed";
    case DecryptStatus::kFailed:
      break;
  }
  return "Decryption failed";
}

DecryptResult decrypt(Ref<Block> cms, const std::vector<OwnCertificate>& own) {
  const ErrorQueueGuard errors;
  DecryptResult result;
  result.status = Opening(std::move(cms), own).run(result.content);
  return result;
}

}  // namespace brennox::crypto
