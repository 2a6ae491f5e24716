// A certificate store in a temporary folder, in use as long as the object lives.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "support/environment.h"
#include "support/user_files.h"

namespace brennox::crypto::testing {

class TemporaryStore {
 public:
  TemporaryStore() {
    setMode(data_, 0700);
    root_ = data_ / "velkor_brennox2" / "certs";
    for (const char* const folder : {"my", "people", "trusted"}) {
      std::filesystem::create_directories(root_ / folder);
    }
    const char* const before = std::getenv(kUserDataVariable);
    before_ = before == nullptr ? "" : before;
    setEnvironment(kUserDataVariable, data_.string().c_str());
  }
  ~TemporaryStore() {
    if (before_.empty()) {
      unsetEnvironment(kUserDataVariable);
    } else {
      setEnvironment(kUserDataVariable, before_.c_str());
    }
    std::error_code ignored;
    std::filesystem::remove_all(data_, ignored);
  }
  TemporaryStore(const TemporaryStore&) = delete;
  TemporaryStore& operator=(const TemporaryStore&) = delete;

  const std::filesystem::path& root() const { return root_; }

  static void setMode(const std::filesystem::path& path, int mode) { ::setMode(path, mode); }

  // Only the owner may read the file unless `mode` says otherwise.
  std::filesystem::path add(const std::string& name, std::string_view bytes, int mode = 0600) {
    const std::filesystem::path path = root_ / name;
    std::ofstream(path, std::ios::binary) << bytes;
    setMode(path, mode);
    return path;
  }

 private:
  const std::filesystem::path data_ = makeTemporaryFolder("brennox-store");
  std::filesystem::path root_;
  std::string before_;
};

}  // namespace brennox::crypto::testing
