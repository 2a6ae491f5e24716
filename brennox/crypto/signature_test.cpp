#include <gtest/gtest.h>

#include "crypto/outline.h"
#include "crypto/people_for_tests.h"
#include "crypto/sign.h"
#include "crypto/verify.h"

namespace brennox::crypto {
namespace {

using testing::CertificateWish;
using testing::Kind;
using testing::Person;

constexpr std::string_view kContent = "Content-Type: text/plain\r\n\r\nSigned.\r\n";

VerifySettings settings(KeyUsagePolicy policy = KeyUsagePolicy::kNone, std::string author = "") {
  VerifySettings result;
  result.policy = policy;
  result.authors = {std::move(author)};
  result.now = testing::now();
  return result;
}

struct KindRow {
  Kind kind;
  const char* signatureAlgorithm;
  const char* digestAlgorithm;
  const char* micalg;
};

class SignatureOfKind : public ::testing::TestWithParam<KindRow> {};

TEST_P(SignatureOfKind, IsGoodForTheContentAndForNoOther) {
  const KindRow& row = GetParam();
  const Person& person = testing::person(row.kind);
  const std::string made = sign({kContent}, person.signer());
  EXPECT_EQ(micalgOf(person.signer()), row.micalg);
  EXPECT_LE(made.size(), maxSignatureLength(person.signer()));

  const Signature good = verifyDetached(made, {kContent}, testing::trustingAll(), settings());
  EXPECT_TRUE(good.isGood);
  EXPECT_EQ(good.certificate, person.certificateDer());
  EXPECT_EQ(good.signatureAlgorithm, row.signatureAlgorithm);
  EXPECT_EQ(good.digestAlgorithm, row.digestAlgorithm);
  EXPECT_EQ(good.creationDate.size(), std::string_view("2026-11-21T07:46:45Z").size());

  const Signature bad = verifyDetached(made, {kContent, "!"}, testing::trustingAll(), settings());
  EXPECT_FALSE(bad.isGood);
  EXPECT_EQ(bad.signatureAlgorithm, row.signatureAlgorithm);
}

TEST_P(SignatureOfKind, NeedsAnAnchor) {
  const std::string made = sign({kContent}, testing::person(GetParam().kind).signer());
  EXPECT_FALSE(verifyDetached(made, {kContent}, testing::trusting({}), settings()).isGood);
}

INSTANTIATE_TEST_SUITE_P(All, SignatureOfKind,
                         ::testing::Values(KindRow{Kind::kRsa, "RSA", "SHA-256", "sha-256"},
                                           KindRow{Kind::kRsaPss, "RSA-PSS", "SHA-256", "sha-256"},
                                           KindRow{Kind::kEc, "ECDSA", "SHA-256", "sha-256"},
                                           KindRow{Kind::kGost256, "GOST R 34.10-2012 256",
                                                   "GOST R 34.11-2012 256", "gostr3411-2012-256"},
                                           KindRow{Kind::kGost512, "GOST R 34.10-2012 512",
                                                   "GOST R 34.11-2012 512", "gostr3411-2012-512"}));

// What other programs make: a message by OpenSSL's own ways.
std::string signedBy(const std::vector<const Person*>& people, const char* digest, unsigned flags,
                     std::string_view content = kContent) {
  const CmsHandle cms(CMS_sign(nullptr, nullptr, nullptr, nullptr, flags | CMS_PARTIAL));
  for (const Person* const person : people) {
    CMS_add1_signer(cms.get(), person->certificate(), person->key(), EVP_get_digestbyname(digest),
                    flags);
  }
  const BioHandle in(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
  const BioHandle out(BIO_new(BIO_s_mem()));
  if ((flags & CMS_STREAM) != 0) {
    i2d_CMS_bio_stream(out.get(), cms.get(), in.get(), static_cast<int>(flags));
  } else {
    CMS_final(cms.get(), in.get(), nullptr, flags);
    i2d_CMS_bio(out.get(), cms.get());
  }
  char* bytes = nullptr;
  const long length = BIO_get_mem_data(out.get(), &bytes);
  return std::string(bytes, static_cast<std::size_t>(length));
}

std::string joined(const Pieces& pieces) {
  std::string all;
  for (const std::string_view piece : pieces) {
    all += piece;
  }
  return all;
}

TEST(OpaqueSignature, GivesItsContentInOneOrManyPieces) {
  const std::string large(300'000, 'x');
  for (const unsigned flags : {unsigned{CMS_BINARY}, unsigned{CMS_BINARY | CMS_STREAM}}) {
    const std::string cms = signedBy({&testing::person(Kind::kEc)}, "SHA256", flags, large);
    const OpaqueSignature opened = verifyOpaque(cms, testing::trustingAll(), settings());
    EXPECT_TRUE(opened.isSignedContent);
    EXPECT_TRUE(opened.signature.isGood);
    EXPECT_TRUE(joined(opened.content) == large);
  }
}

TEST(OpaqueSignature, ABagOfCertificatesIsNone) {
  const CmsHandle cms(CMS_sign(nullptr, nullptr, nullptr, nullptr, CMS_PARTIAL | CMS_DETACHED));
  CMS_add1_cert(cms.get(), testing::person(Kind::kEc).certificate());
  const BioHandle out(BIO_new(BIO_s_mem()));
  i2d_CMS_bio(out.get(), cms.get());
  char* bytes = nullptr;
  const long length = BIO_get_mem_data(out.get(), &bytes);
  EXPECT_FALSE(
      verifyOpaque({bytes, static_cast<std::size_t>(length)}, testing::trustingAll(), settings())
          .isSignedContent);
}

TEST(Signature, BesideItsContentMustNotBringContentOfItsOwn) {
  const std::string cms = signedBy({&testing::person(Kind::kEc)}, "SHA256", CMS_BINARY);
  EXPECT_FALSE(verifyDetached(cms, {kContent}, testing::trustingAll(), settings()).isGood);
}

TEST(Signature, WithMd5OrSha1IsNotGood) {
  for (const char* const digest : {"MD5", "SHA1"}) {
    const std::string cms =
        signedBy({&testing::person(Kind::kRsa)}, digest, CMS_BINARY | CMS_DETACHED);
    const Signature signature = verifyDetached(cms, {kContent}, testing::trustingAll(), settings());
    EXPECT_FALSE(signature.isGood) << digest;
    EXPECT_EQ(signature.signatureAlgorithm, "RSA");
  }
  EXPECT_TRUE(
      verifyDetached(signedBy({&testing::person(Kind::kRsa)}, "SHA512", CMS_BINARY | CMS_DETACHED),
                     {kContent}, testing::trustingAll(), settings())
          .isGood);
}

TEST(Signature, OfSeveralSignersNeedsAllOfThem) {
  CertificateWish wish;
  wish.name = "Rogue";
  wish.address = "person0@example.org";
  const Person rogue(Kind::kEc, wish, nullptr);
  const Person& good = testing::person(Kind::kRsa);
  const auto isGood = [&](const std::vector<const Person*>& people) {
    return verifyDetached(signedBy(people, "SHA256", CMS_BINARY | CMS_DETACHED), {kContent},
                          testing::trustingAll(), settings())
        .isGood;
  };
  EXPECT_TRUE(isGood({&good, &testing::person(Kind::kEc)}));
  EXPECT_FALSE(isGood({&good, &rogue}));
  EXPECT_FALSE(isGood({&rogue, &good}));
  EXPECT_FALSE(isGood({}));
}

TEST(Signature, WithoutSignedAttributesIsRead) {
  const std::string cms =
      signedBy({&testing::person(Kind::kRsa)}, "SHA256", CMS_BINARY | CMS_DETACHED | CMS_NOATTR);
  const Signature signature = verifyDetached(cms, {kContent}, testing::trustingAll(), settings());
  EXPECT_TRUE(signature.isGood);
  EXPECT_EQ(signature.creationDate, "");
}

// The signature of a genuine message is made over its attributes. Strip them and hand them out as
// content, and it is right again, for words nobody wrote.
TEST(Signature, OverAttributesIsNotGoodForThemAsContent) {
  const Person& person = testing::person(Kind::kRsa);
  const std::string attributes =
      derWrap(kDerSet, derWrap(kDerSequence, derWrap(kDerObjectIdentifier, "\x2A\x03") +
                                                 derWrap(kDerSet, derWrap(kDerNull, ""))));
  const std::string cms =
      signedBy({&person}, "SHA256", CMS_BINARY | CMS_DETACHED | CMS_NOATTR, attributes);
  EXPECT_FALSE(verifyDetached(cms, {attributes}, testing::trustingAll(), settings()).isGood);
}

TEST(Signature, ChainIsJudgedAtTheTimeOfSigning) {
  CertificateWish wish;
  wish.name = "Short";
  wish.notBefore = -100;
  wish.notAfter = 100;
  const Person brief(Kind::kEc, wish, &testing::authority(Kind::kEc));
  const std::string made = sign({kContent}, brief.signer());
  const std::string timeless = signedBy({&brief}, "SHA256", CMS_BINARY | CMS_DETACHED | CMS_NOATTR);
  VerifySettings later = settings();
  later.now += 10'000;
  EXPECT_TRUE(verifyDetached(made, {kContent}, testing::trustingAll(), later).isGood);
  EXPECT_FALSE(verifyDetached(timeless, {kContent}, testing::trustingAll(), later).isGood);

  // A time of signing that lies in the future is not believed.
  VerifySettings earlier = settings();
  earlier.now -= 200;
  EXPECT_TRUE(verifyDetached(made, {kContent}, testing::trustingAll(), earlier).isGood);
  earlier.now -= 200;
  EXPECT_FALSE(verifyDetached(made, {kContent}, testing::trustingAll(), earlier).isGood);
}

TEST(Signature, ByACertificateThatAnEndEntityIssuedIsNotGood) {
  CertificateWish wish;
  wish.name = "Leaf of a leaf";
  const Person leaf(Kind::kEc, wish, &testing::person(Kind::kEc));
  const std::string made = sign({kContent}, leaf.signer({&testing::person(Kind::kEc)}));
  EXPECT_FALSE(verifyDetached(made, {kContent}, testing::trustingAll(), settings()).isGood);
}

// A certificate that somebody else could have been given instead, or whose key somebody else could
// compute.
TEST(Signature, NeedsAChainOfStrongLinks) {
  const auto isGood = [](Kind kind, const CertificateWish& wish, const CertificateWish& link) {
    const Person intermediate(Kind::kEc, link, &testing::authority(Kind::kEc));
    const Person signer(kind, wish, &intermediate);
    return verifyDetached(sign({kContent}, signer.signer({&intermediate})), {kContent},
                          testing::trustingAll(), settings())
        .isGood;
  };
  CertificateWish link;
  link.name = "Link";
  link.isAuthority = true;
  CertificateWish wish;
  wish.name = "Signer";
  EXPECT_TRUE(isGood(Kind::kEc, wish, link));
  CertificateWish collidable = link;
  collidable.signingDigest = "SHA1";
  EXPECT_FALSE(isGood(Kind::kEc, wish, collidable));
  for (const char* const digest : {"MD5", "SHA1", "SHA224"}) {
    collidable = wish;
    collidable.signingDigest = digest;
    const Person signer(Kind::kEc, collidable, &testing::authority(Kind::kRsa));
    EXPECT_EQ(verifyDetached(sign({kContent}, signer.signer()), {kContent}, testing::trustingAll(),
                             settings())
                  .isGood,
              digest == std::string_view("SHA224"));
  }
  CertificateWish weak = wish;
  weak.rsaBits = 1024;
  EXPECT_TRUE(isGood(Kind::kRsa, weak, link));
  weak.rsaBits = 1016;
  EXPECT_FALSE(isGood(Kind::kRsa, weak, link));
  weak.curve = "secp160r1";
  EXPECT_TRUE(isGood(Kind::kEc, weak, link));
  weak.curve = "secp128r1";
  EXPECT_FALSE(isGood(Kind::kEc, weak, link));
}

// Which of several authors a reader shows is not known here.
TEST(Signature, IsHeldToAllAuthorsByTheStrictPolicy) {
  const Person& person = testing::person(Kind::kEc);
  const std::string made = sign({kContent}, person.signer());
  const std::string own = "person2@example.org";
  const auto isGood = [&](std::vector<std::string> authors) {
    VerifySettings strict = settings(KeyUsagePolicy::kStrict);
    strict.authors = std::move(authors);
    return verifyDetached(made, {kContent}, testing::trustingAll(), strict).isGood;
  };
  EXPECT_TRUE(isGood({own}));
  EXPECT_TRUE(isGood({own, own}));
  EXPECT_FALSE(isGood({own, "other@example.org"}));
  EXPECT_FALSE(isGood({"other@example.org", own}));
  EXPECT_FALSE(isGood({}));
  EXPECT_TRUE(isGood(std::vector<std::string>(100, own)));
  EXPECT_FALSE(isGood(std::vector<std::string>(101, own)));
}

TEST(Signature, FindsLinksInTheMessageOrInTheStore) {
  CertificateWish wish;
  wish.name = "Intermediate";
  wish.isAuthority = true;
  const Person intermediate(Kind::kEc, wish, &testing::authority(Kind::kEc));
  wish.name = "Below";
  wish.isAuthority = false;
  const Person below(Kind::kEc, wish, &intermediate);
  const std::string with = sign({kContent}, below.signer({&intermediate}));
  const std::string without = sign({kContent}, below.signer());
  Trust trust = testing::trustingAll();
  EXPECT_TRUE(verifyDetached(with, {kContent}, trust, settings()).isGood);
  EXPECT_FALSE(verifyDetached(without, {kContent}, trust, settings()).isGood);
  trust.intermediates.push_back(intermediate.recipient());
  EXPECT_TRUE(verifyDetached(without, {kContent}, trust, settings()).isGood);
}

TEST(Signature, FindsTheSignerInTheStore) {
  const Person& person = testing::person(Kind::kRsa);
  const std::string cms = signedBy({&person}, "SHA256", CMS_BINARY | CMS_DETACHED | CMS_NOCERTS);
  Trust trust = testing::trustingAll();
  const Signature unknown = verifyDetached(cms, {kContent}, trust, settings());
  EXPECT_FALSE(unknown.isGood);
  EXPECT_EQ(unknown.certificate, "");
  EXPECT_EQ(unknown.digestAlgorithm, "SHA-256");
  trust.people.push_back(person.recipient());
  EXPECT_TRUE(verifyDetached(cms, {kContent}, trust, settings()).isGood);
}

struct PolicyRow {
  const char* keyUsage;
  const char* extendedKeyUsage;
  const char* address;
  bool none, keyUsagePolicy, email, strict;
};

TEST(Signature, IsHeldToThePolicy) {
  const PolicyRow rows[] = {
      {"digitalSignature", "emailProtection", "author@example.org", true, true, true, true},
      {"nonRepudiation", "emailProtection", "Author@Example.ORG", true, true, true, true},
      {"digitalSignature", "emailProtection", "other@example.org", true, true, true, false},
      {"digitalSignature", "", "author@example.org", true, true, true, false},
      {"", "emailProtection", "author@example.org", true, true, true, false},
      {"", "", "", true, true, true, false},
      {"keyEncipherment", "emailProtection", "author@example.org", true, false, false, false},
      {"digitalSignature", "serverAuth", "author@example.org", true, true, false, false},
      {"digitalSignature", "anyExtendedKeyUsage", "author@example.org", true, true, true, true},
      {"keyEncipherment", "anyExtendedKeyUsage", "author@example.org", true, false, false, false},
  };
  for (const PolicyRow& row : rows) {
    CertificateWish wish;
    wish.name = "Held";
    wish.keyUsage = row.keyUsage;
    wish.extendedKeyUsage = row.extendedKeyUsage;
    wish.address = row.address;
    const Person held(Kind::kEc, wish, &testing::authority(Kind::kEc));
    const std::string made = sign({kContent}, held.signer());
    const auto isGood = [&](const char* name) {
      return verifyDetached(made, {kContent}, testing::trustingAll(),
                            settings(policyNamed(name), "author@example.org"))
          .isGood;
    };
    const std::string shown =
        std::string(row.keyUsage) + "/" + row.extendedKeyUsage + "/" + row.address;
    EXPECT_EQ(isGood("kupNone"), row.none) << shown;
    EXPECT_EQ(isGood(""), row.none) << shown;
    EXPECT_EQ(isGood("kupKeyUsage"), row.keyUsagePolicy) << shown;
    EXPECT_EQ(isGood("kupEmail"), row.email) << shown;
    EXPECT_EQ(isGood("kupStrict"), row.strict) << shown;
    EXPECT_EQ(isGood("no such policy"), row.strict) << shown;
  }
}

TEST(Signature, LeavesOpenSslsErrorQueueAlone) {
  verifyDetached("garbage", {kContent}, testing::trustingAll(), settings());
  verifyDetached(sign({kContent}, testing::person(Kind::kEc).signer()), {"other"},
                 testing::trustingAll(), settings());
  EXPECT_EQ(ERR_peek_error(), 0U);
}

}  // namespace
}  // namespace brennox::crypto
