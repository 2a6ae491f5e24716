#include "crypto/store.h"

#include <gtest/gtest.h>

#include <thread>

#include "crypto/credentials.h"
#include "crypto/people_for_tests.h"
#include "crypto/store_for_tests.h"

namespace brennox::crypto {
namespace {

using testing::CertificateWish;
using testing::Kind;
using testing::Person;
using testing::TemporaryStore;

std::size_t openableKeys() {
  std::size_t count = 0;
  for (const OwnCertificate& own : CertificateStore::contents()->keys()) {
    count += own.openKey() ? 1 : 0;
  }
  return count;
}

TEST(Store, IsEmptyWithoutAFolder) {
  TemporaryStore store;
  std::filesystem::remove_all(store.root());
  const auto contents = CertificateStore::contents();
  EXPECT_TRUE(contents->own.empty());
  EXPECT_TRUE(contents->people.empty());
  EXPECT_TRUE(contents->trust.anchors);
}

TEST(Store, ReadsEveryFormOfAnOwnCertificate) {
  for (const Kind kind : {Kind::kRsa, Kind::kEc, Kind::kGost256, Kind::kGost512}) {
    const Person& person = testing::person(kind);
    const std::string pem = person.certificatePem() + person.keyPem();
    const std::string lockedPem = person.certificatePem() + person.keyPem("secret");
    TemporaryStore store;
    store.add("my/a.p12", person.pkcs12(""));
    store.add("my/b.pfx", person.pkcs12("secret"));
    store.add("my/b.pass", "secret\n");
    store.add("my/c.pem", pem);
    store.add("my/d.pem", lockedPem);
    store.add("my/d.pass", "secret");
    store.add("my/e.crt", person.certificatePem(), 0644);
    store.add("my/e.key", person.keyPem());
    store.add("my/f.crt", person.certificateDer(), 0644);
    store.add("my/f.key", person.keyPem("secret"));
    store.add("my/f.pass", "secret\r\n");
    EXPECT_EQ(CertificateStore::contents()->own.size(), 6U);
    EXPECT_EQ(openableKeys(), 6U);
  }
}

TEST(Store, LeavesOutWhatItCannotOpen) {
  const Person& person = testing::person(Kind::kEc);
  TemporaryStore store;
  store.add("my/no-password.p12", person.pkcs12("secret"));
  store.add("my/no-certificate.pem", person.keyPem());
  store.add("my/garbage.p12", "garbage");
  store.add("my/no-key.crt", person.certificatePem());
  EXPECT_EQ(CertificateStore::contents()->own.size(), 0U);

  store.add("my/wrong-password.pem", person.certificatePem() + person.keyPem("secret"));
  store.add("my/wrong-password.pass", "other");
  const Person& other = testing::person(Kind::kRsa);
  store.add("my/other-key.crt", person.certificatePem());
  store.add("my/other-key.key", other.keyPem());
  EXPECT_EQ(CertificateStore::contents()->own.size(), 2U);
  EXPECT_EQ(openableKeys(), 0U);
}

TEST(Store, RefusesKeysAndPasswordsThatOthersMayRead) {
  const Person& person = testing::person(Kind::kEc);
  const auto isTooOpen = [&](int keyMode, int passwordMode) {
    TemporaryStore store;
    store.add("my/a.crt", person.certificatePem(), 0644);
    store.add("my/a.key", person.keyPem("secret"), keyMode);
    store.add("my/a.pass", "secret", passwordMode);
    const auto contents = CertificateStore::contents();
    EXPECT_EQ(contents->own.size(), 1U);
    EXPECT_EQ(contents->own[0].isTooOpen, openableKeys() == 0);
    return contents->own[0].isTooOpen;
  };
  EXPECT_FALSE(isTooOpen(0600, 0600));
  EXPECT_FALSE(isTooOpen(0400, 0400));
  EXPECT_TRUE(isTooOpen(0640, 0600));
  EXPECT_TRUE(isTooOpen(0604, 0600));
  EXPECT_TRUE(isTooOpen(0600, 0644));

  TemporaryStore store;
  store.add("my/a.pem", person.certificatePem() + person.keyPem(), 0644);
  EXPECT_EQ(openableKeys(), 0U);
}

TEST(Store, RefusesFoldersThatAnybodyMayWriteTo) {
  TemporaryStore store;
  store.add("people/a.pem", testing::person(Kind::kEc).certificatePem());
  EXPECT_EQ(CertificateStore::contents()->people.size(), 1U);
  TemporaryStore::setMode(store.root() / "people", 0777);
  EXPECT_EQ(CertificateStore::contents()->people.size(), 0U);
  TemporaryStore::setMode(store.root() / "people", 0700);
  TemporaryStore::setMode(store.root(), 0777);
  store.add("people/b.pem", testing::person(Kind::kEc).certificatePem());
  EXPECT_EQ(CertificateStore::contents()->people.size(), 0U);
}

TEST(Store, ReadsOtherPeopleAndAuthorities) {
  TemporaryStore store;
  store.add("people/two.pem", testing::person(Kind::kEc).certificatePem() +
                                  testing::person(Kind::kRsa).certificatePem());
  store.add("people/one.der", testing::person(Kind::kGost256).certificateDer());
  store.add("trusted/root.crt", testing::authority(Kind::kEc).certificatePem());
  CertificateWish wish;
  wish.name = "Link";
  wish.isAuthority = true;
  const Person link(Kind::kEc, wish, &testing::authority(Kind::kEc));
  store.add("trusted/link.crt", link.certificatePem());
  const auto contents = CertificateStore::contents();
  EXPECT_EQ(contents->people.size(), 3U);
  EXPECT_EQ(contents->trust.intermediates.size(), 1U);

  wish.name = "Below";
  wish.isAuthority = false;
  const Person below(Kind::kEc, wish, &link);
  VerifySettings settings;
  settings.now = testing::now();
  EXPECT_TRUE(verifyDetached(sign({"x"}, below.signer()), {"x"}, contents->trust, settings).isGood);
}

TEST(Store, NoticesEveryChangeAtOnce) {
  const std::string first = testing::person(Kind::kEc).certificatePem();
  const std::string second = testing::person(Kind::kRsa).certificatePem();
  TemporaryStore store;
  const auto people = [] {
    const auto contents = CertificateStore::contents();
    return contents->people.empty() ? std::string()
                                    : thumbprint(contents->people[0].get(), EVP_sha256());
  };
  EXPECT_EQ(people(), "");
  store.add("people/a.pem", first);
  const std::string before = people();
  EXPECT_NE(before, "");
  // Written over in place: the folder's own time stays.
  store.add("people/a.pem", second);
  const std::string after = people();
  EXPECT_NE(after, "");
  EXPECT_NE(after, before);
  std::filesystem::remove(store.root() / "people" / "a.pem");
  EXPECT_EQ(people(), "");
}

TEST(Store, IsReadOnceWhenNothingChanges) {
  TemporaryStore store;
  store.add("people/a.pem", testing::person(Kind::kEc).certificatePem());
  EXPECT_EQ(CertificateStore::contents(), CertificateStore::contents());
}

TEST(Store, ServesManyThreads) {
  TemporaryStore store;
  const Person& person = testing::person(Kind::kEc);
  store.add("my/a.p12", person.pkcs12(""));
  const std::string cms = testing::encrypted("secret", {&person});
  std::vector<std::thread> threads;
  std::atomic<int> opened{0};
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round) {
        const auto contents = CertificateStore::contents();
        const DecryptResult result = decrypt(testing::blockOf(cms), contents->keys());
        opened += result.status == DecryptStatus::kOpened ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(opened, 160);
}

}  // namespace
}  // namespace brennox::crypto
