// Lines and counted runs of bytes out of a stream.
#pragma once

#include <brennox/Data.h>
#include <brennox/ErrorCode.h>
#include <brennox/Ref.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "net/ByteStream.h"

namespace brennox::net {

// Reads ahead in large pieces. Everything returns false when the stream has failed; a bound that is
// exceeded fails the stream with ErrorLimitExceeded, as nobody could find the next line after it.
class LineReader {
 public:
  // Called with the bytes that have come and those that will have.
  using Progress = std::function<void(std::size_t current, std::size_t maximum)>;

  explicit LineReader(ByteStream& stream);

  // Appends the next line without its line end (CRLF, or a bare LF) to `line`, which must not grow
  // beyond `limit`. `bareLineFeed`, if given, hears whether the line ended with LF alone.
  bool line(std::string* line, std::size_t limit, bool* bareLineFeed = nullptr);

  // The next `size` bytes.
  bool bytes(char* out, std::size_t size, const Progress& progress = nullptr);
  // The same into a block of exactly that size; what has not been read ahead goes there without a
  // copy.
  bool block(std::size_t size, Ref<Block>* out, const Progress& progress = nullptr);

  // For protocols whose framing is neither: the bytes that have been read and not been taken,
  // waiting for at least one. Empty when the stream has failed.
  std::string_view peek();
  void skip(std::size_t size) noexcept { start_ += size; }

  // What has been read ahead, without waiting.
  std::string_view buffered() const noexcept { return {buffer_.get() + start_, end_ - start_}; }
  // Reads ahead what is there, without waiting. Notices a connection that has ended.
  void readAhead();
  // Forgets what has been read ahead.
  void clear() noexcept { start_ = end_ = 0; }

 private:
  bool fill();
  void makeRoom();

  ByteStream& stream_;
  std::unique_ptr<char[]> buffer_;
  std::size_t start_ = 0;
  std::size_t end_ = 0;
};

}  // namespace brennox::net
