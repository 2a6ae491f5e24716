#include "platform/user.h"

#include <shlobj.h>

#include <algorithm>
#include <limits>

#include "platform/win32/Handle.h"
#include "platform/win32/access.h"
#include "platform/win32/utf16.h"

namespace brennox::platform {
namespace {

constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// The system counts 100 nanoseconds since 1601.
constexpr std::int64_t kFrom1601To1970 = 116'444'736'000'000'000;

std::int64_t nanoseconds(const FILETIME& time) {
  const std::int64_t count =
      static_cast<std::int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
  return (count - kFrom1601To1970) * 100;
}

std::wstring environmentVariable(const wchar_t* name) {
  std::wstring value(32768, L'\0');
  const DWORD length =
      GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
  value.resize(length < value.size() ? length : 0);
  return value;
}

bool isAbsolute(const std::wstring& path) {
  return path.starts_with(L"\\\\") ||
         (path.size() > 2 && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/'));
}

FileInfo infoOf(HANDLE file) {
  BY_HANDLE_FILE_INFORMATION status{};
  FileInfo info;
  if (GetFileInformationByHandle(file, &status) == FALSE) {
    return info;
  }
  const Access access = accessOf(file);
  info.exists = true;
  info.isFolder = (status.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  info.isRegular = !info.isFolder && GetFileType(file) == FILE_TYPE_DISK;
  info.isOwn = access.isOwn;
  info.isOpenToOthers = access.isOpenToOthers;
  info.isWritableByAnybody = access.isWritableByAnybody;
  info.modified = nanoseconds(status.ftLastWriteTime);
  info.size = static_cast<std::uint64_t>(status.nFileSizeHigh) << 32 | status.nFileSizeLow;
  info.identity = static_cast<std::uint64_t>(status.nFileIndexHigh) << 32 | status.nFileIndexLow;
  return info;
}

}  // namespace

std::string userDataFolder() {
  if (const std::wstring data = environmentVariable(L"LOCALAPPDATA"); isAbsolute(data)) {
    return toUtf8(data).value_or("");
  }
  PWSTR folder = nullptr;
  std::string result;
  if (SUCCEEDED(SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &folder))) {
    result = toUtf8(folder).value_or("");
  }
  CoTaskMemFree(folder);
  return result;
}

// The system keeps them in a store of its own.
std::vector<std::string> systemCertificateFolders() {
  return {};
}

FileInfo fileInfo(std::string_view path) {
  const std::optional<std::wstring> name = systemPath(path);
  if (!name) {
    return {};
  }
  const Handle file(CreateFileW(name->c_str(), FILE_READ_ATTRIBUTES | READ_CONTROL, kShared,
                                nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  return file.isOpen() ? infoOf(file.get()) : FileInfo{};
}

std::vector<std::string> folderNames(std::string_view path, std::size_t limit) {
  std::vector<std::string> names;
  const std::optional<std::wstring> pattern = systemPath(std::string(path) + "\\*");
  if (path.empty() || !pattern) {
    return names;
  }
  WIN32_FIND_DATAW entry{};
  const HANDLE search = FindFirstFileW(pattern->c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) {
    return names;
  }
  do {
    // What is not valid UTF-16 has no UTF-8 name by which it could be opened again.
    const std::optional<std::string> name = toUtf8(entry.cFileName);
    if (name && *name != "." && *name != "..") {
      names.push_back(*name);
    }
  } while (names.size() < limit && FindNextFileW(search, &entry) != FALSE);
  FindClose(search);
  std::sort(names.begin(), names.end());
  return names;
}

std::int64_t fileClock() {
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  return nanoseconds(now);
}

PrivateRead readPrivateFile(std::string_view path, std::size_t limit, std::string& bytes) {
  bytes.clear();
  const std::optional<std::wstring> name = systemPath(path);
  if (!name) {
    return PrivateRead::kMissing;
  }
  const Handle file(CreateFileW(name->c_str(), GENERIC_READ, kShared, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file.isOpen()) {
    return PrivateRead::kMissing;
  }
  const FileInfo info = infoOf(file.get());
  if (info.isRegular && (!info.isOwn || info.isOpenToOthers)) {
    return PrivateRead::kTooOpen;
  }
  if (!info.isRegular || info.size > limit ||
      info.size > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max())) {
    return PrivateRead::kMissing;
  }
  bytes.resize(static_cast<std::size_t>(info.size));
  std::size_t done = 0;
  while (done < bytes.size()) {
    DWORD got = 0;
    if (ReadFile(file.get(), bytes.data() + done, static_cast<DWORD>(bytes.size() - done), &got,
                 nullptr) == FALSE ||
        got == 0) {
      break;
    }
    done += got;
  }
  bytes.resize(done);
  return PrivateRead::kRead;
}

}  // namespace brennox::platform
