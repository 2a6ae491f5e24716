#include "crypto/people_for_tests.h"

#include <openssl/pem.h>

#include <chrono>
#include <cstring>
#include <stdexcept>

#include "crypto/credentials.h"
#include "crypto/encrypt.h"
#include "crypto/engine.h"

namespace brennox::crypto::testing {
namespace {

void require(bool condition, const char* what) {
  if (!condition) {
    throw std::runtime_error(what);
  }
}

KeyHandle makeKey(Kind kind, const CertificateWish& wish) {
  isGostAvailable();
  if (kind == Kind::kRsa) {
    return KeyHandle(EVP_RSA_gen(wish.rsaBits));
  }
  if (kind == Kind::kEc) {
    return KeyHandle(EVP_EC_gen(wish.curve));
  }
  using Context = std::unique_ptr<EVP_PKEY_CTX, OpenSslDeleter<&EVP_PKEY_CTX_free>>;
  const int id = kind == Kind::kRsaPss    ? EVP_PKEY_RSA_PSS
                 : kind == Kind::kGost256 ? NID_id_GostR3410_2012_256
                                          : NID_id_GostR3410_2012_512;
  const Context context(EVP_PKEY_CTX_new_id(id, nullptr));
  require(context && EVP_PKEY_keygen_init(context.get()) == 1, "keygen");
  if (kind != Kind::kRsaPss) {
    require(EVP_PKEY_CTX_ctrl_str(context.get(), "paramset", "A") > 0, "paramset");
  }
  EVP_PKEY* key = nullptr;
  require(EVP_PKEY_keygen(context.get(), &key) == 1, "keygen");
  return KeyHandle(key);
}

void addExtension(X509* certificate, int nid, const std::string& value) {
  if (value.empty()) {
    return;
  }
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str());
  require(extension != nullptr, "extension");
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

std::string textOf(BIO* bio) {
  char* text = nullptr;
  const long length = BIO_get_mem_data(bio, &text);
  return std::string(text, static_cast<std::size_t>(length));
}

}  // namespace

Person::Person(Kind kind, const CertificateWish& wish, const Person* issuer)
    : kind_(kind), key_(makeKey(kind, wish)), certificate_(X509_new()) {
  static long serial = 1000;
  X509* const certificate = certificate_.get();
  X509_set_version(certificate, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), ++serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate), wish.notBefore);
  X509_gmtime_adj(X509_getm_notAfter(certificate), wish.notAfter);
  X509_NAME* const subject = X509_get_subject_name(certificate);
  X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(wish.name.c_str()), -1, -1, 0);
  X509_set_issuer_name(certificate,
                       issuer == nullptr ? subject : X509_get_subject_name(issuer->certificate()));
  require(X509_set_pubkey(certificate, key_.get()) == 1, "public key");
  addExtension(certificate, NID_basic_constraints,
               wish.isAuthority ? "critical,CA:TRUE" : "CA:FALSE");
  addExtension(certificate, NID_key_usage,
               wish.isAuthority ? "critical,keyCertSign,cRLSign" : wish.keyUsage);
  if (!wish.isAuthority) {
    addExtension(certificate, NID_ext_key_usage, wish.extendedKeyUsage);
  }
  addExtension(certificate, NID_subject_key_identifier, "hash");
  if (!wish.address.empty()) {
    addExtension(certificate, NID_subject_alt_name, "email:" + wish.address);
  }
  EVP_PKEY* const signingKey = issuer == nullptr ? key_.get() : issuer->key();
  int digest = NID_undef;
  const EVP_MD* const md = EVP_PKEY_get_default_digest_nid(signingKey, &digest) == 2
                               ? EVP_get_digestbynid(digest)
                               : EVP_get_digestbyname(wish.signingDigest.c_str());
  require(X509_sign(certificate, signingKey, md) > 0, "signature");
}

