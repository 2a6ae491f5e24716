// Where the certificates come from that libcurl trusts on this system.
#pragma once

#include <openssl/ossl_typ.h>

#include <string>

namespace cpcurl {

// What tells one state of the bundle from the next. Cheap; any thread.
std::string bundleMark();

// The whole bundle as a store, which the caller frees. Null when it cannot be read.
X509_STORE* readBundle();

}  // namespace cpcurl
