#include "crypto/verify.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <optional>

#include "crypto/algorithms.h"
#include "crypto/engine.h"
#include "crypto/outline.h"

namespace brennox::crypto {
namespace {

// A clock that is ahead makes signatures from the future; beyond this a signing time is not
// believed.
constexpr std::time_t kClockSkew = 5 * 60;
constexpr int kMaxChain = 16;
// Below this a key can be computed: bits of RSA, and of strength of the others (an elliptic curve
// has half as many as its points).
constexpr int kMinRsaBits = 1024;
constexpr int kMinStrength = 80;
// More authors than this are not held against a certificate: it is none of theirs.
constexpr std::size_t kMaxAuthors = 100;
// OpenSSL takes lengths as int.
constexpr std::size_t kMaxWrite = std::size_t{1} << 30;

struct SignerAlgorithms {
  std::string digest;
  std::string signature;
};

SignerAlgorithms algorithmsOf(CMS_SignerInfo* signer) {
  X509_ALGOR* digest = nullptr;
  X509_ALGOR* signature = nullptr;
  CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &digest, &signature);
  const ASN1_OBJECT* digestOid = nullptr;
  const ASN1_OBJECT* signatureOid = nullptr;
  X509_ALGOR_get0(&digestOid, nullptr, nullptr, digest);
  X509_ALGOR_get0(&signatureOid, nullptr, nullptr, signature);
  return {oidText(digestOid), oidText(signatureOid)};
}

std::optional<std::time_t> secondsOf(const ASN1_TIME* time) {
  std::tm parts{};
  if (time == nullptr || ASN1_TIME_to_tm(time, &parts) != 1) {
    return std::nullopt;
  }
  const std::chrono::year_month_day day{std::chrono::year(parts.tm_year + 1900),
                                        std::chrono::month(static_cast<unsigned>(parts.tm_mon + 1)),
                                        std::chrono::day(static_cast<unsigned>(parts.tm_mday))};
  const auto seconds = std::chrono::sys_days(day).time_since_epoch() +
                       std::chrono::hours(parts.tm_hour) + std::chrono::minutes(parts.tm_min) +
                       std::chrono::seconds(parts.tm_sec);
  return static_cast<std::time_t>(
      std::chrono::duration_cast<std::chrono::seconds>(seconds).count());
}

std::optional<std::time_t> signingTimeOf(CMS_SignerInfo* signer) {
  const int index = CMS_signed_get_attr_by_NID(signer, NID_pkcs9_signingTime, -1);
  X509_ATTRIBUTE* const attribute = index < 0 ? nullptr : CMS_signed_get_attr(signer, index);
  if (attribute == nullptr || X509_ATTRIBUTE_count(attribute) != 1) {
    return std::nullopt;
  }
  const ASN1_TYPE* const value = X509_ATTRIBUTE_get0_type(attribute, 0);
  if (value == nullptr) {
    return std::nullopt;
  }
  if (value->type == V_ASN1_UTCTIME) {
    return secondsOf(value->value.utctime);
  }
  return value->type == V_ASN1_GENERALIZEDTIME ? secondsOf(value->value.generalizedtime)
                                               : std::nullopt;
}

std::string timeText(std::time_t seconds) {
  const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
  const auto midnight = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day day(midnight);
  const std::chrono::hh_mm_ss clock(time - midnight);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ",
                static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                static_cast<unsigned>(day.day()), static_cast<int>(clock.hours().count()),
                static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text.data();
}

std::string derOf(X509* certificate) {
  const int length = i2d_X509(certificate, nullptr);
  std::string der(static_cast<std::size_t>(std::max(length, 0)), '\0');
  auto* out = reinterpret_cast<unsigned char*>(der.data());
  i2d_X509(certificate, &out);
  return der;
}

// The signature over the signed attributes was made for their digest. Without them it is made for
// the content's, so that the attributes of a genuine signature, given out as content, would verify:
// refuse content that reads as such a set.
bool looksLikeSignedAttributes(const Pieces& content) {
  constexpr std::size_t kLargestSet = 65536;
  std::string bytes;
  for (const std::string_view piece : content) {
    if (bytes.size() + piece.size() > kLargestSet) {
      return false;
    }
    bytes += piece;
  }
  DerReader outer(bytes);
  const std::optional<DerValue> set = outer.next(kDerSet);
  if (!set || !outer.atEnd()) {
    return false;
  }
  const std::optional<DerValue> attribute = DerReader(set->content).next(kDerSequence);
  return attribute && DerReader(attribute->content).next(kDerObjectIdentifier).has_value();
}

// A signature over attributes has to say what kind of content it signs, and rightly (section 11.1).
bool namesContentType(CMS_SignerInfo* signer, std::string_view contentType) {
  const int index = CMS_signed_get_attr_by_NID(signer, NID_pkcs9_contentType, -1);
  X509_ATTRIBUTE* const attribute = index < 0 ? nullptr : CMS_signed_get_attr(signer, index);
  if (attribute == nullptr || X509_ATTRIBUTE_count(attribute) != 1) {
    return false;
  }
  const ASN1_TYPE* const value = X509_ATTRIBUTE_get0_type(attribute, 0);
  const std::optional<DerValue> expected = DerReader(contentType).next();
  return value != nullptr && value->type == V_ASN1_OBJECT && expected &&
         oidText(value->value.object) == derObjectIdentifierText(expected->content);
}

class Verification {
 public:
  Verification(const SignedOutline& outline, const Pieces& content, const Trust& trust,
               const VerifySettings& settings)
      : outline_(outline), content_(content), trust_(trust), settings_(settings) {}

