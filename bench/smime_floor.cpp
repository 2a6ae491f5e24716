// The floor of the S/MIME benchmark: OpenSSL doing the CMS alone, on content that is already in
// memory. smime_floor sign|verify|encrypt|decrypt CONTENT CERTIFICATE KEY RUNS [CMS] prints one
// line a run, in milliseconds. `sign` and `encrypt` write their last result to the file CMS;
// `verify` and `decrypt` read it.
#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace {

template <auto kFree>
struct Deleter {
  template <class T>
  void operator()(T* object) const {
    kFree(object);
  }
};
using Bio = std::unique_ptr<BIO, Deleter<&BIO_free_all>>;
using Cms = std::unique_ptr<CMS_ContentInfo, Deleter<&CMS_ContentInfo_free>>;

std::string readFile(const char* path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

Bio bioOn(const std::string& bytes) {
  return Bio(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
}

std::string derOf(CMS_ContentInfo* cms) {
  const int length = i2d_CMS_ContentInfo(cms, nullptr);
  std::string der(static_cast<std::size_t>(length), '\0');
  auto* out = reinterpret_cast<unsigned char*>(der.data());
  i2d_CMS_ContentInfo(cms, &out);
  return der;
}

Cms cmsOf(const std::string& der) {
  const auto* in = reinterpret_cast<const unsigned char*>(der.data());
  return Cms(d2i_CMS_ContentInfo(nullptr, &in, static_cast<long>(der.size())));
}

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "%s failed\n", what);
  std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 7) {
    fail("usage");
  }
  const std::string what = argv[1];
  const std::string content = readFile(argv[2]);
  const std::string certificatePem = readFile(argv[3]);
  const std::string keyPem = readFile(argv[4]);
  X509* const certificate =
      PEM_read_bio_X509(bioOn(certificatePem).get(), nullptr, nullptr, nullptr);
  EVP_PKEY* const key = PEM_read_bio_PrivateKey(bioOn(keyPem).get(), nullptr, nullptr, nullptr);
  const bool reads = what == "verify" || what == "decrypt";
  const std::string given = reads ? readFile(argv[6]) : std::string();
  std::string made;
  for (int run = 0; run < std::atoi(argv[5]); ++run) {
    const auto start = std::chrono::steady_clock::now();
    const Bio in = bioOn(content);
    if (what == "sign") {
      const Cms cms(CMS_sign(certificate, key, nullptr, in.get(), CMS_DETACHED | CMS_BINARY));
      if (!cms) {
        fail("sign");
      }
      made = derOf(cms.get());
    } else if (what == "verify") {
      const Cms cms = cmsOf(given);
      if (CMS_verify(cms.get(), nullptr, nullptr, in.get(), nullptr,
                     CMS_BINARY | CMS_DETACHED | CMS_NO_SIGNER_CERT_VERIFY) != 1) {
        fail("verify");
      }
    } else if (what == "encrypt") {
      STACK_OF(X509)* const recipients = sk_X509_new_null();
      sk_X509_push(recipients, certificate);
      const Cms cms(CMS_encrypt(recipients, in.get(), EVP_aes_256_cbc(), CMS_BINARY));
      sk_X509_free(recipients);
      if (!cms) {
        fail("encrypt");
      }
      made = derOf(cms.get());
    } else {
      const Cms cms = cmsOf(given);
      const Bio out(BIO_new(BIO_s_mem()));
      if (CMS_decrypt(cms.get(), key, certificate, nullptr, out.get(), CMS_BINARY) != 1) {
        fail("decrypt");
      }
    }
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    std::printf("%.3f\n", took.count());
  }
  if (!reads) {
    std::ofstream(argv[6], std::ios::binary) << made;
  }
  return 0;
}