Signer Person::signer(const std::vector<const Person*>& chain) const {
  Signer signer;
  signer.certificate = share(certificate());
  EVP_PKEY_up_ref(key());
  signer.key.reset(key());
  for (const Person* const link : chain) {
    signer.chain.push_back(share(link->certificate()));
  }
  return signer;
}

OwnCertificate Person::own() const {
  return {share(certificate()), [this] {
            EVP_PKEY_up_ref(key());
            return KeyHandle(key());
          }};
}

CertHandle Person::recipient() const {
  return share(certificate());
}

std::string Person::certificatePem() const {
  const BioHandle bio(BIO_new(BIO_s_mem()));
  PEM_write_bio_X509(bio.get(), certificate());
  return textOf(bio.get());
}

std::string Person::certificateDer() const {
  const BioHandle bio(BIO_new(BIO_s_mem()));
  i2d_X509_bio(bio.get(), certificate());
  return textOf(bio.get());
}

std::string Person::keyPem(const std::string& password) const {
  const BioHandle bio(BIO_new(BIO_s_mem()));
  PEM_write_bio_PKCS8PrivateKey(bio.get(), key(), password.empty() ? nullptr : EVP_aes_256_cbc(),
                                password.empty() ? nullptr : password.data(),
                                static_cast<int>(password.size()), nullptr, nullptr);
  return textOf(bio.get());
}

std::string Person::pkcs12(const std::string& password) const {
  const Pkcs12Handle file(PKCS12_create(password.empty() ? nullptr : password.c_str(), "test",
                                        key(), certificate(), nullptr, 0, 0, 0, 0, 0));
  require(file != nullptr, "pkcs12");
  const BioHandle bio(BIO_new(BIO_s_mem()));
  i2d_PKCS12_bio(bio.get(), file.get());
  return textOf(bio.get());
}

const Person& authority(Kind kind) {
  static const Person* people[5] = {};
  const auto index = static_cast<std::size_t>(kind);
  if (people[index] == nullptr) {
    CertificateWish wish;
    wish.name = "Authority " + std::to_string(index);
    wish.isAuthority = true;
    people[index] = new Person(kind, wish, nullptr);
  }
  return *people[index];
}

const Person& person(Kind kind) {
  static const Person* people[5] = {};
  const auto index = static_cast<std::size_t>(kind);
  if (people[index] == nullptr) {
    CertificateWish wish;
    wish.name = "Person " + std::to_string(index);
    wish.address = "person" + std::to_string(index) + "@example.org";
    people[index] = new Person(kind, wish, &authority(kind));
  }
  return *people[index];
}

Trust trusting(const std::vector<const Person*>& anchors) {
  Trust trust;
  trust.anchors.reset(X509_STORE_new());
  for (const Person* const anchor : anchors) {
    X509_STORE_add_cert(trust.anchors.get(), anchor->certificate());
  }
  return trust;
}

Trust trustingAll() {
  return trusting({&authority(Kind::kRsa), &authority(Kind::kRsaPss), &authority(Kind::kEc),
                   &authority(Kind::kGost256), &authority(Kind::kGost512)});
}

std::time_t now() {
  return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

std::string encrypted(std::string_view content, const std::vector<const Person*>& recipients) {
  std::vector<CertHandle> certificates;
  for (const Person* const recipient : recipients) {
    certificates.push_back(recipient->recipient());
  }
  std::string cms;
  std::size_t announced = 0;
  encrypt(
      {content}, certificates, [&](std::size_t length) { announced = length; },
      [&](std::string_view piece) { cms += piece; });
  require(announced == cms.size(), "announced length");
  return cms;
}

DecryptResult decrypted(std::string_view cms, const Person& own) {
  std::vector<OwnCertificate> all;
  all.push_back(own.own());
  return decrypt(blockOf(cms), all);
}

Ref<Block> blockOf(std::string_view bytes) {
  Ref<Block> block = Block::allocate(bytes.size());
  std::memcpy(block->bytes(), bytes.data(), bytes.size());
  return block;
}

}  // namespace brennox::crypto::testing
