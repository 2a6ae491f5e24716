// Owning handles on OpenSSL's objects, and its error queue kept clean.
#pragma once

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <string>

namespace brennox::crypto {

template <auto kFree>
struct OpenSslDeleter {
  template <class T>
  void operator()(T* object) const noexcept {
    kFree(object);
  }
};

struct X509StackDeleter {
  void operator()(STACK_OF(X509) * stack) const noexcept { sk_X509_pop_free(stack, X509_free); }
};

using BioHandle = std::unique_ptr<BIO, OpenSslDeleter<&BIO_free_all>>;
using CmsHandle = std::unique_ptr<CMS_ContentInfo, OpenSslDeleter<&CMS_ContentInfo_free>>;
using KeyHandle = std::unique_ptr<EVP_PKEY, OpenSslDeleter<&EVP_PKEY_free>>;
using CertHandle = std::unique_ptr<X509, OpenSslDeleter<&X509_free>>;
using CertStackHandle = std::unique_ptr<STACK_OF(X509), X509StackDeleter>;
using CertStoreHandle = std::unique_ptr<X509_STORE, OpenSslDeleter<&X509_STORE_free>>;
using Pkcs12Handle = std::unique_ptr<PKCS12, OpenSslDeleter<&PKCS12_free>>;

// OpenSSL keeps a queue of errors a thread, and some of its functions read what others left there.
// Every entry point of this folder holds one of these, so that nothing comes in and nothing stays
// behind.
class ErrorQueueGuard {
 public:
  ErrorQueueGuard() noexcept { ERR_clear_error(); }
  ~ErrorQueueGuard() { ERR_clear_error(); }
  ErrorQueueGuard(const ErrorQueueGuard&) = delete;
  ErrorQueueGuard& operator=(const ErrorQueueGuard&) = delete;
};

inline void cleanse(std::string& text) noexcept {
  OPENSSL_cleanse(text.data(), text.size());
}

// Text that is overwritten before its memory goes back: passwords and private keys.
class Secret {
 public:
  Secret() = default;
  explicit Secret(std::string text) noexcept : text_(std::move(text)) {}
  ~Secret() { cleanse(); }
  Secret(const Secret& other) = default;
  Secret& operator=(const Secret&) = delete;

  const std::string& text() const noexcept { return text_; }
  void assign(std::string text) noexcept {
    cleanse();
    text_ = std::move(text);
  }

 private:
  void cleanse() noexcept { OPENSSL_cleanse(text_.data(), text_.size()); }
  std::string text_;
};

}  // namespace brennox::crypto
