// The certificates that libcurl trusts, read once for the whole process.
#pragma once

#include <openssl/ossl_typ.h>

namespace cpcurl {

// libcurl's own bundle (file and folder that it was built with) as a store with libcurl's own
// settings. The caller gets a reference of its own. Null when the bundle cannot be read. Any
// thread.
//
// libcurl parses the bundle anew for every handle, which costs more than all the rest of a TLS
// connection.
X509_STORE* acquireTrustStore() noexcept;

}  // namespace cpcurl
