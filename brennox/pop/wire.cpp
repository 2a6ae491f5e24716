#include "pop/wire.h"

#include <algorithm>
#include <cstring>

#include "pop/dot_unstuffer.h"

namespace brennox::pop {
namespace {

// What a wrong size may make us allocate before any byte has come, and what is taken without one.
constexpr std::size_t kMaxExpected = std::size_t{64} << 20;
constexpr std::size_t kFirstBlock = std::size_t{64} << 10;

// A growing block that ends up as the Data.
class Collector {
 public:
  explicit Collector(std::size_t expected)
      : block_(Block::allocate(expected == 0 ? kFirstBlock : std::min(expected, kMaxExpected))) {}

  void append(std::string_view bytes) {
    if (block_->size() - size_ < bytes.size()) {
      grow(bytes.size());
    }
    std::memcpy(block_->bytes() + size_, bytes.data(), bytes.size());
    size_ += bytes.size();
  }

  std::size_t size() const { return size_; }

  Ref<Data> take() {
    // A guess that was far too large must not stay allocated.
    if (size_ < block_->size() / 4 * 3) {
      return make<Data>(block_->bytes(), size_);
    }
    block_->truncate(size_);
    return make<Data>(std::move(block_));
  }

 private:
  void grow(std::size_t count) {
    Ref<Block> larger =
        Block::allocate(std::max(size_ + count, block_->size() + block_->size() / 2));
    std::memcpy(larger->bytes(), block_->bytes(), size_);
    block_ = std::move(larger);
  }

  Ref<Block> block_;
  std::size_t size_ = 0;
};

bool isSendable(std::string_view command) {
  return command.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

}  // namespace

bool Wire::send(std::initializer_list<std::string_view> commands) {
  std::string packet;
  for (const std::string_view command : commands) {
    if (!isSendable(command)) {
      return false;
    }
    packet += command;
    packet += "\r\n";
  }
  return stream_.write(packet);
}

Wire::Status Wire::status() {
  text_.clear();
  if (!reader_.line(&text_, kMaxLine, &bareLineFeeds_)) {
    return Status::kFailed;
  }
  Status status = Status::kFailed;
  std::size_t keyword = 0;
  if (text_.starts_with("+OK")) {
    status = Status::kOk;
    keyword = 3;
  } else if (text_.starts_with("-ERR")) {
    status = Status::kError;
    keyword = 4;
  } else if (text_ == "+" || text_.starts_with("+ ")) {
    status = Status::kContinue;
    keyword = 1;
  } else {
    stream_.fail(ErrorParse);
    return status;
  }
  text_.erase(0, std::min(text_.size(), text_.find_first_not_of(' ', keyword)));
  return status;
}

bool Wire::lines(const std::function<bool(std::string_view)>& each) {
  std::size_t total = 0;
  std::string line;
  for (bool more = true; more && total <= kMaxListing;) {
    line.clear();
    if (!reader_.line(&line, kMaxLine)) {
      return false;
    }
    if (line == ".") {
      return true;
    }
    total += line.size() + 2;
    more = each(line.starts_with('.') ? std::string_view(line).substr(1) : std::string_view(line));
  }
  stream_.fail(ErrorLimitExceeded);
  return false;
}

Ref<Data> Wire::multiLine(std::size_t expected, std::size_t limit,
                          const std::function<void(std::size_t)>& progress) {
  Collector collector(expected);
  DotUnstuffer unstuffer(bareLineFeeds_);
  while (!unstuffer.isDone()) {
    const std::string_view bytes = reader_.peek();
    if (bytes.empty()) {
      return nullptr;
    }
    reader_.skip(unstuffer.feed(bytes, [&](std::string_view run) { collector.append(run); }));
    if (collector.size() > limit) {
      stream_.fail(ErrorLimitExceeded);
      return nullptr;
    }
    if (progress) {
      progress(collector.size());
    }
  }
  return collector.take();
}

}  // namespace brennox::pop
