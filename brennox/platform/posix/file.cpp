#include "platform/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace brennox::platform {
namespace {

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) {
      ::close(fd_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return fd_; }
  bool close() {
    const int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0;
  }

 private:
  int fd_;
};

bool isUsable(std::string_view path) {
  return !path.empty() && path.find('\0') == std::string_view::npos;
}

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) {
        continue;
      }
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// Fills the block as far as the file goes; the number of bytes read, or -1.
ssize_t readInto(int fd, char* bytes, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t got = ::read(fd, bytes + done, size - done);
    if (got < 0) {
      if (errno == EINTR) {
        continue;
      }
      return -1;
    }
    if (got == 0) {
      break;
    }
    done += static_cast<std::size_t>(got);
  }
  return static_cast<ssize_t>(done);
}

// A pipe or a device has no size to go by.
Ref<Block> readStream(int fd) {
  std::string text;
  char buffer[65536];
  for (;;) {
    const ssize_t got = readInto(fd, buffer, sizeof buffer);
    if (got < 0) {
      return nullptr;
    }
    text.append(buffer, static_cast<std::size_t>(got));
    if (static_cast<std::size_t>(got) < sizeof buffer) {
      break;
    }
  }
  Ref<Block> block = Block::allocate(text.size());
  text.copy(block->bytes(), text.size());
  return block;
}

}  // namespace

Ref<Block> readFile(std::string_view path) {
  if (!isUsable(path)) {
    return nullptr;
  }
  const Descriptor file(::open(std::string(path).c_str(), O_RDONLY | O_CLOEXEC));
  struct stat info {};
  if (file.get() < 0 || ::fstat(file.get(), &info) != 0 || S_ISDIR(info.st_mode)) {
    return nullptr;
  }
  if (!S_ISREG(info.st_mode) || info.st_size == 0) {
    return readStream(file.get());
  }
  Ref<Block> block = Block::allocate(static_cast<std::size_t>(info.st_size));
  const ssize_t got = readInto(file.get(), block->bytes(), block->size());
  if (got < 0) {
    return nullptr;
  }
  block->truncate(static_cast<std::size_t>(got));
  return block;
}

bool writeFileWhole(std::string_view path, std::string_view bytes) {
  if (!isUsable(path)) {
    return false;
  }
  std::string target(path);
  // A link is followed, so that the file it names is replaced and not the link.
  if (char* const resolved = ::realpath(target.c_str(), nullptr)) {
    target = resolved;
    std::free(resolved);
  }
  struct stat existing {};
  const bool exists = ::stat(target.c_str(), &existing) == 0;
  if (exists && !S_ISREG(existing.st_mode)) {
    if (S_ISDIR(existing.st_mode)) {
      return false;
    }
    // A device or a pipe can't be replaced, only written to.
    Descriptor stream(::open(target.c_str(), O_WRONLY | O_CLOEXEC));
    return stream.get() >= 0 && writeAll(stream.get(), bytes) && stream.close();
  }
  // Replacing needs the folder's permission only; a file that may not be written stays untouched.
  if (exists && ::access(target.c_str(), W_OK) != 0) {
    return false;
  }

  static std::atomic<unsigned> counter{0};
  const std::string temporary =
      target + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter.fetch_add(1));
  const mode_t mode = exists ? existing.st_mode & 07777 : 0666;
  Descriptor file(
      ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
  if (file.get() < 0) {
    return false;
  }
  const bool written = writeAll(file.get(), bytes) &&
                       (!exists || ::fchmod(file.get(), mode) == 0) && ::fsync(file.get()) == 0 &&
                       file.close() && ::rename(temporary.c_str(), target.c_str()) == 0;
  if (!written) {
    ::unlink(temporary.c_str());
  }
  return written;
}

}  // namespace brennox::platform
