// Where the tests' files are.
#pragma once

#include <string>

namespace brennox {

// The path of a file or folder under test/fixtures.
std::string fixturePath(const std::string& name);

}  // namespace brennox
