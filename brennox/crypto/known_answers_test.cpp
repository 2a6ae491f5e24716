// Results that others have published. A round trip passes also when both its ends are wrong.
#include <gtest/gtest.h>
#include <openssl/objects.h>

#include <fstream>
#include <iterator>

#include "core/fixtures_for_test.h"
#include "crypto/engine.h"
#include "crypto/openssl.h"
#include "crypto/people_for_tests.h"
#include "crypto/verify.h"
#include "text/base64.h"

namespace brennox::crypto {
namespace {

std::string fromHex(std::string_view hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
  }
  return bytes;
}

std::string toHex(std::string_view bytes) {
  std::string hex;
  for (const char c : bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    hex += kDigits[static_cast<unsigned char>(c) >> 4];
    hex += kDigits[static_cast<unsigned char>(c) & 15];
  }
  return hex;
}

std::string digestOf(const char* name, std::string_view message) {
  EXPECT_TRUE(isGostAvailable());
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(message.data(), message.size(), digest, &length, EVP_get_digestbyname(name),
                 nullptr) != 1) {
    return "";
  }
  return toHex({reinterpret_cast<const char*>(digest), length});
}

// RFC 6986 section 10 (in the order in which bytes are stored).
TEST(KnownAnswers, Streebog) {
  const std::string m1 = "012345678901234567890123456789012345678901234567890123456789012";
  EXPECT_EQ(digestOf("md_gost12_512", m1),
            "1b54d01a4af5b9d5cc3d86d68d285462b19abc2475222f35c085122be4ba1ffa"
            "00ad30f8767b3a82384c6574f024c311e2a481332b08ef7f41797891c1646f48");
  EXPECT_EQ(digestOf("md_gost12_256", m1),
            "9d151eefd8590b89daa6ba6cb74af9275dd051026bb149a452fd84e5e57b5500");
  const std::string m2 = fromHex(
      "d1e520e2e5f2f0e82c20d1f2f0e8e1eee6e820e2edf3f6e82c20e2e5fef2fa20f120eceef0ff20f1f2f0e5ebe0ec"
      "e820ede020f5f0e0e1f0fbff20efebfaeafb20c8e3eef0e5e2fb");
  EXPECT_EQ(digestOf("md_gost12_512", m2),
            "1e88e62226bfca6f9994f1f2d51569e0daf8475a3b0fe61a5300eee46d961376"
            "035fe83549ada2b8620fcd7c496ce5b33f0cb9dddc2b6460143b03dabac9fb28");
  EXPECT_EQ(digestOf("md_gost12_256", m2),
            "9dd2fe4e90409e5da87f53976d7405b0c0cac628fc669a741d50063c557e8f50");
}

// With the parameters of RFC 4357 section 11.2.
TEST(KnownAnswers, Gost94) {
  EXPECT_EQ(digestOf("md_gost94", "abc"),
            "b285056dbf18d7392d7677369524dd14747459ed8143997e163b2986f92fd42c");
  EXPECT_EQ(digestOf("md_gost94", "a"),
            "e74c52dd282183bf37af0079c9f78055715a103f17e3133ceff1aacf2f403011");
}

std::string encryptBlock(const char* name, std::string_view key, std::string_view block) {
  EXPECT_TRUE(isGostAvailable());
  using Context = std::unique_ptr<EVP_CIPHER_CTX, OpenSslDeleter<&EVP_CIPHER_CTX_free>>;
  const Context context(EVP_CIPHER_CTX_new());
  const std::string keyBytes = fromHex(key);
  const std::string in = fromHex(block);
  std::string out(in.size() + EVP_MAX_BLOCK_LENGTH, '\0');
  int length = 0;
  unsigned char iv[EVP_MAX_IV_LENGTH] = {};
  if (EVP_EncryptInit_ex(context.get(), EVP_get_cipherbyname(name), nullptr,
                         reinterpret_cast<const unsigned char*>(keyBytes.data()), iv) != 1 ||
      EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1 ||
      EVP_EncryptUpdate(context.get(), reinterpret_cast<unsigned char*>(out.data()), &length,
                        reinterpret_cast<const unsigned char*>(in.data()),
                        static_cast<int>(in.size())) != 1) {
    return "";
  }
  return toHex({out.data(), static_cast<std::size_t>(length)});
}

