// The user that the process runs as, and what belongs to them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace brennox::platform {

// The folder below which programs keep the user's data; "" when the system names none.
std::string userDataFolder();

// Where the system keeps the certificate authorities it trusts, for a TLS library that was built
// for another system.
std::vector<std::string> systemCertificateFolders();

struct FileInfo {
  bool exists = false;
  bool isRegular = false;
  bool isFolder = false;
  bool isOwn = false;           // owned by the user the process runs as
  bool isOpenToOthers = false;  // anybody else may read or write it
  bool isWritableByAnybody = false;
  std::int64_t modified = 0;  // nanoseconds since 1970
  std::uint64_t size = 0;
  std::uint64_t identity = 0;  // changes when another file takes the name
};
// Links are followed.
FileInfo fileInfo(std::string_view path);

// The names in a folder, sorted, without "." and ".."; at most `limit`. Empty when it cannot be
// read.
std::vector<std::string> folderNames(std::string_view path, std::size_t limit);

// Nanoseconds since 1970 by the clock that stamps files.
std::int64_t fileClock();

enum class PrivateRead { kRead, kMissing, kTooOpen };
// Reads a file of at most `limit` bytes that nobody but the user may read, checked on the opened
// file.
PrivateRead readPrivateFile(std::string_view path, std::size_t limit, std::string& bytes);

}  // namespace brennox::platform
