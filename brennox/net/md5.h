// MD5, for the protocols that still ask for it (APOP).
#pragma once

#include <string>
#include <string_view>

namespace brennox::net {

// The digest in lower-case hexadecimal; empty when this machine refuses to compute it.
std::string md5Hex(std::string_view bytes);

}  // namespace brennox::net