// RFC 7801 section 5.5, and GOST R 34.13-2015 appendix A.1.1 for the further blocks.
TEST(KnownAnswers, Kuznyechik) {
  const char* const key = "8899aabbccddeeff0011223344556677fedcba98765432100123456789abcdef";
  EXPECT_EQ(encryptBlock("kuznyechik-ecb", key, "1122334455667700ffeeddccbbaa9988"),
            "7f679d90bebc24305a468d42b9d4edcd");
  EXPECT_EQ(encryptBlock("kuznyechik-ecb", key, "00112233445566778899aabbcceeff0a"),
            "b429912c6e0032f9285452d76718d08b");
}

// GOST R 34.13-2015 appendix A.1.2: counter mode from the vector 1234567890abcef0.
std::string counterMode(const char* name, std::string_view key, std::string_view iv,
                        std::string_view text) {
  EXPECT_TRUE(isGostAvailable());
  using Context = std::unique_ptr<EVP_CIPHER_CTX, OpenSslDeleter<&EVP_CIPHER_CTX_free>>;
  const Context context(EVP_CIPHER_CTX_new());
  const std::string keyBytes = fromHex(key);
  std::string ivBytes = fromHex(iv);
  ivBytes.resize(EVP_MAX_IV_LENGTH);
  const std::string in = fromHex(text);
  std::string out(in.size() + EVP_MAX_BLOCK_LENGTH, '\0');
  int length = 0;
  if (EVP_EncryptInit_ex(context.get(), EVP_get_cipherbyname(name), nullptr,
                         reinterpret_cast<const unsigned char*>(keyBytes.data()),
                         reinterpret_cast<const unsigned char*>(ivBytes.data())) != 1 ||
      EVP_EncryptUpdate(context.get(), reinterpret_cast<unsigned char*>(out.data()), &length,
                        reinterpret_cast<const unsigned char*>(in.data()),
                        static_cast<int>(in.size())) != 1) {
    return "";
  }
  return toHex({out.data(), static_cast<std::size_t>(length)});
}

TEST(KnownAnswers, KuznyechikCounterMode) {
  EXPECT_EQ(counterMode("kuznyechik-ctr",
                        "8899aabbccddeeff0011223344556677fedcba98765432100123456789abcdef",
                        "1234567890abcef0",
                        "1122334455667700ffeeddccbbaa998800112233445566778899aabbcceeff0a"
                        "112233445566778899aabbcceeff0a002233445566778899aabbcceeff0a0011"),
            "f195d8bec10ed1dbd57b5fa240bda1b885eee733f6a13e5df33ce4b33c45dee4"
            "a5eae88be6356ed3d5e877f13564a3a5cb91fab1f20cbab6d1c6d15820bdba73");
}

TEST(KnownAnswers, MagmaCounterMode) {
  EXPECT_EQ(
      counterMode("magma-ctr", "ffeeddccbbaa99887766554433221100f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff",
                  "12345678", "92def06b3c130a59db54c704f8189d204a98fb2e67a8024c8912409b17b57e41"),
      "4e98110c97b7b93c3e250d93d6e85d69136d868807b2dbef568eb680ab52a12d");
}