  Signature run() {
    Signature result;
    const std::string skeleton = skeletonOf(outline_);
    const auto* in = reinterpret_cast<const unsigned char*>(skeleton.data());
    cms_.reset(d2i_CMS_ContentInfo(nullptr, &in, static_cast<long>(skeleton.size())));
    if (!cms_) {
      return result;
    }
    embedded_.reset(CMS_get1_certs(cms_.get()));
    STACK_OF(CMS_SignerInfo)* const signers = CMS_get0_SignerInfos(cms_.get());
    const int count = sk_CMS_SignerInfo_num(signers);
    if (count <= 0) {
      return result;
    }
    describe(sk_CMS_SignerInfo_value(signers, 0), result);
    // Checked first, so that content is not digested with what would be refused anyway.
    bool isGood = true;
    for (int i = 0; i < count; ++i) {
      isGood = isGood && isAcceptable(sk_CMS_SignerInfo_value(signers, i));
    }
    if (!isGood || !digestContent()) {
      return result;
    }
    for (int i = 0; i < count; ++i) {
      if (!isRight(sk_CMS_SignerInfo_value(signers, i))) {
        return result;
      }
    }
    result.isGood = true;
    return result;
  }

 private:
  void describe(CMS_SignerInfo* signer, Signature& result) {
    const SignerAlgorithms algorithms = algorithmsOf(signer);
    result.signatureAlgorithm = signatureName(algorithms.signature);
    result.digestAlgorithm = digestName(algorithms.digest);
    if (X509* const certificate = certificateOf(signer)) {
      result.certificate = derOf(certificate);
    }
    if (const std::optional<std::time_t> time = signingTimeOf(signer)) {
      result.creationDate = timeText(*time);
    }
  }

  // Borrowed; null when nobody knows the signer.
  X509* certificateOf(CMS_SignerInfo* signer) const {
    for (int i = 0; i < sk_X509_num(embedded_.get()); ++i) {
      X509* const certificate = sk_X509_value(embedded_.get(), i);
      if (CMS_SignerInfo_cert_cmp(signer, certificate) == 0) {
        return certificate;
      }
    }
    for (const CertHandle& certificate : trust_.people) {
      if (CMS_SignerInfo_cert_cmp(signer, certificate.get()) == 0) {
        return certificate.get();
      }
    }
    return nullptr;
  }

