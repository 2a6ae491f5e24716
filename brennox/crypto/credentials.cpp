#include "crypto/credentials.h"

#include <openssl/pem.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "crypto/engine.h"

namespace brennox::crypto {
namespace {

// More certificates in one file are no person's.
constexpr std::size_t kMaxCertificates = 1000;
constexpr std::size_t kMaxBytes = std::size_t{16} << 20;

// Without a callback OpenSSL asks on the terminal.
int givePassword(char* buffer, int size, int, void* context) {
  const auto* const password = static_cast<const Secret*>(context);
  if (password == nullptr || size < 0 || password->text().size() > static_cast<std::size_t>(size)) {
    return -1;
  }
  std::memcpy(buffer, password->text().data(), password->text().size());
  return static_cast<int>(password->text().size());
}

void* contextOf(const Secret* password) {
  // The callback's context is not const, but is read only.
  return const_cast<Secret*>(password);
}

BioHandle bioOn(std::string_view bytes) {
  return BioHandle(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
}

void readPem(std::string_view bytes, const Secret* password, Credentials& result) {
  const BioHandle certificates = bioOn(bytes);
  while (result.certificates.size() < kMaxCertificates) {
    CertHandle certificate(
        PEM_read_bio_X509_AUX(certificates.get(), nullptr, givePassword, contextOf(password)));
    if (!certificate) {
      break;
    }
    result.certificates.push_back(std::move(certificate));
  }
  if (bytes.find("PRIVATE KEY-----") != std::string_view::npos) {
    const BioHandle keys = bioOn(bytes);
    result.key.reset(
        PEM_read_bio_PrivateKey(keys.get(), nullptr, givePassword, contextOf(password)));
    result.isKeyLocked = !result.key;
  }
}

// A key that was read with the context for old algorithms, for use with the current ones.
KeyHandle moveToDefaultContext(KeyHandle key) {
  unsigned char* der = nullptr;
  const int length = i2d_PrivateKey(key.get(), &der);
  if (length <= 0) {
    return nullptr;
  }
  const unsigned char* in = der;
  KeyHandle moved(d2i_AutoPrivateKey(nullptr, &in, length));
  OPENSSL_clear_free(der, static_cast<std::size_t>(length));
  return moved;
}

Pkcs12Handle parsePkcs12(std::string_view bytes, OSSL_LIB_CTX* context) {
  const auto* in = reinterpret_cast<const unsigned char*>(bytes.data());
  PKCS12* file = context == nullptr ? nullptr : PKCS12_init_ex(NID_pkcs7_data, context, nullptr);
  return Pkcs12Handle(d2i_PKCS12(&file, &in, static_cast<long>(bytes.size())));
}

bool openPkcs12(PKCS12* file, const Secret* password, Credentials& result) {
  EVP_PKEY* key = nullptr;
  X509* certificate = nullptr;
  STACK_OF(X509)* others = nullptr;
  const char* const text = password == nullptr ? nullptr : password->text().c_str();
  if (PKCS12_parse(file, text, &key, &certificate, &others) != 1) {
    return false;
  }
  result.key.reset(key);
  if (certificate != nullptr) {
    result.certificates.emplace_back(certificate);
  }
  const CertStackHandle owned(others);
  for (int i = 0; i < sk_X509_num(others); ++i) {
    result.certificates.push_back(share(sk_X509_value(others, i)));
  }
  return true;
}

bool readPkcs12(std::string_view bytes, const Secret* password, Credentials& result) {
  const Pkcs12Handle file = parsePkcs12(bytes, nullptr);
  if (!file) {
    return false;
  }
  if (openPkcs12(file.get(), password, result)) {
    return true;
  }
  // Files of older programs are encrypted with RC2.
  const Pkcs12Handle old =
      legacyContext() == nullptr ? nullptr : parsePkcs12(bytes, legacyContext());
  if (old && openPkcs12(old.get(), password, result)) {
    result.key = result.key ? moveToDefaultContext(std::move(result.key)) : nullptr;
    return true;
  }
  result.isKeyLocked = true;
  return true;
}

void readDer(std::string_view bytes, const Secret* password, Credentials& result) {
  const auto* in = reinterpret_cast<const unsigned char*>(bytes.data());
  const auto length = static_cast<long>(bytes.size());
  if (X509* const certificate = d2i_X509(nullptr, &in, length)) {
    result.certificates.emplace_back(certificate);
    return;
  }
  if (readPkcs12(bytes, password, result)) {
    return;
  }
  in = reinterpret_cast<const unsigned char*>(bytes.data());
  result.key.reset(d2i_AutoPrivateKey(nullptr, &in, length));
  if (!result.key) {
    const BioHandle bio = bioOn(bytes);
    result.key.reset(
        d2i_PKCS8PrivateKey_bio(bio.get(), nullptr, givePassword, contextOf(password)));
  }
}

void putOwnFirst(Credentials& result) {
  if (!result.key) {
    return;
  }
  const auto own = std::find_if(
      result.certificates.begin(), result.certificates.end(), [&](const CertHandle& certificate) {
        return X509_check_private_key(certificate.get(), result.key.get()) == 1;
      });
  if (own != result.certificates.end()) {
    std::rotate(result.certificates.begin(), own, own + 1);
  }
}

}  // namespace

Credentials readCredentials(std::string_view bytes, const Secret* password) {
  const ErrorQueueGuard errors;
  isGostAvailable();
  Credentials result;
  if (bytes.empty() || bytes.size() > kMaxBytes) {
    return result;
  }
  if (isPem(bytes)) {
    readPem(bytes, password, result);
  } else {
    readDer(bytes, password, result);
  }
  putOwnFirst(result);
  return result;
}

KeyHandle readKey(std::string_view bytes, const Secret* password) {
  return readCredentials(bytes, password).key;
}

CertHandle share(X509* certificate) {
  return CertHandle(certificate != nullptr && X509_up_ref(certificate) == 1 ? certificate
                                                                            : nullptr);
}

bool isPem(std::string_view text) {
  return text.find("-----BEGIN") != std::string_view::npos;
}

std::string thumbprint(X509* certificate, const EVP_MD* digest) {
  unsigned char bytes[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  std::string text;
  if (X509_digest(certificate, digest, bytes, &length) == 1) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    for (unsigned int i = 0; i < length; ++i) {
      text += kDigits[bytes[i] >> 4];
      text += kDigits[bytes[i] & 0x0F];
    }
  }
  return text;
}

}  // namespace brennox::crypto