EVP_PKEY* publicKey(int algorithm, int curve, int digest, std::string_view x, std::string_view y) {
  // SubjectPublicKeyInfo with the point as two numbers, least significant byte first (RFC 9215).
  const auto reversed = [](std::string_view hex) {
    std::string bytes = fromHex(hex);
    return std::string(bytes.rbegin(), bytes.rend());
  };
  const std::string point = reversed(x) + reversed(y);
  X509_PUBKEY* const spki = X509_PUBKEY_new();
  ASN1_STRING* const parameters = ASN1_STRING_new();
  const auto oid = [](int nid) {
    unsigned char* der = nullptr;
    const int length = i2d_ASN1_OBJECT(OBJ_nid2obj(nid), &der);
    std::string bytes(reinterpret_cast<char*>(der), static_cast<std::size_t>(length));
    OPENSSL_free(der);
    return bytes;
  };
  const std::string body = oid(curve) + (digest == NID_undef ? "" : oid(digest));
  std::string sequence = "\x30";
  sequence += static_cast<char>(body.size());
  sequence += body;
  ASN1_STRING_set(parameters, sequence.data(), static_cast<int>(sequence.size()));
  std::string octets = "\x04";
  if (point.size() >= 128) {
    octets += '\x81';
  }
  octets += static_cast<char>(point.size());
  octets += point;
  auto* const copy = static_cast<unsigned char*>(OPENSSL_memdup(octets.data(), octets.size()));
  X509_PUBKEY_set0_param(spki, OBJ_nid2obj(algorithm), V_ASN1_SEQUENCE, parameters, copy,
                         static_cast<int>(octets.size()));
  unsigned char* der = nullptr;
  const int length = i2d_X509_PUBKEY(spki, &der);
  X509_PUBKEY_free(spki);
  const unsigned char* in = der;
  EVP_PKEY* const key = d2i_PUBKEY(nullptr, &in, length);
  OPENSSL_free(der);
  return key;
}

bool verifies(EVP_PKEY* key, std::string_view digest, std::string_view signature) {
  using Context = std::unique_ptr<EVP_PKEY_CTX, OpenSslDeleter<&EVP_PKEY_CTX_free>>;
  const Context context(EVP_PKEY_CTX_new(key, nullptr));
  return context && EVP_PKEY_verify_init(context.get()) == 1 &&
         EVP_PKEY_verify(context.get(), reinterpret_cast<const unsigned char*>(signature.data()),
                         signature.size(), reinterpret_cast<const unsigned char*>(digest.data()),
                         digest.size()) == 1;
}

// RFC 7091 section 7.1: the test curve, public key, digest and signature (r, s).
TEST(KnownAnswers, SignatureOf256Bits) {
  ASSERT_TRUE(isGostAvailable());
  const KeyHandle key(publicKey(
      NID_id_GostR3410_2012_256, NID_id_GostR3410_2001_TestParamSet, NID_id_GostR3411_2012_256,
      "7f2b49e270db6d90d8595bec458b50c58585ba1d4e9b788f6689dbd8e56fd80b",
      "26f1b489d6701dd185c8413a977b3cbbaf64d1c593d26627dffb101a87ff77da"));
  ASSERT_TRUE(key);
  // The digest as a number; the engine reads it least significant byte first.
  const std::string number =
      fromHex("2dfbc1b372d89a1188c09c52e0eec61fce52032ab1022e8e67ece6672b043ee5");
  const std::string digest(number.rbegin(), number.rend());
  // The engine writes a signature as s, then r.
  std::string signature = fromHex(
      "01456c64ba4642a1653c235a98a60249bcd6d3f746b631df928014f6c5bf9c40"
      "41aa28d2f1ab148280cd9ed56feda41974053554a42767b83ad043fd39dc0493");
  EXPECT_TRUE(verifies(key.get(), digest, signature));
  signature[0] = static_cast<char>(signature[0] ^ 1);
  EXPECT_FALSE(verifies(key.get(), digest, signature));
}