  bool isAcceptable(CMS_SignerInfo* signer) const {
    const SignerAlgorithms algorithms = algorithmsOf(signer);
    if (!isDigestTrusted(algorithms.digest)) {
      return false;
    }
    X509* const certificate = certificateOf(signer);
    if (certificate == nullptr) {
      return false;
    }
    if ((isGostOid(algorithms.digest) || isGost(keyKindOf(certificate))) && !isGostAvailable()) {
      return false;
    }
    if (CMS_signed_get_attr_count(signer) > 0) {
      return namesContentType(signer, outline_.contentType);
    }
    return !looksLikeSignedAttributes(content_);
  }

  // Runs the content through the digests of all signers. Nothing is copied: what the chain passes
  // on ends nowhere.
  bool digestContent() {
    BioHandle sink(BIO_new(BIO_s_null()));
    if (!sink) {
      return false;
    }
    digests_.reset(CMS_dataInit(cms_.get(), sink.get()));
    if (!digests_) {
      return false;
    }
    // The chain ends in the sink and owns it now.
    static_cast<void>(sink.release());
    for (std::string_view piece : content_) {
      while (!piece.empty()) {
        const std::size_t length = std::min(piece.size(), kMaxWrite);
        if (BIO_write(digests_.get(), piece.data(), static_cast<int>(length)) !=
            static_cast<int>(length)) {
          return false;
        }
        piece.remove_prefix(length);
      }
    }
    return true;
  }

  bool isRight(CMS_SignerInfo* signer) {
    X509* const certificate = certificateOf(signer);
    CMS_SignerInfo_set1_signer_cert(signer, certificate);
    if (CMS_signed_get_attr_count(signer) > 0 && CMS_SignerInfo_verify(signer) != 1) {
      return false;
    }
    return CMS_SignerInfo_verify_content(signer, digests_.get()) == 1 && isTrusted(signer);
  }

  bool isTrusted(CMS_SignerInfo* signer) const {
    X509* const certificate = certificateOf(signer);
    const std::optional<std::time_t> signedAt = signingTimeOf(signer);
    const bool isCredible = signedAt && *signedAt <= settings_.now + kClockSkew;
    return hasChain(certificate, isCredible ? *signedAt : settings_.now) &&
           isAllowed(certificate, Use::kSign, settings_.policy) &&
           (settings_.policy != KeyUsagePolicy::kStrict || isOfAllAuthors(certificate));
  }

  bool isOfAllAuthors(X509* certificate) const {
    const std::vector<std::string>& authors = settings_.authors;
    const std::vector<std::string> addresses = addressesOf(certificate);
    const auto isCertified = [&](const std::string& author) {
      return std::any_of(addresses.begin(), addresses.end(), [&](const std::string& address) {
        return isSameMailbox(address, author);
      });
    };
    return !authors.empty() && authors.size() <= kMaxAuthors &&
           std::all_of(authors.begin(), authors.end(), isCertified);
  }

  bool hasChain(X509* certificate, std::time_t at) const {
    using Context = std::unique_ptr<X509_STORE_CTX, OpenSslDeleter<&X509_STORE_CTX_free>>;
    const Context context(X509_STORE_CTX_new());
    CertStackHandle untrusted(sk_X509_new_null());
    if (!context || !untrusted || !trust_.anchors) {
      return false;
    }
    for (int i = 0; i < sk_X509_num(embedded_.get()); ++i) {
      add(untrusted.get(), sk_X509_value(embedded_.get(), i));
    }
    for (const CertHandle& intermediate : trust_.intermediates) {
      add(untrusted.get(), intermediate.get());
    }
    if (X509_STORE_CTX_init(context.get(), trust_.anchors.get(), certificate, untrusted.get()) !=
        1) {
      return false;
    }
    const bool isForMail =
        settings_.policy == KeyUsagePolicy::kEmail || settings_.policy == KeyUsagePolicy::kStrict;
    X509_VERIFY_PARAM* const param = X509_STORE_CTX_get0_param(context.get());
    X509_VERIFY_PARAM_set_purpose(param, isForMail ? X509_PURPOSE_SMIME_SIGN : X509_PURPOSE_ANY);
    if (isForMail) {
      X509_STORE_CTX_set_verify_cb(context.get(), acceptAnyUsage);
    }
    X509_VERIFY_PARAM_set_time(param, at);
    X509_VERIFY_PARAM_set_depth(param, kMaxChain);
    return X509_verify_cert(context.get()) == 1 &&
           isStrong(X509_STORE_CTX_get0_chain(context.get()));
  }

