// Certificate authorities that the system itself keeps, for systems that have a store of their own
// instead of files.
#pragma once

#include <openssl/ossl_typ.h>

namespace cpcurl {

enum class RootsFor { kServers, kMail };

// Adds those that the system trusts for the purpose, and says how many. None on systems that keep
// them in files. Any thread.
int addSystemRoots(X509_STORE* store, RootsFor purpose);

}  // namespace cpcurl
