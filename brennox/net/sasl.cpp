#include "net/sasl.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <limits>

#include "net/sasl_library.h"

namespace brennox::net {
namespace {

// The encoder counts in `int`.
constexpr std::size_t kMaxToken = std::numeric_limits<int>::max() / 2;

struct Row {
  const char* name;
  // The bit that allows it; 0 where only AuthTypeSASLNone does.
  int type;
  bool clientFirst;
  // What travels is as good as the password.
  bool plain;
  // Worth trying before the plain ones on an encrypted connection: servers that keep hashes offer
  // the older challenges and then cannot check them.
  bool strong;
};

// Best first. GSSAPI and NTLM need surroundings (a ticket, a domain) that an unconfigured account
// does not have, so they are taken only when asked for.
constexpr std::array<Row, 8> kMechanisms = {{
    {"SCRAM-SHA-256", 0, true, false, true},
    {"SCRAM-SHA-1", 0, true, false, true},
    {"DIGEST-MD5", AuthTypeSASLDIGESTMD5, false, false, false},
    {"CRAM-MD5", AuthTypeSASLCRAMMD5, false, false, false},
    {"PLAIN", AuthTypeSASLPlain, true, true, false},
    {"LOGIN", AuthTypeSASLLogin, false, true, false},
    {"GSSAPI", AuthTypeSASLGSSAPI, true, false, false},
    {"NTLM", AuthTypeSASLNTLM, true, false, false},
}};

bool sameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           const auto upper = [](char c) {
             return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
           };
           return upper(x) == upper(y);
         });
}

bool contains(const std::vector<std::string>& names, std::string_view name) {
  return std::any_of(names.begin(), names.end(),
                     [&](const std::string& item) { return sameName(item, name); });
}

// XOAUTH2 and OAUTHBEARER (RFC 7628): one message. After a refusal the server explains itself in a
// challenge, which wants an empty answer before the exchange fails properly.
class TokenClient final : public SaslClient {
 public:
  TokenClient(bool bearer, const Credentials& credentials)
      : bearer_(bearer), credentials_(credentials) {}

  bool isClientFirst() const override { return true; }
  bool isComplete() const override { return sent_; }

  Step next(std::string_view challenge, std::string* answer) override {
    answer->clear();
    if (sent_) {
      *answer = bearer_ ? "AQ==" : "";
      return challenge.size() > kMaxChallenge ? Step::kFailed : Step::kDone;
    }
    sent_ = true;
    std::string message;
    // Room for all of it at once: a growing string would leave copies of the token behind.
    message.reserve(credentials_.username.size() * 3 + credentials_.token.size() +
                    credentials_.hostname.size() + 64);
    if (bearer_) {
      message += "n,a=";
      for (const char c : credentials_.username) {
        message += c == ',' ? "=2C" : c == '=' ? "=3D" : std::string(1, c);
      }
      message += ",\1host=";
      message += credentials_.hostname;
      message += "\1port=" + std::to_string(credentials_.port) + "\1";
    } else {
      message += "user=";
      message += credentials_.username;
      message += '\1';
    }
    message += "auth=Bearer ";
    message += credentials_.token;
    message += "\1\1";
    const bool fits = message.size() <= kMaxToken;
    if (fits) {
      // With a NUL behind it.
      answer->resize((message.size() + 2) / 3 * 4 + 1);
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(answer->data()),
                      reinterpret_cast<const unsigned char*>(message.data()),
                      static_cast<int>(message.size()));
      answer->pop_back();
    }
    wipe(&message);
    if (!fits) {
      return Step::kFailed;
    }
    return Step::kDone;
  }

 private:
  const bool bearer_;
  const Credentials& credentials_;
  bool sent_ = false;
};

}  // namespace

Credentials::~Credentials() {
  wipe(&password);
  wipe(&token);
}

bool Credentials::areValid() const {
  return username.find('\0') == std::string::npos && password.find('\0') == std::string::npos &&
         token.find('\0') == std::string::npos && token.find('\1') == std::string::npos &&
         username.find('\1') == std::string::npos;
}

void wipe(std::string* secret) {
  OPENSSL_cleanse(secret->data(), secret->size());
  secret->clear();
}

std::vector<std::string> saslMechanisms(AuthType type, const std::vector<std::string>& offered,
                                        bool encrypted, const Credentials& credentials) {
  std::vector<std::string> names;
  const bool any = type == AuthTypeSASLNone;
  const bool useToken = any ? !credentials.token.empty() && credentials.password.empty()
                            : (type & AuthTypeXOAuth2) != 0;
  if (useToken) {
    for (const char* name : {"OAUTHBEARER", "XOAUTH2"}) {
      if (contains(offered, name)) {
        names.emplace_back(name);
        break;
      }
    }
  }
  const SaslLibrary library;
  for (const Row& row : kMechanisms) {
    const bool allowed = any ? !row.plain && row.type != AuthTypeSASLGSSAPI &&
                                   row.type != AuthTypeSASLNTLM && (row.strong || !encrypted)
                             : (type & row.type) != 0;
    if (allowed && contains(offered, row.name) && library.supports(row.name)) {
      names.emplace_back(row.name);
    }
  }
  if (any) {
    const bool plain = encrypted || names.empty();
    for (const Row& row : kMechanisms) {
      if (plain && row.plain && contains(offered, row.name) && library.supports(row.name)) {
        names.emplace_back(row.name);
      }
    }
    // The old challenges are better than nothing on an encrypted connection, too.
    for (const Row& row : kMechanisms) {
      const bool old = encrypted && !row.plain && !row.strong && row.type != AuthTypeSASLGSSAPI &&
                       row.type != AuthTypeSASLNTLM;
      if (names.empty() && old && contains(offered, row.name) && library.supports(row.name)) {
        names.emplace_back(row.name);
      }
    }
  }
  return names;
}

std::unique_ptr<SaslClient> SaslClient::start(std::string_view mechanism,
                                              const Credentials& credentials) {
  if (sameName(mechanism, "XOAUTH2") || sameName(mechanism, "OAUTHBEARER")) {
    return std::make_unique<TokenClient>(sameName(mechanism, "OAUTHBEARER"), credentials);
  }
  for (const Row& row : kMechanisms) {
    if (sameName(mechanism, row.name)) {
      return startLibraryClient(row.name, row.clientFirst, credentials);
    }
  }
  return nullptr;
}

}  // namespace brennox::net
