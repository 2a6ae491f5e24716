#include <gsasl.h>
#include <openssl/crypto.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "net/sasl_library.h"

namespace brennox::net {
namespace {

// SCRAM lets the server choose how often the client hashes: more than this only serves to stall it.
constexpr unsigned kMaxIterations = 1000000;

class LibraryContext {
 public:
  LibraryContext() {
    if (gsasl_init(&context_) != GSASL_OK) {
      context_ = nullptr;
    }
  }
  ~LibraryContext() {
    if (context_ != nullptr) {
      gsasl_done(context_);
    }
  }
  LibraryContext(const LibraryContext&) = delete;
  LibraryContext& operator=(const LibraryContext&) = delete;

  bool supports(const char* mechanism) const {
    return context_ != nullptr && gsasl_client_support_p(context_, mechanism) != 0;
  }
  Gsasl* get() const noexcept { return context_; }

 private:
  Gsasl* context_ = nullptr;
};

class GsaslClient final : public SaslClient {
 public:
  GsaslClient(const char* mechanism, bool clientFirst, const Credentials& credentials)
      : isScram_(std::strncmp(mechanism, "SCRAM", 5) == 0),
        isClientFirst_(clientFirst),
        credentials_(credentials) {
    if (context_.get() == nullptr) {
      return;
    }
    gsasl_callback_set(context_.get(), &GsaslClient::property);
    gsasl_callback_hook_set(context_.get(), this);
    if (gsasl_client_start(context_.get(), mechanism, &session_) != GSASL_OK) {
      session_ = nullptr;
    }
  }
  ~GsaslClient() override {
    if (session_ != nullptr) {
      gsasl_finish(session_);
    }
  }

  bool isStarted() const noexcept { return session_ != nullptr; }
  bool isClientFirst() const override { return isClientFirst_; }
  bool isComplete() const override { return done_; }

  Step next(std::string_view challenge, std::string* answer) override {
    answer->clear();
    if (challenge.size() > kMaxChallenge || session_ == nullptr) {
      return Step::kFailed;
    }
    const std::string terminated(challenge);
    if (isScram_ && !hasFairIterations(terminated)) {
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

  const bool isScram_;
  const bool isClientFirst_;
  const Credentials& credentials_;
  LibraryContext context_;
  Gsasl_session* session_ = nullptr;
  bool done_ = false;
};

}  // namespace

struct SaslLibrary::Context : LibraryContext {};

SaslLibrary::SaslLibrary() : context_(std::make_unique<Context>()) {}
SaslLibrary::~SaslLibrary() = default;

bool SaslLibrary::supports(const char* mechanism) const {
  return context_->supports(mechanism);
}

std::unique_ptr<SaslClient> startLibraryClient(const char* mechanism, bool clientFirst,
                                               const Credentials& credentials) {
  auto client = std::make_unique<GsaslClient>(mechanism, clientFirst, credentials);
  return client->isStarted() ? std::move(client) : nullptr;
}

}  // namespace brennox::net
