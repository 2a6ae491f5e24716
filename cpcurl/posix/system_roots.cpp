#include "system_roots.h"

namespace cpcurl {

int addSystemRoots(X509_STORE*, RootsFor) {
  return 0;
}

}  // namespace cpcurl
