// GOST algorithms for the process's OpenSSL: TLS suites, digests, signatures, content encryption.
#pragma once

namespace cpcurl {

// Makes OpenSSL's GOST engine the process-wide default for its algorithms and says whether it is
// there. The first call decides for the life of the process; later ones cost nothing. Any thread.
// Also makes OpenSSL's very first call, without its exit handler: threads may still use it while
// the process exits.
bool loadGostEngine() noexcept;

}  // namespace cpcurl
