// Mails with bytes changed, some blindly, some by the structure: the process lives through all of
// them, and what it says about them is consistent.
//
// BRENNOX_MUTATIONS sets how many of each kind are tried.
#include <brennox/AutoreleasePool.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

#include "core/fixtures_for_test.h"
#include "crypto/der.h"
#include "crypto/store_for_tests.h"
#include "message/secure.h"
#include "text/base64.h"

namespace brennox::message {
namespace {

using crypto::DerReader;
using crypto::DerValue;
using crypto::testing::TemporaryStore;

constexpr unsigned int kDefaultCount = 1000;
constexpr unsigned int kSeed = 20261121;

unsigned int mutationCount() {
  const char* const wish = std::getenv("BRENNOX_MUTATIONS");
  return wish == nullptr ? kDefaultCount
                         : static_cast<unsigned int>(std::strtoul(wish, nullptr, 10));
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// A value and all that it stands in, outermost first.
using Path = std::vector<DerValue>;

std::vector<Path> pathsIn(std::string_view cms) {
  constexpr std::size_t kMaxDepth = 20;
  constexpr std::size_t kMaxPaths = 2000;
  struct Level {
    DerReader reader;
    DerValue value;
  };
  std::vector<Path> paths;
  std::vector<DerReader> open{DerReader(cms)};
  Path path;
  while (!open.empty() && paths.size() < kMaxPaths) {
    const auto value = open.back().next();
    if (!value) {
      open.pop_back();
      if (!path.empty()) {
        path.pop_back();
      }
      continue;
    }
    path.push_back(*value);
    paths.push_back(path);
    // An octet string may hold a structure too (keys are wrapped so).
    const bool holdsValues =
        value->isConstructed() || (value->tag == crypto::kDerOctetString &&
                                   value->content.size() > 2 && value->content[0] == 0x30);
    if (holdsValues && open.size() < kMaxDepth) {
      open.emplace_back(value->content);
    } else {
      path.pop_back();
    }
  }
  return paths;
}

// Puts `replacement` in the value's place and corrects the lengths around it.
std::string replaced(const Path& path, std::string replacement) {
  for (std::size_t i = path.size() - 1; i > 0; --i) {
    const DerValue& outer = path[i - 1];
    const auto before = static_cast<std::size_t>(path[i].whole.data() - outer.content.data());
    std::string content(outer.content.substr(0, before));
    content += replacement;
    content += outer.content.substr(before + path[i].whole.size());
    replacement = crypto::derWrap(outer.tag, content);
  }
  return replacement;
}

class Mutator {
 public:
  explicit Mutator(unsigned int seed) : random_(seed) {}

  std::string mutate(std::string cms) {
    const std::size_t times = 1 + below(3);
    for (std::size_t i = 0; i < times && !cms.empty(); ++i) {
      cms = below(3) == 0 ? changeBytes(std::move(cms)) : changeStructure(cms);
    }
    return cms;
  }

  std::size_t below(std::size_t limit) { return random_() % limit; }

 private:
  char byte() { return static_cast<char>(random_() & 0xFF); }

  std::string changeBytes(std::string cms) {
    const std::size_t at = below(cms.size());
    switch (below(5)) {
      case 0:
        cms[at] = static_cast<char>(cms[at] ^ (1 << below(8)));
        break;
      case 1:
        cms[at] = byte();
        break;
      case 2:
        cms.erase(at, 1 + below(8));
        break;
      case 3:
        cms.insert(at, 1 + below(8), byte());
        break;
      default:
        cms.resize(at);
        break;
    }
    return cms;
  }

  std::string changeStructure(const std::string& cms) {
    const std::vector<Path> paths = pathsIn(cms);
    if (paths.empty()) {
      return changeBytes(cms);
    }
    const Path& path = paths[below(paths.size())];
    const DerValue& value = path.back();
    std::string content(value.content);
    switch (below(9)) {
      case 0:
        return replaced(path, std::string("\x05\x00", 2));
      case 1:
        return replaced(path, "");
      case 2:
        return replaced(path, std::string(value.whole) + std::string(value.whole));
      case 3:
        return replaced(path, std::string(paths[below(paths.size())].back().whole));
      case 4: {
        constexpr unsigned char kTags[] = {0x02, 0x03, 0x04, 0x05, 0x06, 0x0C, 0x17, 0x30,
                                           0x31, 0x80, 0x81, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4};
        return replaced(path, crypto::derWrap(kTags[below(sizeof kTags)], content));
      }
      case 5:
        if (!content.empty()) {
          content[below(content.size())] = byte();
        }
        return replaced(path, crypto::derWrap(value.tag, content));
      case 6:
        content.resize(below(content.size() + 1));
        return replaced(path, crypto::derWrap(value.tag, content));
      case 7:
        content.append(1 + below(40), byte());
        return replaced(path, crypto::derWrap(value.tag, content));
      default:
        return replaced(path, crypto::derWrap(value.tag, ""));
    }
  }

  std::mt19937 random_;
};

// The CMS message in one of the fixtures.
std::string cmsIn(const std::string& name) {
  const std::string mail = readFile(fixturePath("smime/" + name));
  const std::size_t signature = mail.find("pkcs7-signature;");
  const std::size_t from =
      mail.find("smime.p7s") != std::string::npos && signature != std::string::npos
          ? mail.rfind("Content-Type:")
          : 0;
  std::size_t body = mail.find("\r\n\r\n", from);
  body = body == std::string::npos ? mail.find("\n\n", from) : body;
  EXPECT_NE(body, std::string::npos) << name;
  return text::base64Decode(std::string_view(mail).substr(body));
}

void addKeys(TemporaryStore& store, const std::vector<std::string>& names) {
  const std::string folder = fixturePath("smime/keys/");
  for (const std::string& name : names) {
    store.add("my/" + name + ".crt", readFile(folder + name + ".crt"));
    store.add("my/" + name + ".key", readFile(folder + name + ".key"));
  }
  for (const char* const anchor : {"ca-rsa", "ca-ec", "ca-g256", "ca-g512"}) {
    store.add(std::string("trusted/") + anchor + ".crt", readFile(folder + anchor + ".crt"));
  }
}

struct Tally {
  unsigned int mails = 0;
  unsigned int decrypted = 0;
};

Tally run(const std::vector<std::string>& files) {
  std::vector<std::string> seeds;
  for (const std::string& file : files) {
    seeds.push_back(cmsIn(file));
    EXPECT_GT(seeds.back().size(), 100U) << file;
  }
  constexpr std::string_view kHead =
      "From: a@example.org\r\nContent-Type: application/pkcs7-mime; name=smime.p7m\r\n"
      "Content-Transfer-Encoding: binary\r\n\r\n";
  Mutator mutator(kSeed);
  Tally tally;
  for (unsigned int i = 0; i < mutationCount(); ++i) {
    const AutoreleasePool pool;
    std::string mail(kHead);
    mail += mutator.mutate(seeds[mutator.below(seeds.size())]);
    const SecureResult result =
        openLayers(make<mime::Source>(Data::dataWithBytes(mail.data(), mail.size())).get(), {});
    ++tally.mails;
    tally.decrypted += result.isDecrypted ? 1U : 0U;
    EXPECT_EQ(result.isDecrypted, result.isEncrypted && result.decryptMessage.empty());
    if (result.isEncrypted && !result.isDecrypted && result.content) {
      EXPECT_EQ(result.content->bytes().find("Secret for"), std::string_view::npos);
    }
  }
  return tally;
}

TEST(Mutations, OfGostMailsAreSurvived) {
  TemporaryStore store;
  addKeys(store, {"grigory", "galina", "alice", "tc26-recipient256", "tc26-recipient512"});
  const Tally tally = run(
      {"enc-galina-kuznyechik-ctr-acpkm-omac.eml", "enc-galina-magma-ctr-acpkm.eml",
       "enc-grigory-magma-ctr-acpkm.eml", "enc-mixed-gost-rsa.eml", "hostile-fuzz-crash_1_2.eml",
       "hostile-fuzz-crash_1_271.eml", "hostile-fuzz-crash_1_8.eml",
       "sig-opaque-tampered-galina.eml", "sig-opaque-tampered-grigory.eml",
       "tc26-encrypted_keyagree_a221.eml", "tc26-encrypted_keytrans_a231.eml",
       "tc26-encrypted_keytrans_a241.eml", "tc26-signed_a111.eml", "tc26-signed_a121.eml"});
  EXPECT_EQ(tally.mails, mutationCount());
  // Changes of the ciphertext of a cipher without authentication go unnoticed; if none did, nothing
  // would have got as far as the ciphers.
  EXPECT_GT(tally.decrypted, 0U);
}

TEST(Mutations, OfRsaAndEllipticMailsAreSurvived) {
  TemporaryStore store;
  addKeys(store, {"alice", "bob", "carol", "tbi-fran", "tbi-fran-ec", "tb-bob"});
  const Tally tally =
      run({"enc-bob-aes-256-cbc.eml", "enc-bob-aes-256-gcm.eml", "enc-multi-alice.eml",
           "enc-tampered-alice-aes-256-gcm.eml", "sig-opaque-alice.eml",
           "sig-opaque-tampered-bob.eml", "tbi-fran-ec_ossl-aes128-sha256.eml",
           "tbi-fran-oaep-sha256hash_ossl.eml", "tb-alice.env.eml", "triple-alice.eml"});
  EXPECT_EQ(tally.mails, mutationCount());
  EXPECT_GT(tally.decrypted, 0U);
}

}  // namespace
}  // namespace brennox::message
