#include "platform/user.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace brennox::platform {
namespace {

std::int64_t nanoseconds(const timespec& time) {
  return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

std::string homeFolder() {
  if (const char* const home = std::getenv("HOME"); home != nullptr && home[0] == '/') {
    return home;
  }
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
      found == nullptr || found->pw_dir == nullptr) {
    return {};
  }
  return found->pw_dir;
}

FileInfo infoOf(const struct stat& status) {
  FileInfo info;
  info.exists = true;
  info.isRegular = S_ISREG(status.st_mode);
  info.isFolder = S_ISDIR(status.st_mode);
  info.isOwn = status.st_uid == ::geteuid();
  info.isOpenToOthers = (status.st_mode & (S_IRWXG | S_IRWXO)) != 0;
  info.isWritableByAnybody = (status.st_mode & S_IWOTH) != 0;
  info.modified = nanoseconds(status.st_mtim);
  info.size = static_cast<std::uint64_t>(status.st_size);
  info.identity = static_cast<std::uint64_t>(status.st_ino);
  return info;
}

}  // namespace

std::string userDataFolder() {
  // A relative path is to be ignored (XDG Base Directory Specification).
  if (const char* const data = std::getenv("XDG_DATA_HOME"); data != nullptr && data[0] == '/') {
    return data;
  }
  const std::string home = homeFolder();
  return home.empty() ? std::string() : home + "/.local/share";
}

std::vector<std::string> systemCertificateFolders() {
  return {"/etc/ssl/certs"};
}

FileInfo fileInfo(std::string_view path) {
  struct stat status {};
  if (path.empty() || path.find('\0') != std::string_view::npos ||
      ::stat(std::string(path).c_str(), &status) != 0) {
    return {};
  }
  return infoOf(status);
}

std::vector<std::string> folderNames(std::string_view path, std::size_t limit) {
  std::vector<std::string> names;
  DIR* const folder = ::opendir(std::string(path).c_str());
  if (folder == nullptr) {
    return names;
  }
  while (names.size() < limit) {
    const dirent* const entry = ::readdir(folder);
    if (entry == nullptr) {
      break;
    }
    const std::string_view name(entry->d_name);
    if (name != "." && name != "..") {
      names.emplace_back(name);
    }
  }
  ::closedir(folder);
  std::sort(names.begin(), names.end());
  return names;
}

std::int64_t fileClock() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return nanoseconds(now);
}

PrivateRead readPrivateFile(std::string_view path, std::size_t limit, std::string& bytes) {
  bytes.clear();
  // Not blocking, in case somebody has put a pipe there.
  const int file = ::open(std::string(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) {
    return PrivateRead::kMissing;
  }
  PrivateRead outcome = PrivateRead::kMissing;
  struct stat status {};
  if (::fstat(file, &status) == 0) {
    const FileInfo info = infoOf(status);
    if (info.isRegular && (!info.isOwn || info.isOpenToOthers)) {
      outcome = PrivateRead::kTooOpen;
    } else if (info.isRegular && info.size <= limit) {
      bytes.resize(static_cast<std::size_t>(info.size));
      std::size_t done = 0;
      while (done < bytes.size()) {
        const ssize_t got = ::read(file, bytes.data() + done, bytes.size() - done);
        if (got < 0 && errno == EINTR) {
          continue;
        }
        if (got <= 0) {
          break;
        }
        done += static_cast<std::size_t>(got);
      }
      bytes.resize(done);
      outcome = PrivateRead::kRead;
    }
  }
  ::close(file);
  return outcome;
}

}  // namespace brennox::platform
