#include "message/secure.h"

#include <brennox/AutoreleasePool.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <vector>

#include "crypto/encrypt.h"
#include "crypto/people_for_tests.h"
#include "crypto/sign.h"
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
  const SecureResult result = openLayers(Data::dataWithBytes(mail.data(), mail.size()), {});
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
  const std::string content(result.content ? result.content->view() : std::string_view());
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
  checkCases(BRENNOX_FIXTURES "/smime");
}

// The same for a folder of more mails with a list of the same form.
TEST(Layers, OfFurtherMails) {
  const char* const folder = std::getenv("BRENNOX_SMIME_MAILS");
  if (folder == nullptr) {
    GTEST_SKIP() << "BRENNOX_SMIME_MAILS names no folder";
  }
  checkCases(folder);
}

}  // namespace
}  // namespace brennox::message
