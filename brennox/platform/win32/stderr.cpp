#include "platform/stderr.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "platform/win32/utf16.h"
#include "platform/win32/windows.h"

namespace brennox::platform {
namespace {

constexpr std::size_t kMaxAtOnce = std::size_t{1} << 30;

std::string moduleAt(const void* address, std::uintptr_t* offset) {
  HMODULE module = nullptr;
  if (GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
          static_cast<const wchar_t*>(address), &module) == FALSE) {
    return {};
  }
  *offset = reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(module);
  std::wstring name(MAX_PATH, L'\0');
  name.resize(GetModuleFileNameW(module, name.data(), static_cast<DWORD>(name.size())));
  return toUtf8(name).value_or("");
}

}  // namespace

void writeToStandardError(std::string_view text) {
  const HANDLE stream = GetStdHandle(STD_ERROR_HANDLE);
  // A program without a console may have none.
  if (stream == nullptr || stream == INVALID_HANDLE_VALUE) {
    return;
  }
  while (!text.empty()) {
    DWORD written = 0;
    const auto count = static_cast<DWORD>(std::min(text.size(), kMaxAtOnce));
    if (WriteFile(stream, text.data(), count, &written, nullptr) == FALSE || written == 0) {
      return;
    }
    text.remove_prefix(written);
  }
}

// File and offset, which is what a symboliser needs.
void writeCallStackToStandardError() {
  void* frames[62];
  const USHORT count = CaptureStackBackTrace(0, 62, frames, nullptr);
  std::string text;
  for (USHORT i = 0; i < count; ++i) {
    std::uintptr_t offset = 0;
    const std::string module = moduleAt(frames[i], &offset);
    char line[64];
    std::snprintf(line, sizeof line, "+0x%llx\n", static_cast<unsigned long long>(offset));
    text += module + line;
  }
  writeToStandardError(text);
}

}  // namespace brennox::platform
