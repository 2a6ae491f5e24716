// For tests and fuzzers: a stream whose other side has said all it will ever say.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "net/ByteStream.h"

namespace brennox::net {

class MemoryStream final : public ByteStream {
 public:
  // Hands out at most `step` bytes at a time.
  MemoryStream(std::string input, std::size_t step) : input_(std::move(input)), step_(step) {}

  std::size_t read(char* out, std::size_t size) override {
    const std::size_t count = std::min({size, step_, input_.size() - position_});
    if (count == 0 || error_ != ErrorNone) {
      fail(ErrorConnection);
      return 0;
    }
    std::memcpy(out, input_.data() + position_, count);
    position_ += count;
    return count;
  }

  bool write(std::string_view bytes) override {
    written_ += bytes;
    return error_ == ErrorNone;
  }

  const std::string& written() const noexcept { return written_; }

 private:
  std::string input_;
  std::string written_;
  std::size_t step_;
  std::size_t position_ = 0;
};

}  // namespace brennox::net
