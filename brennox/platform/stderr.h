// The process's standard error stream.
#pragma once

#include <string_view>

namespace brennox::platform {

// One system call for the whole text, so that lines of several threads do not mix.
void writeToStandardError(std::string_view text);
void writeCallStackToStandardError();

}  // namespace brennox::platform
