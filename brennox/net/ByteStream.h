// Bytes to and from a server, however they travel.
#pragma once

#include <brennox/ErrorCode.h>

#include <cstddef>
#include <string_view>

namespace brennox::net {

// The first error is kept and ends the stream: everything after it fails at once.
class ByteStream {
 public:
  virtual ~ByteStream() = default;

  // Waits for bytes and reads as many as there are, at most `size`. 0 when there will be no more:
  // error() then says why, ErrorConnection for an orderly end.
  virtual std::size_t read(char* out, std::size_t size) = 0;

  // Reads what is there without waiting; 0 may mean that there is nothing yet (no error then).
  virtual std::size_t readNow(char* /*out*/, std::size_t /*size*/) { return 0; }

  // What is read from now on answers something new: a stream that watches how slowly bytes come
  // starts counting again. Writing does the same.
  virtual void expectAnew() {}

  // Writes all of it; false on failure.
  virtual bool write(std::string_view bytes) = 0;

  ErrorCode error() const noexcept { return error_; }

  // Ends the stream from above (a limit was exceeded, the protocol is out of step).
  void fail(ErrorCode error) noexcept {
    if (error_ == ErrorNone) {
      error_ = error;
    }
  }

 protected:
  ErrorCode error_ = ErrorNone;
};

}  // namespace brennox::net