  // A certificate for any extended use is one for mail (RFC 8550 section 4.4.4); OpenSSL's purpose
  // wants mail to be named. What the key is for is looked at elsewhere.
  static int acceptAnyUsage(int isGood, X509_STORE_CTX* context) {
    X509* const certificate = X509_STORE_CTX_get_current_cert(context);
    // All bits are set when the extension is missing.
    const bool isForAnything =
        isGood == 0 && X509_STORE_CTX_get_error(context) == X509_V_ERR_INVALID_PURPOSE &&
        certificate != nullptr && (X509_get_extension_flags(certificate) & EXFLAG_XKUSAGE) != 0 &&
        (X509_get_extended_key_usage(certificate) & XKU_ANYEKU) != 0;
    return isForAnything ? 1 : isGood;
  }

  static void add(STACK_OF(X509) * stack, X509* certificate) {
    if (X509_up_ref(certificate) == 1 && sk_X509_push(stack, certificate) == 0) {
      X509_free(certificate);
    }
  }

  // The certificates below the anchor must be signed with a digest that nobody can make collide at
  // will, and all keys must be of a size that nobody can break.
  static bool isStrong(STACK_OF(X509) * chain) {
    for (int i = 0; i < sk_X509_num(chain); ++i) {
      X509* const certificate = sk_X509_value(chain, i);
      const bool isAnchor = i + 1 == sk_X509_num(chain);
      if ((!isAnchor && !hasTrustedDigest(certificate)) || hasWeakKey(certificate)) {
        return false;
      }
    }
    return true;
  }

  static bool hasTrustedDigest(X509* certificate) {
    int digest = NID_undef;
    X509_get_signature_info(certificate, &digest, nullptr, nullptr, nullptr);
    // Some signatures (Ed25519) have a digest of their own inside.
    return digest == NID_undef || isDigestTrusted(oidText(OBJ_nid2obj(digest)));
  }

  static bool hasWeakKey(X509* certificate) {
    EVP_PKEY* const key = X509_get0_pubkey(certificate);
    switch (keyKindOf(certificate)) {
      case KeyKind::kRsa:
      case KeyKind::kRsaPss:
        return EVP_PKEY_get_bits(key) < kMinRsaBits;
      case KeyKind::kEc:
      case KeyKind::kDsa:
        return EVP_PKEY_get_security_bits(key) < kMinStrength;
      default:
        return false;
    }
  }

  const SignedOutline& outline_;
  const Pieces& content_;
  const Trust& trust_;
  const VerifySettings& settings_;
  CmsHandle cms_;
  CertStackHandle embedded_;
  BioHandle digests_;
};

}  // namespace

Signature verifyDetached(std::string_view cms, const Pieces& content, const Trust& trust,
                         const VerifySettings& settings) {
  const ErrorQueueGuard errors;
  SignedOutline outline;
  if (!readSigned(cms, outline)) {
    return {};
  }
  Signature signature = Verification(outline, content, trust, settings).run();
  signature.isGood = signature.isGood && !outline.hasContent;
  return signature;
}

OpaqueSignature verifyOpaque(std::string_view cms, const Trust& trust,
                             const VerifySettings& settings) {
  const ErrorQueueGuard errors;
  OpaqueSignature result;
  SignedOutline outline;
  if (!readSigned(cms, outline) || !outline.hasContent) {
    return result;
  }
  result.isSignedContent = true;
  result.signature = Verification(outline, outline.content, trust, settings).run();
  result.content = std::move(outline.content);
  return result;
}

}  // namespace brennox::crypto
