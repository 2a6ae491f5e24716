// A certificate store in a temporary folder, in use as long as the object lives.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace brennox::crypto::testing {

class TemporaryStore {
 public:
  TemporaryStore() {
    std::string name = (std::filesystem::temp_directory_path() / "brennox-store-XXXXXX").string();
    data_ = ::mkdtemp(name.data());
    root_ = data_ / "velkor_brennox2" / "certs";
    for (const char* const folder : {"my", "people", "trusted"}) {
      std::filesystem::create_directories(root_ / folder);
    }
    const char* const before = std::getenv("XDG_DATA_HOME");
    before_ = before == nullptr ? "" : before;
    ::setenv("XDG_DATA_HOME", data_.c_str(), 1);
  }
  ~TemporaryStore() {
    if (before_.empty()) {
      ::unsetenv("XDG_DATA_HOME");
    } else {
      ::setenv("XDG_DATA_HOME", before_.c_str(), 1);
    }
    std::error_code ignored;
    std::filesystem::remove_all(data_, ignored);
  }
  TemporaryStore(const TemporaryStore&) = delete;
  TemporaryStore& operator=(const TemporaryStore&) = delete;

  const std::filesystem::path& root() const { return root_; }

  static void setMode(const std::filesystem::path& path, int mode) {
    std::filesystem::permissions(path, static_cast<std::filesystem::perms>(mode));
  }

  // Only the owner may read the file unless `mode` says otherwise.
  std::filesystem::path add(const std::string& name, std::string_view bytes, int mode = 0600) {
    const std::filesystem::path path = root_ / name;
    std::ofstream(path, std::ios::binary) << bytes;
    setMode(path, mode);
    return path;
  }

 private:
  std::filesystem::path data_;
  std::filesystem::path root_;
  std::string before_;
};

}  // namespace brennox::crypto::testing
