#include "net/sasl.h"

#include <gsasl.h>
#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace brennox::net {
namespace {

// A longer challenge is no challenge.
constexpr std::size_t kMaxChallenge = 64 * 1024;
// SCRAM lets the server choose how often the client hashes: more than this only serves to stall it.
constexpr unsigned kMaxIterations = 1000000;

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

// The library's context: the mechanisms that it can do.
class Context {
 public:
  Context() {
    if (gsasl_init(&context_) != GSASL_OK) {
      context_ = nullptr;
    }
  }
  ~Context() {
    if (context_ != nullptr) {
      gsasl_done(context_);
    }
  }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  bool supports(const char* mechanism) const {
    return context_ != nullptr && gsasl_client_support_p(context_, mechanism) != 0;
  }
  Gsasl* get() const noexcept { return context_; }

 private:
  Gsasl* context_ = nullptr;
};

class GsaslClient final : public SaslClient {
 public:
  GsaslClient(const Row& row, const Credentials& credentials)
      : row_(row), credentials_(credentials) {
    if (context_.get() == nullptr) {
      return;
    }
    gsasl_callback_set(context_.get(), &GsaslClient::property);
    gsasl_callback_hook_set(context_.get(), this);
    if (gsasl_client_start(context_.get(), row.name, &session_) != GSASL_OK) {
      session_ = nullptr;
    }
  }
  ~GsaslClient() override {
    if (session_ != nullptr) {
      gsasl_finish(session_);
    }
  }

  bool isStarted() const noexcept { return session_ != nullptr; }
  bool isClientFirst() const override { return row_.clientFirst; }
  bool isComplete() const override { return done_; }

  Step next(std::string_view challenge, std::string* answer) override {
    answer->clear();
    if (challenge.size() > kMaxChallenge || session_ == nullptr) {
      return Step::kFailed;
    }
    const std::string terminated(challenge);
    if (std::strncmp(row_.name, "SCRAM", 5) == 0 && !hasFairIterations(terminated)) {
      return Step::kFailed;
    }
    char* output = nullptr;
    const int result = gsasl_step64(session_, terminated.c_str(), &output);
    if (output != nullptr) {
      const std::size_t length = std::strlen(output);
      if (result == GSASL_OK || result == GSASL_NEEDS_MORE) {
        answer->assign(output, length);
      }
      OPENSSL_cleanse(output, length);
      gsasl_free(output);
    }
    if (result == GSASL_OK) {
      done_ = true;
      return Step::kDone;
    }
    return result == GSASL_NEEDS_MORE ? Step::kContinue : Step::kFailed;
  }

 private:
  static bool hasFairIterations(const std::string& challenge) {
    char* decoded = nullptr;
    std::size_t length = 0;
    if (challenge.empty() ||
        gsasl_base64_from(challenge.data(), challenge.size(), &decoded, &length) != GSASL_OK) {
      return true;
    }
    const std::string text(decoded, length);
    gsasl_free(decoded);
    const std::size_t at = text.find(",i=");
    return at == std::string::npos ||
           std::strtoul(text.c_str() + at + 3, nullptr, 10) <= kMaxIterations;
  }

  static int property(Gsasl* context, Gsasl_session* session, Gsasl_property property) {
    const auto* const self = static_cast<const GsaslClient*>(gsasl_callback_hook_get(context));
    if (self == nullptr || session == nullptr) {
      return GSASL_NO_CALLBACK;
    }
    const Credentials& credentials = self->credentials_;
    switch (property) {
      case GSASL_AUTHID:
        return gsasl_property_set(session, property, credentials.username.c_str());
      case GSASL_PASSWORD:
        return gsasl_property_set(session, property, credentials.password.c_str());
      case GSASL_SERVICE:
        return gsasl_property_set(session, property, credentials.service.c_str());
      case GSASL_HOSTNAME:
        return gsasl_property_set(session, property, credentials.hostname.c_str());
      default:
        return GSASL_NO_CALLBACK;
    }
  }

  const Row& row_;
  const Credentials& credentials_;
  Context context_;
  Gsasl_session* session_ = nullptr;
  bool done_ = false;
};

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
    char* encoded = nullptr;
    std::size_t length = 0;
    const bool fits =
        gsasl_base64_to(message.data(), message.size(), &encoded, &length) == GSASL_OK;
    wipe(&message);
    if (!fits) {
      return Step::kFailed;
    }
    answer->assign(encoded, length);
    OPENSSL_cleanse(encoded, length);
    gsasl_free(encoded);
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
  const Context context;
  for (const Row& row : kMechanisms) {
    const bool allowed = any ? !row.plain && row.type != AuthTypeSASLGSSAPI &&
                                   row.type != AuthTypeSASLNTLM && (row.strong || !encrypted)
                             : (type & row.type) != 0;
    if (allowed && contains(offered, row.name) && context.supports(row.name)) {
      names.emplace_back(row.name);
    }
  }
  if (any) {
    const bool plain = encrypted || names.empty();
    for (const Row& row : kMechanisms) {
      if (plain && row.plain && contains(offered, row.name) && context.supports(row.name)) {
        names.emplace_back(row.name);
      }
    }
    // The old challenges are better than nothing on an encrypted connection, too.
    for (const Row& row : kMechanisms) {
      const bool old = encrypted && !row.plain && !row.strong && row.type != AuthTypeSASLGSSAPI &&
                       row.type != AuthTypeSASLNTLM;
      if (names.empty() && old && contains(offered, row.name) && context.supports(row.name)) {
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
      auto client = std::make_unique<GsaslClient>(row, credentials);
      return client->isStarted() ? std::move(client) : nullptr;
    }
  }
  return nullptr;
}

}  // namespace brennox::net
