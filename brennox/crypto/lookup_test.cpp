#include "crypto/lookup.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "crypto/credentials.h"
#include "crypto/people_for_tests.h"
#include "crypto/store_for_tests.h"

namespace brennox::crypto {
namespace {

using testing::CertificateWish;
using testing::Kind;
using testing::Person;
using testing::TemporaryStore;

LookupSettings settingsFor(const char* policy = "kupNone") {
  LookupSettings settings;
  settings.policyName = policy;
  settings.policy = policyNamed(policy);
  settings.now = testing::now();
  return settings;
}

// The thumbprint of what was found, or the error's text.
std::string signerFor(std::string_view name,
                      const std::optional<std::string>& second = std::nullopt,
                      const LookupSettings& settings = settingsFor()) {
  try {
    const Signer signer = findSigner(*CertificateStore::contents(), name, second, settings);
    EXPECT_TRUE(signer.key);
    return thumbprint(signer.certificate.get(), EVP_sha256());
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

std::string recipientsFor(const std::vector<std::string>& names,
                          const LookupSettings& settings = settingsFor()) {
  try {
    std::string all;
    for (const CertHandle& certificate :
         findRecipients(*CertificateStore::contents(), names, settings)) {
      all += thumbprint(certificate.get(), EVP_sha256()) + " ";
    }
    return all;
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

std::string idOf(const Person& person) {
  return thumbprint(person.certificate(), EVP_sha256());
}

std::string base64(std::string_view bytes) {
  std::string text((bytes.size() + 2) / 3 * 4, '\0');
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                  reinterpret_cast<const unsigned char*>(bytes.data()),
                  static_cast<int>(bytes.size()));
  return text;
}

TEST(SignerLookup, TakesPemText) {
  TemporaryStore store;
  const Person& person = testing::person(Kind::kEc);
  const std::string certificate = person.certificatePem();
  EXPECT_EQ(signerFor(certificate + person.keyPem()), idOf(person));
  EXPECT_EQ(signerFor(person.keyPem() + certificate), idOf(person));
  EXPECT_EQ(signerFor(certificate + person.keyPem("secret"), "secret"), idOf(person));
  EXPECT_EQ(signerFor(certificate, person.keyPem()), idOf(person));
  // What a script passes for a second argument that is not there.
  EXPECT_EQ(signerFor(certificate + person.keyPem(), "undefined"), idOf(person));
  EXPECT_EQ(signerFor(certificate + person.keyPem("undefined"), "undefined"), idOf(person));

  EXPECT_EQ(signerFor(certificate), "Private key of the signing certificate not found: PEM text");
  EXPECT_EQ(signerFor(certificate + person.keyPem("secret"), "wrong"),
            "The private key cannot be opened");
  EXPECT_EQ(signerFor(certificate, testing::person(Kind::kRsa).keyPem()),
            "The private key does not belong to the signing certificate");
  EXPECT_EQ(signerFor("-----BEGIN NOTHING-----"), "There is no signing certificate in: PEM text");
}

TEST(SignerLookup, TakesAThumbprintOfAnOwnCertificate) {
  TemporaryStore store;
  const Person& person = testing::person(Kind::kEc);
  store.add("my/a.p12", person.pkcs12(""));
  const std::string sha1 = thumbprint(person.certificate(), EVP_sha1());
  EXPECT_EQ(signerFor(sha1), idOf(person));
  EXPECT_EQ(signerFor(idOf(person)), idOf(person));
  std::string spaced;
  for (std::size_t i = 0; i < sha1.size(); i += 2) {
    spaced += (i == 0 ? "" : i % 4 == 0 ? ":" : " ") + sha1.substr(i, 2);
  }
  std::transform(spaced.begin(), spaced.end(), spaced.begin(),
                 [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 32) : c; });
  EXPECT_EQ(signerFor(spaced), idOf(person));
  EXPECT_EQ(signerFor(std::string(40, '0')),
            "Signing certificate not found: " + std::string(40, '0'));
}

TEST(SignerLookup, TakesAFile) {
  TemporaryStore store;
  const Person& person = testing::person(Kind::kGost256);
  std::filesystem::create_directory(store.root() / "elsewhere");
  const auto file = [&](const char* name, const std::string& bytes) {
    return store.add(std::string("elsewhere/") + name, bytes).string();
  };
  EXPECT_EQ(signerFor(file("a.p12", person.pkcs12("")), "undefined"), idOf(person));
  EXPECT_EQ(signerFor(file("b.pfx", person.pkcs12("secret")), "secret"), idOf(person));
  EXPECT_EQ(signerFor(file("c.pem", person.certificatePem() + person.keyPem())), idOf(person));
  // The key beside a certificate on its own.
  file("d.key", person.keyPem("secret"));
  EXPECT_EQ(signerFor(file("d.crt", person.certificatePem()), "secret"), idOf(person));
  const std::string lone = file("e.cer", person.certificateDer());
  EXPECT_EQ(signerFor(lone), "Private key of the signing certificate not found: " + lone);
  store.add("my/a.p12", person.pkcs12(""));
  EXPECT_EQ(signerFor(lone), idOf(person));

  EXPECT_EQ(
      signerFor(file("f.p12", person.pkcs12("secret")), "wrong"),
      "The signing certificate cannot be opened: " + (store.root() / "elsewhere/f.p12").string());
}

TEST(SignerLookup, TakesTheAddressWithTheLongestValidity) {
  TemporaryStore store;
  CertificateWish wish;
  wish.name = "Author";
  wish.address = "author@example.org";
  wish.notAfter = 1000;
  const Person brief(Kind::kEc, wish, nullptr);
  wish.notAfter = 100'000;
  const Person longer(Kind::kEc, wish, nullptr);
  wish.notAfter = -10;
  const Person expired(Kind::kEc, wish, nullptr);
  wish.notAfter = 1'000'000;
  wish.keyUsage = "keyEncipherment";
  const Person onlyEncrypts(Kind::kEc, wish, nullptr);
  for (const Person* const person : {&expired, &onlyEncrypts}) {
    store.add("my/" + idOf(*person) + ".pem", person->certificatePem() + person->keyPem());
  }
  EXPECT_EQ(signerFor("author@example.org"), "Signing certificate not found: author@example.org");
  for (const Person* const person : {&brief, &longer}) {
    store.add("my/" + idOf(*person) + ".pem", person->certificatePem() + person->keyPem());
  }
  EXPECT_EQ(signerFor("author@example.org"), idOf(longer));
  EXPECT_EQ(signerFor("Author Name <AUTHOR@example.org>"), idOf(longer));
}

TEST(SignerLookup, TakesBase64) {
  TemporaryStore store;
  const Person& person = testing::person(Kind::kEc);
  EXPECT_EQ(signerFor(base64(person.pkcs12("secret")), "secret"), idOf(person));
  store.add("my/a.p12", person.pkcs12(""));
  EXPECT_EQ(signerFor(base64(person.certificateDer())), idOf(person));
}

TEST(SignerLookup, TellsThatAKeyIsOpenToOthers) {
  TemporaryStore store;
  const Person& person = testing::person(Kind::kEc);
  const auto path = store.add("my/a.pem", person.certificatePem() + person.keyPem(), 0644).string();
  EXPECT_EQ(signerFor("person2@example.org"),
            "Others may read the private key or its password: " + path);
}

TEST(SignerLookup, IsHeldToThePolicy) {
  TemporaryStore store;
  CertificateWish wish;
  wish.name = "Held";
  wish.keyUsage = "keyEncipherment";
  const Person held(Kind::kEc, wish, nullptr);
  const std::string pem = held.certificatePem() + held.keyPem();
  EXPECT_EQ(signerFor(pem), idOf(held));
  EXPECT_EQ(signerFor(pem, std::nullopt, settingsFor("kupKeyUsage")),
            "Signing certificate is not allowed by the policy kupKeyUsage: CN=Held");

  const Person& person = testing::person(Kind::kEc);
  const std::string good = person.certificatePem() + person.keyPem();
  LookupSettings strict = settingsFor("kupStrict");
  strict.author = "person2@example.org";
  EXPECT_EQ(signerFor(good, std::nullopt, strict), idOf(person));
  strict.author = "somebody@example.org";
  EXPECT_EQ(signerFor(good, std::nullopt, strict),
            "Signing certificate is not allowed by the policy kupStrict: CN=Person 2");
}

TEST(SignerLookup, CompletesTheChainWithoutItsRoot) {
  TemporaryStore store;
  CertificateWish wish;
  wish.name = "Link";
  wish.isAuthority = true;
  const Person link(Kind::kEc, wish, &testing::authority(Kind::kEc));
  wish.name = "Below";
  wish.isAuthority = false;
  const Person below(Kind::kEc, wish, &link);
  store.add("trusted/root.crt", testing::authority(Kind::kEc).certificatePem());
  store.add("trusted/link.crt", link.certificatePem());
  const Signer signer =
      findSigner(*CertificateStore::contents(), below.certificatePem() + below.keyPem(),
                 std::nullopt, settingsFor());
  ASSERT_EQ(signer.chain.size(), 1U);
  EXPECT_EQ(X509_cmp(signer.chain[0].get(), link.certificate()), 0);
}

TEST(RecipientLookup, TakesEveryForm) {
  TemporaryStore store;
  const Person& ec = testing::person(Kind::kEc);
  const Person& rsa = testing::person(Kind::kRsa);
  const Person& gost = testing::person(Kind::kGost512);
  const std::string both = idOf(ec) + " " + idOf(rsa) + " ";
  EXPECT_EQ(recipientsFor({ec.certificatePem() + rsa.certificatePem()}), both);
  EXPECT_EQ(recipientsFor({ec.certificatePem(), rsa.certificatePem(), ec.certificatePem()}), both);
  EXPECT_EQ(recipientsFor({base64(ec.certificateDer())}), idOf(ec) + " ");
  store.add("people/ec.pem", ec.certificatePem());
  store.add("my/gost.p12", gost.pkcs12(""));
  EXPECT_EQ(recipientsFor({thumbprint(ec.certificate(), EVP_sha1())}), idOf(ec) + " ");
  EXPECT_EQ(recipientsFor({idOf(gost)}), idOf(gost) + " ");
  EXPECT_EQ(recipientsFor({"person2@example.org", "Person <person4@example.org>"}),
            idOf(ec) + " " + idOf(gost) + " ");
  EXPECT_EQ(recipientsFor({(store.root() / "people/ec.pem").string()}), idOf(ec) + " ");
}

TEST(RecipientLookup, LeavesOutOnlyTheIssuersOfOthers) {
  TemporaryStore store;
  const Person& ec = testing::person(Kind::kEc);
  const Person& root = testing::authority(Kind::kEc);
  EXPECT_EQ(recipientsFor({ec.certificatePem() + root.certificatePem()}), idOf(ec) + " ");
  EXPECT_EQ(recipientsFor({root.certificatePem()}), idOf(root) + " ");
}

TEST(RecipientLookup, NeverDropsAnybody) {
  TemporaryStore store;
  const std::string good = testing::person(Kind::kEc).certificatePem();
  EXPECT_EQ(recipientsFor({good, "nobody@example.org"}),
            "Recipient certificate not found: nobody@example.org");
  EXPECT_EQ(recipientsFor({good, ""}), "Recipient certificate not found: ");
  EXPECT_EQ(recipientsFor({"-----BEGIN NOTHING-----"}),
            "Recipient certificate not found: PEM text");
  EXPECT_EQ(recipientsFor({"/no/such/file.pem"}),
            "Recipient certificate not found: /no/such/file.pem");
}

TEST(RecipientLookup, IsHeldToThePolicy) {
  TemporaryStore store;
  CertificateWish wish;
  wish.name = "Held";
  wish.address = "held@example.org";
  wish.keyUsage = "digitalSignature";
  const std::string signs = Person(Kind::kRsa, wish, nullptr).certificatePem();
  wish.keyUsage = "keyEncipherment";
  const Person carries(Kind::kRsa, wish, nullptr);
  EXPECT_NE(recipientsFor({signs}).size(), 0U);
  EXPECT_EQ(recipientsFor({signs}, settingsFor("kupKeyUsage")),
            "Recipient certificate is not allowed by the policy kupKeyUsage: CN=Held");
  EXPECT_EQ(recipientsFor({carries.certificatePem()}, settingsFor("kupEmail")),
            idOf(carries) + " ");
  LookupSettings strict = settingsFor("kupStrict");
  strict.mailboxes = {"author@example.org", "held@example.org"};
  EXPECT_EQ(recipientsFor({carries.certificatePem()}, strict), idOf(carries) + " ");
  strict.mailboxes = {"author@example.org"};
  EXPECT_EQ(recipientsFor({carries.certificatePem()}, strict),
            "Recipient certificate is not allowed by the policy kupStrict: CN=Held");
}

}  // namespace
}  // namespace brennox::crypto
