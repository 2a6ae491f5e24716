// Where a user's data lies and who may read it, for tests.
#pragma once

#include <atomic>
#include <filesystem>
#include <random>
#include <string>

#if defined(_WIN32)
#include "platform/win32/access_for_tests.h"

// The variable that names the folder below which programs keep the user's data.
inline constexpr char kUserDataVariable[] = "LOCALAPPDATA";

// What a mode says about others goes into the access control list.
inline void setMode(const std::filesystem::path& path, int mode) {
  const DWORD read = (mode & 0044) != 0 ? FILE_GENERIC_READ : 0;
  const DWORD write = (mode & 0022) != 0 ? FILE_GENERIC_WRITE : 0;
  brennox::platform::setAccess(path, read | write);
}
#else
inline constexpr char kUserDataVariable[] = "XDG_DATA_HOME";

inline void setMode(const std::filesystem::path& path, int mode) {
  std::filesystem::permissions(path, static_cast<std::filesystem::perms>(mode));
}
#endif

// A new folder that nobody else uses.
inline std::filesystem::path makeTemporaryFolder(const std::string& name) {
  static std::atomic<unsigned> count{0};
  std::filesystem::path folder;
  do {
    folder = std::filesystem::temp_directory_path() /
             (name + "-" + std::to_string(std::random_device()()) + "-" +
              std::to_string(count.fetch_add(1)));
  } while (!std::filesystem::create_directory(folder));
  return folder;
}
