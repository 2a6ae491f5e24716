// The certificates that libcurl trusts, read once for the whole process.
#pragma once

#include <openssl/ossl_typ.h>

#include <cstdint>

namespace cpcurl {

// libcurl's own bundle (file and folder that it was built with; on Windows the system's store) as a
// store with libcurl's own settings. The caller gets a reference of its own. Null when the bundle
// cannot be read. Any thread.
//
// libcurl parses the bundle anew for every handle, which costs more than all the rest of a TLS
// connection.
X509_STORE* acquireTrustStore() noexcept;

// A number that changes whenever the bundle does. Any thread.
std::uint64_t trustGeneration() noexcept;

}  // namespace cpcurl
