// An addon that brings the system's libcrypto the ordinary way.

#include <node_api.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace {

// The version of the OpenSSL that this addon meets; computes a digest to prove that it works.
napi_value Version(napi_env env, napi_callback_info) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  const bool works =
      EVP_Digest("abc", 3, digest, &length, EVP_sha256(), nullptr) == 1 && length == 32;
  napi_value result = nullptr;
  napi_create_string_utf8(env, works ? OpenSSL_version(OPENSSL_VERSION) : "broken",
                          NAPI_AUTO_LENGTH, &result);
  return result;
}

napi_value Init(napi_env env, napi_value exports) {
  napi_value function = nullptr;
  napi_create_function(env, "version", NAPI_AUTO_LENGTH, Version, nullptr, &function);
  napi_set_named_property(env, exports, "version", function);
  return exports;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) napi_value napi_register_module_v1(
    napi_env env, napi_value exports) {
  return Init(env, exports);
}
