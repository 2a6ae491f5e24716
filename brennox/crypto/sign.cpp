#include "crypto/sign.h"

#include <openssl/rsa.h>

#include <algorithm>
#include <stdexcept>

#include "crypto/algorithms.h"
#include "crypto/engine.h"

namespace brennox::crypto {
namespace {

// OpenSSL takes lengths as int.
constexpr std::size_t kMaxWrite = std::size_t{1} << 30;

[[noreturn]] void fail(const char* text) {
  throw std::runtime_error(text);
}

struct DigestChoice {
  int nid;
  std::string_view micalg;
};

DigestChoice digestFor(KeyKind kind) {
  switch (kind) {
    case KeyKind::kRsa:
    case KeyKind::kRsaPss:
    case KeyKind::kEc:
      return {NID_sha256, "sha-256"};
    case KeyKind::kGost256:
      return {NID_id_GostR3411_2012_256, "gostr3411-2012-256"};
    case KeyKind::kGost512:
      return {NID_id_GostR3411_2012_512, "gostr3411-2012-512"};
    case KeyKind::kDsa:
    case KeyKind::kEd25519:
    case KeyKind::kGost2001:
    case KeyKind::kOther:
      break;
  }
  fail("The signing certificate's kind of key is not supported");
}

// What the signer can read (RFC 8551 section 2.5.2), best first.
void addCapabilities(CMS_SignerInfo* signer, bool hasGost) {
  STACK_OF(X509_ALGOR)* capabilities = nullptr;
  bool isAdded = true;
  if (hasGost) {
    isAdded = CMS_add_simple_smimecap(&capabilities, NID_id_Gost28147_89, -1) == 1;
  }
  for (const int nid : {NID_aes_256_gcm, NID_aes_256_cbc, NID_aes_128_gcm, NID_aes_128_cbc}) {
    isAdded = isAdded && CMS_add_simple_smimecap(&capabilities, nid, -1) == 1;
  }
  if (isAdded) {
    CMS_add_smimecap(signer, capabilities);
  }
  sk_X509_ALGOR_pop_free(capabilities, X509_ALGOR_free);
}

}  // namespace

std::string_view micalgOf(const Signer& signer) {
  return digestFor(keyKindOf(signer.certificate.get())).micalg;
}

std::size_t maxSignatureLength(const Signer& signer) {
  // Attributes, the signer's name, algorithms and the structure around it all.
  constexpr std::size_t kAllowance = 8192;
  const auto lengthOf = [](const CertHandle& certificate) {
    // Its issuer's name stands in the signer's information once more.
    return 2 * static_cast<std::size_t>(std::max(i2d_X509(certificate.get(), nullptr), 0));
  };
  std::size_t length = kAllowance + lengthOf(signer.certificate) +
                       static_cast<std::size_t>(std::max(EVP_PKEY_get_size(signer.key.get()), 0));
  for (const CertHandle& certificate : signer.chain) {
    length += lengthOf(certificate);
  }
  return length;
}

std::string sign(const Pieces& content, const Signer& signer) {
  const ErrorQueueGuard errors;
  const KeyKind kind = keyKindOf(signer.certificate.get());
  if (isGost(kind) && !isGostAvailable()) {
    fail("GOST cryptography is not available");
  }
  const DigestChoice choice = digestFor(kind);
  const EVP_MD* const digest = EVP_get_digestbynid(choice.nid);
  constexpr unsigned kFlags = CMS_DETACHED | CMS_BINARY | CMS_PARTIAL | CMS_STREAM;
  const CmsHandle cms(CMS_sign(nullptr, nullptr, nullptr, nullptr, kFlags));
  if (!cms || digest == nullptr) {
    fail("The message cannot be signed");
  }
  CMS_SignerInfo* const info =
      CMS_add1_signer(cms.get(), signer.certificate.get(), signer.key.get(), digest,
                      CMS_PARTIAL | CMS_NOSMIMECAP | CMS_KEY_PARAM);
  // OpenSSL would name a signature by a key that is bound to PSS as one without.
  if (info == nullptr ||
      (kind == KeyKind::kRsaPss && EVP_PKEY_CTX_set_rsa_padding(CMS_SignerInfo_get0_pkey_ctx(info),
                                                                RSA_PKCS1_PSS_PADDING) <= 0)) {
    fail("The message cannot be signed with this certificate");
  }
  addCapabilities(info, isGost(kind));
  for (const CertHandle& certificate : signer.chain) {
    // A certificate given twice is no error, and the root is known to those who trust it.
    if (X509_check_issued(certificate.get(), certificate.get()) != X509_V_OK) {
      CMS_add1_cert(cms.get(), certificate.get());
    }
  }

  BioHandle sink(BIO_new(BIO_s_null()));
  if (!sink) {
    fail("The message cannot be signed");
  }
  const BioHandle digests(CMS_dataInit(cms.get(), sink.get()));
  if (!digests) {
    fail("The message cannot be signed");
  }
  // The chain ends in the sink and owns it now.
  static_cast<void>(sink.release());
  for (std::string_view piece : content) {
    while (!piece.empty()) {
      const std::size_t length = std::min(piece.size(), kMaxWrite);
      if (BIO_write(digests.get(), piece.data(), static_cast<int>(length)) !=
          static_cast<int>(length)) {
        fail("The message cannot be signed");
      }
      piece.remove_prefix(length);
    }
  }
  if (CMS_dataFinal(cms.get(), digests.get()) != 1) {
    fail("The message cannot be signed with this key");
  }
  const int length = i2d_CMS_ContentInfo(cms.get(), nullptr);
  if (length <= 0) {
    fail("The message cannot be signed");
  }
  std::string der(static_cast<std::size_t>(length), '\0');
  auto* out = reinterpret_cast<unsigned char*>(der.data());
  i2d_CMS_ContentInfo(cms.get(), &out);
  return der;
}

}  // namespace brennox::crypto
