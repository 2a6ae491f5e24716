#include "message/secure.h"

#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/MessageBuilder.h>
#include <brennox/MessageHeader.h>
#include <brennox/MessageParser.h>
#include <brennox/String.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

#include "core/fixtures_for_test.h"
#include "crypto/encrypt.h"
#include "crypto/people_for_tests.h"
#include "crypto/sign.h"
#include "crypto/store.h"
#include "crypto/store_for_tests.h"
#include "text/base64.h"

namespace brennox::message {
namespace {

using crypto::testing::Kind;
using crypto::testing::Person;
using crypto::testing::TemporaryStore;

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

Ref<mime::Source> sourceOf(const std::string& mail) {
  return make<mime::Source>(Data::dataWithBytes(mail.data(), mail.size()));
}

std::vector<std::string> split(const std::string& text, const std::string& separator) {
  std::vector<std::string> fields;
  std::size_t at = 0;
  for (;;) {
    const std::size_t end = text.find(separator, at);
    fields.push_back(text.substr(at, end - at));
    if (end == std::string::npos) {
      return fields;
    }
    at = end + separator.size();
  }
}

// One line of cases.txt: file | keys | anchor | isSigned | isEncrypted | isVerified | isDecrypted |
// text that must appear | text that must not; "-" where anything goes.
void checkCase(const std::string& folder, const std::vector<std::string>& fields) {
  SCOPED_TRACE(fields[0]);
  const AutoreleasePool pool;
  TemporaryStore store;
  if (fields[1] != "-") {
    for (const std::string& key : split(fields[1], ",")) {
      store.add("my/" + key + ".crt", readFile(folder + "/keys/" + key + ".crt"));
      store.add("my/" + key + ".key", readFile(folder + "/keys/" + key + ".key"));
    }
  }
  if (fields[2] != "-") {
    store.add("trusted/anchor.crt", readFile(folder + "/keys/" + fields[2] + ".crt"));
  }
  const std::string mail = readFile(folder + "/" + fields[0]);
  ASSERT_FALSE(mail.empty());
  const SecureResult result = openLayers(sourceOf(mail).get(), {});
  const auto check = [](const std::string& wish, bool value, const char* what) {
    if (wish != "-") {
      EXPECT_EQ(value, wish == "yes") << what;
    }
  };
  check(fields[3], result.isSigned, "isSigned");
  check(fields[4], result.isEncrypted, "isEncrypted");
  check(fields[5], result.isVerified, "isVerified");
  check(fields[6], result.isDecrypted, "isDecrypted");
  EXPECT_EQ(result.decryptMessage.empty(), !result.isEncrypted || result.isDecrypted);
  const std::string content(result.content ? result.content->bytes() : std::string_view());
  if (fields[7] != "-") {
    EXPECT_NE(content.find(fields[7]), std::string::npos);
  }
  if (fields[8] != "-") {
    EXPECT_EQ(content.find(fields[8]), std::string::npos);
  }
}

void checkCases(const std::string& folder) {
  std::istringstream lines(readFile(folder + "/cases.txt"));
  std::string line;
  std::size_t count = 0;
  while (std::getline(lines, line)) {
    if (!line.empty() && line[0] != '#') {
      checkCase(folder, split(line, " | "));
      ++count;
    }
  }
  EXPECT_GT(count, 0U);
}

TEST(Layers, OfCollectedMails) {
  checkCases(fixturePath("smime"));
}

// The same for a folder of more mails with a list of the same form.
TEST(Layers, OfFurtherMails) {
  const char* const folder = std::getenv("BRENNOX_SMIME_MAILS");
  if (folder == nullptr) {
    GTEST_SKIP() << "BRENNOX_SMIME_MAILS names no folder";
  }
  checkCases(folder);
}

TEST(Layers, LeaveASignatureThatIsNoneBesideItsText) {
  const AutoreleasePool pool;
  const std::string mail =
      "Content-Type: multipart/signed; protocol=\"application/pkcs7-signature\"; boundary=b\r\n\r\n"
      "--b\r\n\r\nText.\r\n--b\r\nContent-Type: application/pkcs7-signature; name=smime.p7s\r\n"
      "Content-Transfer-Encoding: base64\r\n\r\nbm90aGluZw==\r\n--b--\r\n";
  const SecureResult result = openLayers(sourceOf(mail).get(), {});
  EXPECT_TRUE(result.isSigned);
  EXPECT_FALSE(result.isVerified);
  EXPECT_FALSE(result.content);
}

std::string opaqueCms() {
  const Person& person = crypto::testing::person(Kind::kEc);
  constexpr std::string_view kText = "Content-Type: text/plain\r\n\r\nText.\r\n";
  const crypto::CmsHandle cms(CMS_sign(
      person.certificate(), person.key(), nullptr,
      crypto::BioHandle(BIO_new_mem_buf(kText.data(), static_cast<int>(kText.size()))).get(),
      CMS_BINARY));
  const crypto::BioHandle out(BIO_new(BIO_s_mem()));
  i2d_CMS_bio(out.get(), cms.get());
  char* bytes = nullptr;
  const long length = BIO_get_mem_data(out.get(), &bytes);
  return std::string(bytes, static_cast<std::size_t>(length));
}

std::string base64Lines(std::string_view bytes) {
  std::string lines(text::base64EncodedLinesLength(bytes.size()), '\0');
  text::base64EncodeLines(bytes, lines.data());
  return lines;
}

// However gateways and programs have put it into the mail.
TEST(Layers, AreFoundInEveryEncoding) {
  const AutoreleasePool pool;
  TemporaryStore store;
  store.add("trusted/ca.crt", crypto::testing::authority(Kind::kEc).certificatePem());
  const std::string cms = opaqueCms();
  const std::string base64 = base64Lines(cms);
  const std::string pem = "-----BEGIN CMS-----\r\n" + base64 + "\r\n-----END CMS-----\r\n";
  const std::string rows[] = {
      "Content-Transfer-Encoding: base64\r\n\r\n" + base64,
      "Content-Transfer-Encoding: binary\r\n\r\n" + cms,
      "\r\n" + cms,
      "\r\n" + base64,
      "\r\n\r\n  " + base64,
      "Content-Transfer-Encoding: 7bit\r\n\r\n" + base64,
      "Content-Transfer-Encoding: 7bit\r\n\r\n" + pem,
      "Content-Transfer-Encoding: base64\r\n\r\n" + pem,
      "Content-Transfer-Encoding: base64\r\n\r\n\r\n" + pem + "-- \r\nThe list's footer.\r\n",
  };
  for (const std::string& row : rows) {
    const std::string mail = "Content-Type: application/pkcs7-mime; name=smime.p7m\r\n" + row;
    const SecureResult result = openLayers(sourceOf(mail).get(), {});
    EXPECT_TRUE(result.isVerified) << row.substr(0, 100);
    EXPECT_FALSE(result.isEncrypted);
    ASSERT_TRUE(result.content);
    EXPECT_NE(result.content->bytes().find("Text."), std::string_view::npos);
  }
}

// A message cut short is what it was.
TEST(Layers, ThatAreCutShortCountAsWhatTheyWere) {
  const AutoreleasePool pool;
  TemporaryStore store;
  const auto resultOf = [](std::string_view label, std::string cms) {
    cms.resize(cms.size() / 2);
    return openLayers(sourceOf("Content-Type: application/pkcs7-mime; " + std::string(label) +
                               "\r\nContent-Transfer-Encoding: base64\r\n\r\n" + base64Lines(cms))
                          .get(),
                      {});
  };
  const std::string encrypted =
      crypto::testing::encrypted("secret", {&crypto::testing::person(Kind::kRsa)});
  for (const char* const label :
       {"name=smime.p7m", "smime-type=signed-data", "smime-type=enveloped-data"}) {
    const SecureResult cutSignature = resultOf(label, opaqueCms());
    EXPECT_TRUE(cutSignature.isSigned) << label;
    EXPECT_FALSE(cutSignature.isVerified) << label;
    EXPECT_FALSE(cutSignature.isEncrypted) << label;
    EXPECT_FALSE(cutSignature.content) << label;
    const SecureResult cutEnvelope = resultOf(label, encrypted);
    EXPECT_FALSE(cutEnvelope.isSigned) << label;
    EXPECT_TRUE(cutEnvelope.isEncrypted) << label;
    EXPECT_EQ(cutEnvelope.decryptMessage, "The encrypted data is malformed") << label;
  }
  const SecureResult nothing = resultOf("smime-type=signed-data", "nothing at all");
  EXPECT_TRUE(nothing.isSigned);
  EXPECT_FALSE(nothing.isEncrypted);
  EXPECT_TRUE(resultOf("name=smime.p7m", "nothing at all").isEncrypted);
  EXPECT_FALSE(resultOf("smime-type=certs-only", "nothing at all").isEncrypted);
}

TEST(Layers, OfAnotherProtocolAreNone) {
  const AutoreleasePool pool;
  const std::string mail =
      "Content-Type: multipart/signed; protocol=\"application/pgp-signature\"; "
      "boundary=pkcs7-signature\r\n\r\n--pkcs7-signature\r\n\r\nText.\r\n--pkcs7-signature\r\n"
      "Content-Type: application/pgp-signature\r\n\r\nx\r\n--pkcs7-signature--\r\n";
  EXPECT_FALSE(openLayers(sourceOf(mail).get(), {}).isSigned);
}

Ref<MessageBuilder> builder() {
  Ref<MessageBuilder> result = make<MessageBuilder>();
  const Ref<MessageHeader> header = make<MessageHeader>();
  header->setFrom(Address::addressWithMailbox(String::stringWithText("person2@example.org")));
  result->setHeader(header.get());
  result->setTextBody(String::stringWithText("The secret is 4711."));
  return result;
}

Array* listOf(const std::vector<std::string>& texts) {
  Array* const list = Array::array();
  for (const std::string& text : texts) {
    list->addObject(String::stringWithText(text));
  }
  return list;
}

class ProtectedMessage : public ::testing::TestWithParam<Kind> {};

TEST_P(ProtectedMessage, ReadsAsItWasBuilt) {
  const AutoreleasePool pool;
  const Person& person = crypto::testing::person(GetParam());
  TemporaryStore store;
  store.add("my/own.pem", person.certificatePem() + person.keyPem());
  store.add("trusted/authority.crt", crypto::testing::authority(GetParam()).certificatePem());
  for (const int what : {1, 2, 3}) {
    const Ref<MessageBuilder> built = builder();
    if ((what & 1) != 0) {
      built->setSigningCertificate(
          String::stringWithText(person.certificatePem() + person.keyPem()), nullptr);
    }
    if ((what & 2) != 0) {
      built->setRecipientsCertificates(listOf({person.certificatePem()}));
    }
    Data* const mail = built->data();
    const SecureResult result = openLayers(make<mime::Source>(mail).get(), {});
    EXPECT_EQ(result.isSigned, (what & 1) != 0);
    EXPECT_EQ(result.isVerified, (what & 1) != 0);
    EXPECT_EQ(result.isEncrypted, (what & 2) != 0);
    EXPECT_EQ(result.isDecrypted, (what & 2) != 0);
    ASSERT_TRUE(result.content);
    EXPECT_NE(result.content->bytes().find("4711"), std::string_view::npos);
    EXPECT_EQ(mail->view().find("4711") == std::string_view::npos, (what & 2) != 0);
    EXPECT_EQ(mail->view().find("multipart/signed") == std::string_view::npos, what != 1);
  }
}

INSTANTIATE_TEST_SUITE_P(All, ProtectedMessage,
                         ::testing::Values(Kind::kRsa, Kind::kEc, Kind::kGost256, Kind::kGost512));

TEST(Protection, KeepsToLineLengthsAndLineEnds) {
  const AutoreleasePool pool;
  const Person& person = crypto::testing::person(Kind::kRsa);
  for (std::size_t length = 0; length < 200; length += 7) {
    const Ref<MessageBuilder> built = builder();
    built->setTextBody(String::stringWithText(std::string(length, 'x')));
    built->setRecipientsCertificates(listOf({person.certificatePem()}));
    std::string_view rest = built->data()->view();
    while (!rest.empty()) {
      const std::size_t end = rest.find("\r\n");
      ASSERT_NE(end, std::string_view::npos);
      EXPECT_LE(end, 78U);
      EXPECT_EQ(rest.substr(0, end).find('\n'), std::string_view::npos);
      rest.remove_prefix(end + 2);
    }
  }
}

TEST(Protection, FailsAsAWhole) {
  const AutoreleasePool pool;
  TemporaryStore store;
  const Ref<MessageBuilder> built = builder();
  built->setSigningCertificate(String::stringWithText("nobody@example.org"), nullptr);
  EXPECT_THROW(built->data(), std::runtime_error);
  const Ref<MessageBuilder> other = builder();
  other->setRecipientsCertificates(
      listOf({crypto::testing::person(Kind::kEc).certificatePem(), "nobody@example.org"}));
  EXPECT_THROW(other->data(), std::runtime_error);
}

// A place where two threads wait for each other. A lock around the work that leads there would keep
// the second one away.
class Meeting {
 public:
  void attend() {
    std::unique_lock lock(mutex_);
    present_.insert(std::this_thread::get_id());
    changed_.notify_all();
    hasMet_ =
        hasMet_ && changed_.wait_for(lock, kPatience, [this] { return present_.size() == 2; });
  }
  bool hasMet() const { return hasMet_ && present_.size() == 2; }

