#include "crypto/outline.h"

#include <gtest/gtest.h>

#include "crypto/people_for_tests.h"

namespace brennox::crypto {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using testing::encrypted;
using testing::Kind;

constexpr std::string_view kData = "\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x07\x01"sv;
constexpr std::string_view kVersion = "\x02\x01\x01"sv;

std::string message(std::string_view oid, const std::string& body) {
  return derWrap(kDerSequence, derWrap(kDerObjectIdentifier, oid) +
                                   derWrap(derContext(0, true), derWrap(kDerSequence, body)));
}

std::string signedMessage(const std::string& signers) {
  return message("\x2A\x86\x48\x86\xF7\x0D\x01\x07\x02"sv,
                 std::string(kVersion) + derWrap(kDerSet, "") + derWrap(kDerSequence, kData) +
                     derWrap(kDerSet, signers));
}

std::string signer(std::string_view digest = "\x2A\x03"sv) {
  return derWrap(kDerSequence, std::string(kVersion) + derWrap(kDerSequence, "") +
                                   derWrap(kDerSequence, derWrap(kDerObjectIdentifier, digest)));
}

TEST(Outline, TellsKindsOfMessagesApart) {
  EXPECT_EQ(contentTypeOf(""), ContentType::kMalformed);
  EXPECT_EQ(contentTypeOf("text"), ContentType::kMalformed);
  EXPECT_EQ(contentTypeOf(signedMessage("")), ContentType::kSigned);
  EXPECT_EQ(contentTypeOf(encrypted("x", {&testing::person(Kind::kEc)})), ContentType::kEnveloped);
  EXPECT_EQ(contentTypeOf(message("\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x01\x17"sv, "")),
            ContentType::kAuthEnveloped);
  EXPECT_EQ(contentTypeOf(message("\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x01\x09"sv, "")),
            ContentType::kOther);
}

TEST(Outline, TellsWhatTheFirstOctetsAnnounce) {
  const std::string cms = signedMessage(signer());
  for (std::size_t length = 0; length <= cms.size(); ++length) {
    const std::string_view start = std::string_view(cms).substr(0, length);
    EXPECT_EQ(announcedTypeOf(start), length < 13 ? ContentType::kMalformed : ContentType::kSigned)
        << length;
  }
  EXPECT_EQ(announcedTypeOf("\x30\x80"s + cms.substr(2)), ContentType::kSigned);
  EXPECT_EQ(announcedTypeOf("\x30\x84\x7f\xff\xff\xff"s + cms.substr(2)), ContentType::kSigned);
  EXPECT_EQ(announcedTypeOf("\x30\xff"s + cms.substr(2)), ContentType::kMalformed);
  EXPECT_EQ(announcedTypeOf("\x30\x0b"s + std::string(kData)), ContentType::kOther);
  EXPECT_EQ(contentTypeOf("\x30\x0b"s + std::string(kData)), ContentType::kOther);
}

TEST(Outline, BoundsTheNumberOfSigners) {
  const auto isRead = [](int count) {
    std::string signers;
    for (int i = 0; i < count; ++i) {
      signers += signer();
    }
    SignedOutline outline;
    return readSigned(signedMessage(signers), outline) &&
           outline.signers.size() == static_cast<std::size_t>(count);
  };
  EXPECT_TRUE(isRead(0));
  EXPECT_TRUE(isRead(32));
  EXPECT_FALSE(isRead(33));
}

// The digests that a message lists beside its signers are the sender's choice; only those that a
// signer needs are computed.
TEST(Outline, TakesDigestsFromTheSigners) {
  SignedOutline outline;
  ASSERT_TRUE(readSigned(signedMessage(signer() + signer("\x2A\x04"sv) + signer()), outline));
  EXPECT_EQ(outline.digests.size(), 2U);
}

TEST(Outline, BoundsTheNumberOfRecipients) {
  const std::string one = encrypted("x", {&testing::person(Kind::kEc)});
  EnvelopedOutline outline;
  ASSERT_TRUE(readEnveloped(one, outline));
  const auto isRead = [&](int count) {
    std::string recipients;
    for (int i = 0; i < count; ++i) {
      recipients += outline.recipients[0].whole;
    }
    const std::string content = derWrap(
        kDerSequence, std::string(outline.contentType) + std::string(outline.algorithmValue) +
                          derWrap(derContext(0, false), outline.content[0]));
    EnvelopedOutline many;
    return readEnveloped(
               message("\x2A\x86\x48\x86\xF7\x0D\x01\x07\x03"sv,
                       std::string(outline.version) + derWrap(kDerSet, recipients) + content),
               many) &&
           many.recipients.size() == static_cast<std::size_t>(count);
  };
  EXPECT_TRUE(isRead(0));
  EXPECT_TRUE(isRead(4096));
  EXPECT_FALSE(isRead(4097));
}

TEST(Outline, MakesASkeletonOfOneRecipientAndNoContent) {
  const std::string secret(10'000, 'x');
  const std::string cms =
      encrypted(secret, {&testing::person(Kind::kEc), &testing::person(Kind::kRsa)});
  EnvelopedOutline outline;
  ASSERT_TRUE(readEnveloped(cms, outline));
  ASSERT_EQ(outline.recipients.size(), 2U);
  const std::string skeleton = skeletonOf(outline, outline.recipients[1]);
  EXPECT_LT(skeleton.size(), 1000U);
  const auto* in = reinterpret_cast<const unsigned char*>(skeleton.data());
  const CmsHandle parsed(d2i_CMS_ContentInfo(nullptr, &in, static_cast<long>(skeleton.size())));
  ASSERT_TRUE(parsed);
  EXPECT_EQ(sk_CMS_RecipientInfo_num(CMS_get0_RecipientInfos(parsed.get())), 1);
}

TEST(Outline, RefusesEveryTruncation) {
  const std::string cms = encrypted("secret", {&testing::person(Kind::kGost256)});
  for (std::size_t length = 0; length < cms.size(); ++length) {
    EnvelopedOutline outline;
    EXPECT_FALSE(readEnveloped(std::string_view(cms).substr(0, length), outline)) << length;
  }
}

}  // namespace
}  // namespace brennox::crypto
