#include "strict_gost.h"

#include <curl/curl.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <string_view>

#include "gost_engine.h"

namespace cpcurl {

const char kStrictGostSuites[] =
    "GOST2012-KUZNYECHIK-KUZNYECHIKOMAC:GOST2012-MAGMA-MAGMAOMAC:"
    "IANA-GOST2012-GOST8912-GOST8912:LEGACY-GOST2012-GOST8912-GOST8912";

namespace {

bool isAllowed(std::string_view suite) {
  std::string_view rest = kStrictGostSuites;
  while (!rest.empty()) {
    const std::size_t end = rest.find(':');
    if (rest.substr(0, end) == suite) {
      return true;
    }
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  return false;
}

bool curlUsesOpenSSL() {
  const char* const backend = curl_version_info(CURLVERSION_NOW)->ssl_version;
  return backend && std::string_view(backend).starts_with("OpenSSL/");
}

}  // namespace

bool narrowToStrictGost(SSL_CTX* context) noexcept {
  ERR_set_mark();
  // The limit to TLS 1.2 is not a formality: with TLS 1.3 allowed, its AES suites are negotiated
  // whatever the cipher list says.
  bool narrowed = SSL_CTX_set_ciphersuites(context, "") == 1 &&
                  SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) == 1 &&
                  SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION) == 1 &&
                  SSL_CTX_set_cipher_list(context, kStrictGostSuites) == 1;
  ERR_pop_to_mark();
  const STACK_OF(SSL_CIPHER)* const suites = SSL_CTX_get_ciphers(context);
  const int count = suites ? sk_SSL_CIPHER_num(suites) : 0;
  narrowed = narrowed && count > 0;
  for (int i = 0; narrowed && i < count; i++) {
    narrowed = isAllowed(SSL_CIPHER_get_name(sk_SSL_CIPHER_value(suites, i)));
  }
  return narrowed;
}

bool strictGostAvailable() noexcept {
  if (!loadGostEngine() || !curlUsesOpenSSL()) {
    return false;
  }
  // OpenSSL accepts the names of suites whose algorithms it lacks, and leaves those suites out.
  SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
  const bool available = context && narrowToStrictGost(context);
  SSL_CTX_free(context);
  return available;
}

}  // namespace cpcurl
