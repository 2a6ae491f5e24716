// Short texts that are unlike any other.
#pragma once

#include <string>

namespace brennox::core {

// 24 digits and lower-case letters, 120 bits: no two calls in the world give the same. They are not
// secret. Any thread.
std::string uniqueToken();

}  // namespace brennox::core
