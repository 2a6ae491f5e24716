#include "net/sasl_library.h"

namespace brennox::net {

struct SaslLibrary::Context {};

SaslLibrary::SaslLibrary() = default;
SaslLibrary::~SaslLibrary() = default;

bool SaslLibrary::supports(const char*) const {
  return false;
}

std::unique_ptr<SaslClient> startLibraryClient(const char*, bool, const Credentials&) {
  return nullptr;
}

}  // namespace brennox::net
