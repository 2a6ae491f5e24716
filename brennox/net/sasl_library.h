// The mechanisms that come from a SASL library: gsasl.cpp, or no_gsasl.cpp where a build has none.
#pragma once

#include <memory>

#include "net/sasl.h"

namespace brennox::net {

// A longer challenge is no challenge.
inline constexpr std::size_t kMaxChallenge = 64 * 1024;

// What this machine's library can do; asked for several mechanisms in a row.
class SaslLibrary {
 public:
  SaslLibrary();
  ~SaslLibrary();
  SaslLibrary(const SaslLibrary&) = delete;
  SaslLibrary& operator=(const SaslLibrary&) = delete;

  bool supports(const char* mechanism) const;

 private:
  struct Context;
  std::unique_ptr<Context> context_;
};

// One run of a mechanism of the library's; null when it cannot be started. `mechanism` is a
// literal.
std::unique_ptr<SaslClient> startLibraryClient(const char* mechanism, bool clientFirst,
                                               const Credentials& credentials);

}  // namespace brennox::net