 private:
  // Only waited for in full when the test fails.
  static constexpr std::chrono::seconds kPatience{60};
  std::mutex mutex_;
  std::condition_variable changed_;
  std::set<std::thread::id> present_;
  bool hasMet_ = true;
};

void parseOnTwoThreads(const std::string& mail, bool (MessageParser::*result)()) {
  const auto work = [&] {
    const AutoreleasePool pool;
    MessageParser* const parser =
        MessageParser::messageParserWithData(Data::dataWithBytes(mail.data(), mail.size()));
    EXPECT_TRUE((parser->*result)());
  };
  std::thread first(work);
  std::thread second(work);
  first.join();
  second.join();
}

std::string bytesOf(Data* data) {
  return std::string(data->view());
}

Meeting* verifyMeeting = nullptr;

TEST(Layers, OfSeveralMessagesAreVerifiedAtOnce) {
  const AutoreleasePool pool;
  const Person& person = crypto::testing::person(Kind::kEc);
  TemporaryStore store;
  store.add("trusted/ca.crt", crypto::testing::authority(Kind::kEc).certificatePem());
  const Ref<MessageBuilder> built = builder();
  built->setSigningCertificate(String::stringWithText(person.certificatePem() + person.keyPem()),
                               nullptr);
  const std::string mail = bytesOf(built->data());

  // In the midst of verification, while the chain is built from the shared store.
  Meeting meeting;
  verifyMeeting = &meeting;
  const auto contents = crypto::CertificateStore::contents();
  X509_STORE_set_verify_cb(contents->trust.anchors.get(), [](int isGood, X509_STORE_CTX*) {
    verifyMeeting->attend();
    return isGood;
  });
  parseOnTwoThreads(mail, &MessageParser::VerifyResult);
  EXPECT_TRUE(meeting.hasMet());
  X509_STORE_set_verify_cb(contents->trust.anchors.get(), nullptr);
}

}  // namespace
}  // namespace brennox::message
