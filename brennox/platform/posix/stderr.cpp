#include "platform/stderr.h"

#include <execinfo.h>
#include <unistd.h>

#include <cerrno>

namespace brennox::platform {

void writeToStandardError(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
    if (written < 0) {
      if (errno == EINTR) {
        continue;
      }
      return;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

void writeCallStackToStandardError() {
  void* frames[64];
  backtrace_symbols_fd(frames, backtrace(frames, 64), STDERR_FILENO);
}

}  // namespace brennox::platform
