#include "platform/win32/utf16.h"

#include "platform/win32/windows.h"

namespace brennox::platform {
namespace {

// The longest name the system takes, in units; UTF-8 needs at most three bytes for one.
constexpr std::size_t kMaxUnits = 32767;
constexpr std::size_t kMaxBytes = 3 * kMaxUnits;
// From here on paths need the prefix. Folders have the lowest bound: room for a short file name is
// kept in them.
constexpr std::size_t kLongPath = 240;

constexpr std::wstring_view kLongPrefix = L"\\\\?\\";
constexpr std::wstring_view kLongSharePrefix = L"\\\\?\\UNC\\";

}  // namespace

std::optional<std::wstring> toUtf16(std::string_view text) {
  if (text.empty()) {
    return std::wstring();
  }
  if (text.size() > kMaxBytes) {
    return std::nullopt;
  }
  std::wstring wide(text.size(), L'\0');
  const int length =
      MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), static_cast<int>(text.size()),
                          wide.data(), static_cast<int>(wide.size()));
  if (length <= 0 || static_cast<std::size_t>(length) > kMaxUnits) {
    return std::nullopt;
  }
  wide.resize(static_cast<std::size_t>(length));
  return wide;
}

std::optional<std::string> toUtf8(std::wstring_view text) {
  if (text.empty()) {
    return std::string();
  }
  if (text.size() > kMaxUnits) {
    return std::nullopt;
  }
  std::string bytes(3 * text.size(), '\0');
  const int length =
      WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), static_cast<int>(text.size()),
                          bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr);
  if (length <= 0) {
    return std::nullopt;
  }
  bytes.resize(static_cast<std::size_t>(length));
  return bytes;
}

std::optional<std::wstring> systemPath(std::string_view path) {
  if (path.empty() || path.find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  std::optional<std::wstring> wide = toUtf16(path);
  if (!wide || wide->size() < kLongPath || wide->starts_with(kLongPrefix)) {
    return wide;
  }
  // The prefix turns off what the system does for paths otherwise: "/", ".", ".." and relative
  // ones.
  std::wstring full(kMaxUnits, L'\0');
  const DWORD length =
      GetFullPathNameW(wide->c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
  if (length == 0 || length >= full.size()) {
    return std::nullopt;
  }
  full.resize(length);
  if (full.starts_with(L"\\\\.\\")) {
    return full;
  }
  const bool isShare = full.starts_with(L"\\\\");
  return std::wstring(isShare ? kLongSharePrefix : kLongPrefix) + full.substr(isShare ? 2 : 0);
}

}  // namespace brennox::platform
