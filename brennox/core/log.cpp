#include <brennox/Log.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "platform/stderr.h"

namespace brennox {

void BXLogInternal(const char* user, const char* file, int line, int dumpStack, const char* format,
                   ...) {
  std::string text;
  if (user != nullptr) {
    text += "[";
    text += user;
    text += "] ";
  }
  text += file == nullptr ? "?" : file;
  text += ":" + std::to_string(line) + ": ";

  va_list arguments;
  va_start(arguments, format);
  va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  if (length > 0) {
    const std::size_t start = text.size();
    text.resize(start + static_cast<std::size_t>(length) + 1);
    std::vsnprintf(text.data() + start, static_cast<std::size_t>(length) + 1, format, arguments);
    text.pop_back();
  }
  va_end(arguments);

  while (!text.empty() && text.back() == '\n') {
    text.pop_back();
  }
  // One line a message: a line break inside a logged text must not look like a message of its own.
  for (char& c : text) {
    if (c == '\n' || c == '\r') {
      c = ' ';
    }
  }
  text += '\n';
  platform::writeToStandardError(text);
  if (dumpStack != 0) {
    platform::writeCallStackToStandardError();
  }
}

}  // namespace brennox
