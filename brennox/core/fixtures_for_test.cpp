#include "core/fixtures_for_test.h"

namespace brennox {

std::string fixturePath(const std::string& name) {
  return std::string(BRENNOX_FIXTURES) + "/" + name;
}

}  // namespace brennox
