#include "platform/file.h"

#include <algorithm>
#include <atomic>

#include "platform/win32/Handle.h"
#include "platform/win32/utf16.h"

namespace brennox::platform {
namespace {

// Others may read, write, rename and delete the file meanwhile, as on other systems.
constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
// One call moves at most this much: the count has 32 bits.
constexpr std::size_t kMaxAtOnce = std::size_t{1} << 30;

HANDLE openFile(const std::wstring& path, DWORD access, DWORD disposition, DWORD flags) {
  return CreateFileW(path.c_str(), access, kShared, nullptr, disposition, flags, nullptr);
}

bool writeAll(HANDLE file, std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto count = static_cast<DWORD>(std::min(bytes.size(), kMaxAtOnce));
    if (WriteFile(file, bytes.data(), count, &written, nullptr) == FALSE || written == 0) {
      return false;
    }
    bytes.remove_prefix(written);
  }
  return true;
}

// Fills the block as far as the file goes; false when it cannot be read.
bool readInto(HANDLE file, char* bytes, std::size_t size, std::size_t* done) {
  *done = 0;
  while (*done < size) {
    DWORD got = 0;
    const auto count = static_cast<DWORD>(std::min(size - *done, kMaxAtOnce));
    if (ReadFile(file, bytes + *done, count, &got, nullptr) == FALSE) {
      // A pipe ends so.
      return GetLastError() == ERROR_BROKEN_PIPE;
    }
    if (got == 0) {
      return true;
    }
    *done += got;
  }
  return true;
}

// A pipe or a device has no size to go by.
Ref<Block> readStream(HANDLE file) {
  std::string text;
  char buffer[65536];
  std::size_t got = 0;
  do {
    if (!readInto(file, buffer, sizeof buffer, &got)) {
      return nullptr;
    }
    text.append(buffer, got);
  } while (got == sizeof buffer);
  Ref<Block> block = Block::allocate(text.size());
  text.copy(block->bytes(), text.size());
  return block;
}

// The file that a link leads to; the path itself where there is none.
std::wstring resolved(const std::wstring& path) {
  const Handle file(openFile(path, 0, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS));
  if (!file.isOpen()) {
    return path;
  }
  std::wstring target(32768, L'\0');
  const DWORD length = GetFinalPathNameByHandleW(
      file.get(), target.data(), static_cast<DWORD>(target.size()), FILE_NAME_NORMALIZED);
  if (length == 0 || length >= target.size()) {
    return path;
  }
  target.resize(length);
  return target;
}

// Replacing the file keeps its access rights and attributes; not every file system can.
bool putInPlace(const std::wstring& temporary, const std::wstring& target, bool exists) {
  const DWORD ignore = REPLACEFILE_IGNORE_MERGE_ERRORS | REPLACEFILE_IGNORE_ACL_ERRORS;
  if (exists &&
      ReplaceFileW(target.c_str(), temporary.c_str(), nullptr, ignore, nullptr, nullptr) != FALSE) {
    return true;
  }
  return MoveFileExW(temporary.c_str(), target.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
}

}  // namespace

Ref<Block> readFile(std::string_view path) {
  const std::optional<std::wstring> name = systemPath(path);
  if (!name) {
    return nullptr;
  }
  const Handle file(openFile(*name, GENERIC_READ, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL));
  if (!file.isOpen()) {
    return nullptr;
  }
  LARGE_INTEGER size{};
  if (GetFileType(file.get()) != FILE_TYPE_DISK || GetFileSizeEx(file.get(), &size) == FALSE ||
      size.QuadPart == 0) {
    return readStream(file.get());
  }
  Ref<Block> block = Block::allocate(static_cast<std::size_t>(size.QuadPart));
  std::size_t got = 0;
  if (!readInto(file.get(), block->bytes(), block->size(), &got)) {
    return nullptr;
  }
  block->truncate(got);
  return block;
}

bool writeFileWhole(std::string_view path, std::string_view bytes) {
  const std::optional<std::wstring> name = systemPath(path);
  if (!name) {
    return false;
  }
  const DWORD attributes = GetFileAttributesW(name->c_str());
  const bool exists = attributes != INVALID_FILE_ATTRIBUTES;
  if (exists) {
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
      return false;
    }
    // A folder cannot be opened so, and a file that may not be written stays untouched.
    Handle existing(openFile(*name, GENERIC_WRITE, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL));
    if (!existing.isOpen()) {
      return false;
    }
    // A device or a pipe can't be replaced, only written to.
    if (GetFileType(existing.get()) != FILE_TYPE_DISK) {
      return writeAll(existing.get(), bytes) && existing.close();
    }
  }
  // A link is followed, so that the file it names is replaced and not the link.
  const std::wstring target = exists ? resolved(*name) : *name;

  static std::atomic<unsigned> counter{0};
  const std::wstring temporary = target + L".tmp-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                                 std::to_wstring(counter.fetch_add(1));
  Handle file(openFile(temporary, GENERIC_WRITE, CREATE_NEW, FILE_ATTRIBUTE_NORMAL));
  if (!file.isOpen()) {
    return false;
  }
  const bool written = writeAll(file.get(), bytes) && FlushFileBuffers(file.get()) != FALSE &&
                       file.close() && putInPlace(temporary, target, exists);
  if (!written) {
    file.close();
    DeleteFileW(temporary.c_str());
  }
  return written;
}

}  // namespace brennox::platform