// GOST R 34.10-2012 appendix A.2: the same with 512 bits.
TEST(KnownAnswers, SignatureOf512Bits) {
  ASSERT_TRUE(isGostAvailable());
  const KeyHandle key(
      publicKey(NID_id_GostR3410_2012_512, NID_id_tc26_gost_3410_2012_512_paramSetTest,
                NID_id_GostR3411_2012_512,
                "115dc5bc96760c7b48598d8ab9e740d4c4a85a65be33c1815b5c320c854621dd"
                "5a515856d13314af69bc5b924c8b4ddff75c45415c1d9dd9dd33612cd530efe1",
                "37c7c90cd40b0f5621dc3ac1b751cfa0e2634fa0503b3d52639f5d7fb72afd61"
                "ea199441d943ffe7f0c70a2759a3cdb84c114e1f9339fdf27f35eca93677beec"));
  ASSERT_TRUE(key);
  const std::string number = fromHex(
      "3754f3cfacc9e0615c4f4a7c4d8dab531b09b6f9c170c533a71d147035b0c591"
      "7184ee536593f4414339976c647c5d5a407adedb1d560c4fc6777d2972075b8c");
  const std::string digest(number.rbegin(), number.rend());
  std::string signature = fromHex(
      "1081b394696ffe8e6585e7a9362d26b6325f56778aadbc081c0bfbe933d52ff5"
      "823ce288e8c4f362526080df7f70ce406a6eeb1f56919cb92a9853bde73e5b4a"
      "2f86fa60a081091a23dd795e1e3c689ee512a3c82ee0dcc2643c78eea8fcacd3"
      "5492558486b20f1c9ec197c90699850260c93bcbcd9c5c3317e19344e173ae36");
  EXPECT_TRUE(verifies(key.get(), digest, signature));
  for (const std::size_t octet : {0, 63, 64, 127}) {
    std::string wrong = signature;
    wrong[octet] = static_cast<char>(wrong[octet] ^ 1);
    EXPECT_FALSE(verifies(key.get(), digest, wrong)) << octet;
  }
}

// The examples of R 1323565.1.025-2019: messages that somebody else signed, through all of our own
// verification. Their authority is none by its extensions, so that the signer is trusted directly.
TEST(KnownAnswers, SignedMessages) {
  ASSERT_TRUE(isGostAvailable());
  struct Row {
    const char* file;
    const char* signatureAlgorithm;
    const char* digestAlgorithm;
  };
  const Row rows[] = {
      {"tc26-signed_a111.eml", "GOST R 34.10-2012 512", "GOST R 34.11-2012 512"},
      {"tc26-signed_a121.eml", "GOST R 34.10-2012 256", "GOST R 34.11-2012 256"},
  };
  for (const Row& row : rows) {
    std::ifstream in(fixturePath(std::string("smime/") + row.file), std::ios::binary);
    const std::string mail{std::istreambuf_iterator<char>(in), {}};
    std::string cms = text::base64Decode(std::string_view(mail).substr(mail.find("\r\n\r\n")));
    const auto* der = reinterpret_cast<const unsigned char*>(cms.data());
    const CmsHandle parsed(d2i_CMS_ContentInfo(nullptr, &der, static_cast<long>(cms.size())));
    ASSERT_TRUE(parsed) << row.file;
    const CertStackHandle certificates(CMS_get1_certs(parsed.get()));
    ASSERT_EQ(sk_X509_num(certificates.get()), 1);
    Trust trust;
    trust.anchors.reset(X509_STORE_new());
    X509_STORE_add_cert(trust.anchors.get(), sk_X509_value(certificates.get(), 0));
    X509_STORE_set_flags(trust.anchors.get(), X509_V_FLAG_PARTIAL_CHAIN);
    VerifySettings settings;
    settings.now = testing::now();

    const OpaqueSignature opened = verifyOpaque(cms, trust, settings);
    EXPECT_TRUE(opened.signature.isGood) << row.file;
    EXPECT_EQ(opened.signature.signatureAlgorithm, row.signatureAlgorithm);
    EXPECT_EQ(opened.signature.digestAlgorithm, row.digestAlgorithm);
    ASSERT_EQ(opened.content.size(), 1U);
    const auto at = static_cast<std::size_t>(opened.content[0].data() - cms.data());
    cms[at] = static_cast<char>(cms[at] ^ 1);
    EXPECT_FALSE(verifyOpaque(cms, trust, settings).signature.isGood) << row.file;
  }
}

}  // namespace
}  // namespace brennox::crypto
