#include <gtest/gtest.h>
#include <openssl/objects.h>
#include <openssl/rsa.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "crypto/algorithms.h"
#include "crypto/decrypt.h"
#include "crypto/encrypt.h"
#include "crypto/engine.h"
#include "crypto/outline.h"
#include "crypto/people_for_tests.h"

namespace brennox::crypto {
namespace {

using testing::CertificateWish;
using testing::decrypted;
using testing::encrypted;
using testing::Kind;
using testing::Person;

std::string contentOfLength(std::size_t length) {
  std::string content;
  while (content.size() < length) {
    content += "line " + std::to_string(content.size()) + "\r\n";
  }
  content.resize(length);
  return content;
}

class EncryptionForKind : public ::testing::TestWithParam<Kind> {};

TEST_P(EncryptionForKind, IsReadByTheRecipient) {
  const Person& person = testing::person(GetParam());
  for (const std::size_t length : {0, 1, 7, 8, 15, 16, 17, 1024, 49152, 49153, 300'000}) {
    const std::string content = contentOfLength(length);
    const DecryptResult result = decrypted(encrypted(content, {&person}), person);
    ASSERT_EQ(result.status, DecryptStatus::kOpened) << length;
    EXPECT_TRUE(result.content->view() == content) << length;
  }
}

TEST_P(EncryptionForKind, IsNotReadByOthers) {
  CertificateWish wish;
  wish.name = "Other";
  const Person other(GetParam(), wish, &testing::authority(GetParam()));
  const DecryptResult result =
      decrypted(encrypted("secret", {&testing::person(GetParam())}), other);
  EXPECT_EQ(result.status, DecryptStatus::kNoKey);
  EXPECT_FALSE(result.content);
}

// The right name and number over the wrong key: nothing may come out, least of all something
// random.
TEST_P(EncryptionForKind, IsNotReadWithAnotherKey) {
  CertificateWish wish;
  wish.name = "Other";
  const Person other(GetParam(), wish, &testing::authority(GetParam()));
  const Person& person = testing::person(GetParam());
  std::vector<OwnCertificate> own;
  own.push_back({person.recipient(), other.own().openKey});
  const DecryptResult result = decrypt(testing::blockOf(encrypted("secret", {&person})), own);
  EXPECT_EQ(result.status, DecryptStatus::kFailed);
  EXPECT_FALSE(result.content);
}

TEST_P(EncryptionForKind, IsNotOpenedWithoutAKey) {
  const Person& person = testing::person(GetParam());
  std::vector<OwnCertificate> own;
  own.push_back({person.recipient(), [] { return KeyHandle(); }});
  EXPECT_EQ(decrypt(testing::blockOf(encrypted("secret", {&person})), own).status,
            DecryptStatus::kKeyNotOpened);
}

INSTANTIATE_TEST_SUITE_P(All, EncryptionForKind,
                         ::testing::Values(Kind::kRsa, Kind::kEc, Kind::kGost256, Kind::kGost512));

TEST(Encryption, ForSeveralIsReadByEach) {
  const std::vector<const Person*> all{&testing::person(Kind::kRsa), &testing::person(Kind::kEc),
                                       &testing::person(Kind::kGost256),
                                       &testing::person(Kind::kGost512)};
  const std::string cms = encrypted("for everybody", all);
  for (const Person* const person : all) {
    const DecryptResult result = decrypted(cms, *person);
    ASSERT_EQ(result.status, DecryptStatus::kOpened);
    EXPECT_EQ(result.content->view(), "for everybody");
  }
}

std::string contentCipherOf(const std::string& cms) {
  EnvelopedOutline outline;
  return readEnveloped(cms, outline) ? outline.algorithm.oid : std::string();
}

TEST(Encryption, TakesGostAsSoonAsOneRecipientNeedsIt) {
  const Person& rsa = testing::person(Kind::kRsa);
  const Person& gost = testing::person(Kind::kGost256);
  EXPECT_EQ(contentCipherOf(encrypted("x", {&rsa})), "2.16.840.1.101.3.4.1.42");
  EXPECT_EQ(contentCipherOf(encrypted("x", {&gost})), "1.2.643.2.2.21");
  EXPECT_EQ(contentCipherOf(encrypted("x", {&rsa, &gost})), "1.2.643.2.2.21");
}

TEST(Encryption, AgreesOnEllipticKeysBySha256) {
  EnvelopedOutline outline;
  const std::string cms = encrypted("x", {&testing::person(Kind::kEc)});
  ASSERT_TRUE(readEnveloped(cms, outline));
  ASSERT_EQ(outline.recipients.size(), 1U);
  EXPECT_EQ(outline.recipients[0].algorithm, "1.3.132.1.11.1");
}

TEST(Encryption, RefusesAKeyThatCannotCarryOne) {
  EXPECT_THROW(encrypted("x", {&testing::person(Kind::kRsaPss)}), std::runtime_error);
  EXPECT_THROW(encrypted("x", {}), std::runtime_error);
}

// What other programs make.
std::string encryptedBy(const Person& person, const EVP_CIPHER* cipher, std::string_view content,
                        unsigned flags = 0) {
  flags |= CMS_BINARY | CMS_PARTIAL | CMS_STREAM;
  const CmsHandle cms(CMS_encrypt(nullptr, nullptr, cipher, flags));
  CMS_RecipientInfo* const info = CMS_add1_recipient(
      cms.get(), person.certificate(), nullptr, nullptr, CMS_KEY_PARAM | (flags & CMS_USE_KEYID));
  EVP_PKEY_CTX* const context = CMS_RecipientInfo_get0_pkey_ctx(info);
  EVP_PKEY_CTX_ctrl(context, -1, -1, EVP_PKEY_CTRL_CIPHER, EVP_CIPHER_get_nid(cipher), nullptr);
  if ((flags & CMS_DEBUG_DECRYPT) != 0) {  // borrowed here: ask for OAEP
    EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_OAEP_PADDING);
    EVP_PKEY_CTX_set_rsa_oaep_md(context, EVP_sha256());
  }
  const BioHandle in(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
  const BioHandle out(BIO_new(BIO_s_mem()));
  if (i2d_CMS_bio_stream(out.get(), cms.get(), in.get(), static_cast<int>(flags)) != 1) {
    return {};
  }
  char* bytes = nullptr;
  const long length = BIO_get_mem_data(out.get(), &bytes);
  return std::string(bytes, static_cast<std::size_t>(length));
}

// As above, in definite lengths with all attributes in place.
std::string encryptedWhole(const Person& person, const EVP_CIPHER* cipher,
                           std::string_view content) {
  constexpr unsigned kFlags = CMS_BINARY | CMS_PARTIAL | CMS_STREAM;
  const CmsHandle cms(CMS_encrypt(nullptr, nullptr, cipher, kFlags));
  CMS_RecipientInfo* const info =
      CMS_add1_recipient(cms.get(), person.certificate(), nullptr, nullptr, CMS_KEY_PARAM);
  EVP_PKEY_CTX_ctrl(CMS_RecipientInfo_get0_pkey_ctx(info), -1, -1, EVP_PKEY_CTRL_CIPHER,
                    EVP_CIPHER_get_nid(cipher), nullptr);
  const BioHandle in(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
  const BioHandle out(BIO_new(BIO_s_mem()));
  const EngineLeaks leaks;
  if (CMS_final(cms.get(), in.get(), nullptr, kFlags) != 1 ||
      i2d_CMS_bio(out.get(), cms.get()) != 1) {
    return {};
  }
  char* bytes = nullptr;
  const long length = BIO_get_mem_data(out.get(), &bytes);
  return std::string(bytes, static_cast<std::size_t>(length));
}

// A message like the one that `outline` is of, with other recipients or another end.
std::string madeLike(const EnvelopedOutline& outline, std::string_view recipients,
                     std::string_view trailer) {
  const std::string_view oid = outline.isAuthenticated
                                   ? "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x01\x17"
                                   : "\x2A\x86\x48\x86\xF7\x0D\x01\x07\x03";
  std::string body(outline.version);
  body += derWrap(kDerSet, recipients);
  body +=
      derWrap(kDerSequence, std::string(outline.contentType) + std::string(outline.algorithmValue) +
                                derWrap(derContext(0, false), outline.content[0]));
  body += trailer;
  return derWrap(kDerSequence, derWrap(kDerObjectIdentifier, oid) +
                                   derWrap(derContext(0, true), derWrap(kDerSequence, body)));
}

TEST(Decryption, ReadsTheCiphersOfOthersInPiecesAndWhole) {
  const std::string content = contentOfLength(100'000);
  const Person& person = testing::person(Kind::kRsa);
  for (const char* const name : {"aes-128-cbc", "aes-192-cbc", "aes-256-cbc", "des-ede3-cbc",
                                 "camellia-256-cbc", "aes-128-gcm", "aes-256-gcm"}) {
    const EVP_CIPHER* const cipher = EVP_get_cipherbyname(name);
    for (const std::string& cms :
         {encryptedBy(person, cipher, content), encryptedWhole(person, cipher, content),
          encryptedBy(person, cipher, content, CMS_USE_KEYID)}) {
      const DecryptResult result = decrypted(cms, person);
      ASSERT_EQ(result.status, DecryptStatus::kOpened) << name;
      EXPECT_TRUE(result.content->view() == content) << name;
    }
  }
}

TEST(Decryption, ReadsOaep) {
  const Person& person = testing::person(Kind::kRsa);
  const DecryptResult result =
      decrypted(encryptedBy(person, EVP_aes_256_cbc(), "oaep", CMS_DEBUG_DECRYPT), person);
  ASSERT_EQ(result.status, DecryptStatus::kOpened);
  EXPECT_EQ(result.content->view(), "oaep");
}

// Beyond one section (256 KiB of Kuznyechik, 8 KiB of Magma) the key changes; the engine by itself
// reads with smaller sections than it writes.
TEST(Decryption, ReadsGostCiphersBeyondOneSection) {
  for (const Kind kind : {Kind::kGost256, Kind::kGost512}) {
    const Person& person = testing::person(kind);
    for (const char* const name : {"gost89", "kuznyechik-ctr-acpkm", "kuznyechik-ctr-acpkm-omac",
                                   "magma-ctr-acpkm", "magma-ctr-acpkm-omac"}) {
      for (const std::size_t length :
           {0, 1, 1000, 1024, 1025, 4096, 4097, 8192, 8193, 100'000, 262'144, 262'145, 1'000'000}) {
        const std::string content = contentOfLength(length);
        const std::string cms = encryptedWhole(person, EVP_get_cipherbyname(name), content);
        const DecryptResult result = decrypted(cms, person);
        ASSERT_EQ(result.status, DecryptStatus::kOpened) << name << " " << length;
        EXPECT_TRUE(result.content->view() == content) << name << " " << length;
      }
    }
  }
}

TEST(Decryption, GivesNothingOfContentThatWasTamperedWith) {
  const std::string content = contentOfLength(5000);
  const auto isRefused = [&](const Person& person, const char* name) {
    std::string cms = encryptedWhole(person, EVP_get_cipherbyname(name), content);
    EnvelopedOutline outline;
    EXPECT_TRUE(readEnveloped(cms, outline));
    const std::size_t at = static_cast<std::size_t>(outline.content[0].data() - cms.data()) + 100;
    cms[at] = static_cast<char>(cms[at] ^ 1);
    const DecryptResult result = decrypted(cms, person);
    return result.status == DecryptStatus::kFailed && !result.content;
  };
  EXPECT_TRUE(isRefused(testing::person(Kind::kRsa), "aes-256-gcm"));
  EXPECT_TRUE(isRefused(testing::person(Kind::kGost256), "kuznyechik-ctr-acpkm-omac"));
  EXPECT_TRUE(isRefused(testing::person(Kind::kGost512), "magma-ctr-acpkm-omac"));
}

// With few octets of the code left, one of a few hundred guesses would be right.
TEST(Decryption, RefusesAShortenedAuthenticationCode) {
  const Person& person = testing::person(Kind::kRsa);
  const std::string cms = encryptedWhole(person, EVP_aes_128_gcm(), "secret");
  EnvelopedOutline outline;
  ASSERT_TRUE(readEnveloped(cms, outline));
  const std::string code(outline.authenticationCode);
  ASSERT_EQ(code.size(), 16U);
  const auto statusWith = [&](const std::string& trailer) {
    return decrypted(madeLike(outline, outline.recipients[0].whole, trailer), person).status;
  };
  EXPECT_EQ(statusWith(derWrap(kDerOctetString, code)), DecryptStatus::kOpened);
  for (std::size_t length = 0; length < 12; ++length) {
    EXPECT_EQ(statusWith(derWrap(kDerOctetString, code.substr(0, length))),
              DecryptStatus::kMalformed)
        << length;
  }
  EXPECT_EQ(statusWith(derWrap(kDerOctetString, code + "x")), DecryptStatus::kMalformed);
  EXPECT_EQ(statusWith(""), DecryptStatus::kMalformed);
}

std::string unwrapped(const Person& person, std::string_view wrapped) {
  using Context = std::unique_ptr<EVP_PKEY_CTX, OpenSslDeleter<&EVP_PKEY_CTX_free>>;
  const Context context(EVP_PKEY_CTX_new(person.key(), nullptr));
  std::string key(512, '\0');
  std::size_t length = key.size();
  EVP_PKEY_decrypt_init(context.get());
  EXPECT_EQ(
      EVP_PKEY_decrypt(context.get(), reinterpret_cast<unsigned char*>(key.data()), &length,
                       reinterpret_cast<const unsigned char*>(wrapped.data()), wrapped.size()),
      1);
  key.resize(length);
  return key;
}

// AES-256-GCM; the code of 16 octets is put behind the ciphertext.
std::string encryptedWithCode(const std::string& key, std::string_view nonce,
                              const std::string& associated, const std::string& content) {
  using Context = std::unique_ptr<EVP_CIPHER_CTX, OpenSslDeleter<&EVP_CIPHER_CTX_free>>;
  const Context context(EVP_CIPHER_CTX_new());
  const auto octets = [](std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
  };
  std::string out(content.size() + 16, '\0');
  auto* const to = reinterpret_cast<unsigned char*>(out.data());
  int length = 0;
  EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, octets(key), octets(nonce));
  EVP_EncryptUpdate(context.get(), nullptr, &length, octets(associated),
                    static_cast<int>(associated.size()));
  EVP_EncryptUpdate(context.get(), to, &length, octets(content), static_cast<int>(content.size()));
  EVP_EncryptFinal_ex(context.get(), to + length, &length);
  EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, 16, to + content.size());
  return out;
}

// They are authenticated as a plain set, whatever their tag in the message (RFC 5083 section 2.2).
TEST(Decryption, AuthenticatesAttributesToo) {
  const Person& person = testing::person(Kind::kRsa);
  const std::string content = "secret";
  const std::string cms = encryptedWhole(person, EVP_aes_256_gcm(), content);
  EnvelopedOutline outline;
  ASSERT_TRUE(readEnveloped(cms, outline));
  const std::string attribute =
      derWrap(kDerSequence, derWrap(kDerObjectIdentifier, "\x2A\x03") +
                                derWrap(kDerSet, derWrap(kDerOctetString, "said aloud")));
  const std::string_view parameters =
      DerReader(outline.algorithm.parameters).next(kDerSequence)->content;
  const std::string_view nonce = DerReader(parameters).next(kDerOctetString)->content;
  ASSERT_EQ(nonce.size(), 12U);
  const std::string ciphertext =
      encryptedWithCode(unwrapped(person, outline.recipients[0].wrappedKey), nonce,
                        derWrap(kDerSet, attribute), content);
  outline.content = {std::string_view(ciphertext).substr(0, content.size())};
  const std::string code = derWrap(kDerOctetString, ciphertext.substr(content.size()));
  const auto resultWith = [&](const std::string& attributes) {
    return decrypted(madeLike(outline, outline.recipients[0].whole, attributes + code), person);
  };
  const DecryptResult good = resultWith(derWrap(derContext(1, true), attribute));
  ASSERT_EQ(good.status, DecryptStatus::kOpened);
  EXPECT_EQ(good.content->view(), content);
  std::string other = attribute;
  other.back() = 'D';
  for (const std::string& attributes :
       {std::string(), derWrap(derContext(1, true), ""), derWrap(derContext(1, true), other),
        derWrap(derContext(1, true), attribute + attribute),
        derWrap(derContext(2, true), attribute)}) {
    const DecryptResult bad = resultWith(attributes);
    EXPECT_EQ(bad.status, DecryptStatus::kFailed);
    EXPECT_FALSE(bad.content);
  }
}

TEST(Decryption, RefusesContentWhoseAuthenticationCodeWasTakenAway) {
  for (const char* const name : {"kuznyechik-ctr-acpkm-omac", "magma-ctr-acpkm-omac"}) {
    const Person& person = testing::person(Kind::kGost256);
    const std::string cms = encryptedWhole(person, EVP_get_cipherbyname(name), "secret");
    EnvelopedOutline outline;
    ASSERT_TRUE(readEnveloped(cms, outline));
    ASSERT_FALSE(outline.trailer.empty());
    for (const std::string& trailer : {std::string(), derWrap(derContext(1, true), "")}) {
      const std::string stripped = madeLike(outline, outline.recipients[0].whole, trailer);
      const DecryptResult result = decrypted(stripped, person);
      EXPECT_EQ(result.status, DecryptStatus::kFailed) << name;
      EXPECT_FALSE(result.content) << name;
    }
  }
}

TEST(Decryption, TellsWhyItCannot) {
  const Person& person = testing::person(Kind::kRsa);
  const std::string cms = encrypted("secret", {&person});
  EXPECT_EQ(decrypted("", person).status, DecryptStatus::kMalformed);
  EXPECT_EQ(decrypted("not at all", person).status, DecryptStatus::kMalformed);
  EXPECT_EQ(decrypted(std::string_view(cms).substr(0, cms.size() - 1), person).status,
            DecryptStatus::kMalformed);
  EXPECT_EQ(decrypt(testing::blockOf(cms), {}).status, DecryptStatus::kNoKey);

  std::string unknown = cms;
  const std::string aes("\x60\x86\x48\x01\x65\x03\x04\x01\x2A");
  unknown[unknown.rfind(aes) + aes.size() - 1] = 0x63;
  EXPECT_EQ(decrypted(unknown, person).status, DecryptStatus::kUnsupportedAlgorithm);

  // The last octet of the IV changes the last octet of the only block: never a padding.
  std::string broken = cms;
  char& octet = broken[broken.rfind(aes) + aes.size() + 2 + 15];
  octet = static_cast<char>(octet ^ 0x55);
  EXPECT_EQ(decrypted(broken, person).status, DecryptStatus::kFailed);
}

TEST(Decryption, RefusesRecipientsThatAreNotPeople) {
  const CmsHandle cms(
      CMS_encrypt(nullptr, nullptr, EVP_aes_256_cbc(), CMS_BINARY | CMS_PARTIAL | CMS_STREAM));
  unsigned char password[] = "password";
  CMS_add0_recipient_password(cms.get(), -1, NID_undef, NID_undef,
                              static_cast<unsigned char*>(OPENSSL_memdup(password, 8)), 8, nullptr);
  const BioHandle in(BIO_new_mem_buf("secret", 6));
  CMS_final(cms.get(), in.get(), nullptr, CMS_BINARY);
  const BioHandle out(BIO_new(BIO_s_mem()));
  i2d_CMS_bio(out.get(), cms.get());
  char* bytes = nullptr;
  const long length = BIO_get_mem_data(out.get(), &bytes);
  EXPECT_EQ(
      decrypted({bytes, static_cast<std::size_t>(length)}, testing::person(Kind::kRsa)).status,
      DecryptStatus::kUnsupportedRecipient);
}

// The same certificate named twice, the first time with a key that is not the content's.
TEST(Decryption, GoesOnToTheNextRecipientThatFits) {
  const Person& person = testing::person(Kind::kRsa);
  const auto recipientOf = [](const std::string& cms) {
    EnvelopedOutline outline;
    EXPECT_TRUE(readEnveloped(cms, outline));
    return std::string(outline.recipients.at(0).whole);
  };
  // Content without a checksum opens with one wrong key in 256, and nobody can tell: of eight,
  // three hardly ever do.
  int right = 0;
  for (int attempt = 0; attempt < 4; ++attempt) {
    const std::string cms = encrypted("secret", {&person});
    EnvelopedOutline outline;
    ASSERT_TRUE(readEnveloped(cms, outline));
    const std::string fitting = recipientOf(cms);
    std::string damaged = fitting;
    damaged.back() = static_cast<char>(damaged.back() ^ 1);
    for (const std::string& first : {damaged, recipientOf(encrypted("different", {&person}))}) {
      const DecryptResult result =
          decrypted(madeLike(outline, first + fitting, outline.trailer), person);
      ASSERT_EQ(result.status, DecryptStatus::kOpened);
      right += result.content->view() == "secret" ? 1 : 0;
    }
  }
  EXPECT_GE(right, 6);
}

// Parameters of GOST 28147-89 that do not decode make the engine read through a null pointer, for
// recipients of every kind of key.
TEST(Decryption, LivesThroughGostParametersThatAreNone) {
  for (const Kind kind : {Kind::kRsa, Kind::kGost256}) {
    const Person& person = testing::person(kind);
    const std::string cms = encrypted("secret", {&person, &testing::person(Kind::kGost256)});
    EnvelopedOutline outline;
    ASSERT_TRUE(readEnveloped(cms, outline));
    const std::string good(outline.algorithm.parameters);
    const std::size_t at = cms.find(good);
    // The object identifier's tag, then the octet string's, then the sequence's.
    for (const std::size_t tag : {std::size_t{12}, std::size_t{2}, std::size_t{0}}) {
      std::string hostile = cms;
      hostile[at + tag] = 0x05;
      EXPECT_EQ(decrypted(hostile, person).status, DecryptStatus::kMalformed) << tag;
    }
  }
}

// The value that one comes to by stepping into the values of these numbers.
DerValue valueAt(std::string_view bytes, std::initializer_list<int> steps) {
  DerValue value;
  value.content = bytes;
  for (const int step : steps) {
    DerReader reader(value.content);
    for (int i = 0; i <= step; ++i) {
      value = reader.next().value();
    }
  }
  return value;
}

// The engine asserts the lengths of a wrapped key and ends the process when they differ.
TEST(Decryption, LivesThroughWrappedGostKeysOfOtherLengths) {
  struct Row {
    const char* cipher;
    std::initializer_list<int> steps;
  };
  const Row rows[] = {
      {"gost89", {0, 0, 0}},        // the key
      {"gost89", {0, 0, 1}},        // its authentication code
      {"gost89", {0, 1, 2}},        // the seed
      {"magma-ctr-acpkm", {0, 0}},  // key and code together
      {"magma-ctr-acpkm", {0, 2}},  // the seed
      {"kuznyechik-ctr-acpkm", {0, 0}},
      {"kuznyechik-ctr-acpkm", {0, 2}},
  };
  const Person& person = testing::person(Kind::kGost256);
  for (const Row& row : rows) {
    std::string cms = encryptedWhole(person, EVP_get_cipherbyname(row.cipher), "secret");
    EnvelopedOutline outline;
    ASSERT_TRUE(readEnveloped(cms, outline));
    const DerValue value = valueAt(outline.recipients[0].wrappedKey, row.steps);
    ASSERT_EQ(value.tag, kDerOctetString);
    // Two values where one was: shorter by the length of the second.
    const auto at = static_cast<std::size_t>(value.whole.data() - cms.data());
    cms[at + 1] = static_cast<char>(cms[at + 1] - 2);
    cms[at + value.whole.size() - 2] = 0x05;
    cms[at + value.whole.size() - 1] = 0x00;
    EXPECT_EQ(decrypted(cms, person).status, DecryptStatus::kMalformed) << row.cipher;
  }
}

TEST(Decryption, RefusesGostKeyAgreement) {
  const Person& ec = testing::person(Kind::kEc);
  const Person& gost = testing::person(Kind::kGost256);
  std::string cms = encrypted("secret", {&ec});
  // The agreement's algorithm becomes one of the GOST arc of the same length.
  const std::string agreement("\x06\x06\x2B\x81\x04\x01\x0B\x01");
  const std::size_t at = cms.find(agreement);
  ASSERT_NE(at, std::string::npos);
  cms.replace(at, agreement.size(), "\x06\x06\x2A\x85\x03\x02\x02\x60");
  EXPECT_EQ(decrypted(cms, ec).status, DecryptStatus::kUnsupportedRecipient);
  EXPECT_EQ(decrypted(cms, gost).status, DecryptStatus::kUnsupportedRecipient);
}

// Two threads meet where each opens its key: nothing is locked around a decryption.
TEST(Decryption, OfSeveralMessagesGoesOnAtOnce) {
  const Person& person = testing::person(Kind::kRsa);
  const std::string cms = encrypted("secret", {&person});
  std::mutex mutex;
  std::condition_variable changed;
  int present = 0;
  bool hasMet = true;
  std::vector<OwnCertificate> own;
  own.push_back(person.own());
  own[0].openKey = [&, open = own[0].openKey] {
    std::unique_lock lock(mutex);
    ++present;
    changed.notify_all();
    // Only waited for in full when the test fails.
    hasMet =
        changed.wait_for(lock, std::chrono::seconds(60), [&] { return present == 2; }) && hasMet;
    return open();
  };
  const auto work = [&] {
    EXPECT_EQ(decrypt(testing::blockOf(cms), own).status, DecryptStatus::kOpened);
  };
  std::thread first(work);
  std::thread second(work);
  first.join();
  second.join();
  EXPECT_TRUE(hasMet);
}

TEST(Decryption, HasATextForEachOutcome) {
  EXPECT_STREQ(decryptStatusText(DecryptStatus::kOpened), "");
  EXPECT_STREQ(decryptStatusText(DecryptStatus::kSwitchedOff), "Decryption is switched off");
  EXPECT_STREQ(decryptStatusText(DecryptStatus::kNoKey),
               "No private key found for any recipient of this message");
  EXPECT_STREQ(decryptStatusText(DecryptStatus::kKeyNotOpened), "The private key cannot be opened");
  EXPECT_STREQ(decryptStatusText(DecryptStatus::kNoGost), "GOST cryptography is not available");
  EXPECT_STREQ(decryptStatusText(DecryptStatus::kUnsupportedRecipient),
               "Unsupported recipient type");
  EXPECT_STREQ(decryptStatusText(DecryptStatus::kUnsupportedAlgorithm),
               "Unsupported encryption algorithm OID");
  EXPECT_STREQ(decryptStatusText(DecryptStatus::kMalformed), "The encrypted data is malformed");
  EXPECT_STREQ(decryptStatusText(DecryptStatus::kFailed), "Decryption failed");
}

}  // namespace
}  // namespace brennox::crypto
