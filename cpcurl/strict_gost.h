// Strict GOST mode: what it allows, and whether this machine can do it.
#pragma once

#include <openssl/ossl_typ.h>

namespace cpcurl {

// The suites in OpenSSL's names, as a cipher list. All of them are TLS 1.2; the older GOST 2001
// suite and those without encryption stay out.
extern const char kStrictGostSuites[];

// The engine is there, and the OpenSSL that libcurl uses can negotiate the suites. Any thread.
bool strictGostAvailable() noexcept;

// Narrows the context, whatever else was set on it, to those suites and TLS 1.2. False when that
// fails.
bool narrowToStrictGost(SSL_CTX* context) noexcept;

}  // namespace cpcurl
