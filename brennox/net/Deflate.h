// The compression layer of a connection (RFC 4978: raw DEFLATE in both directions).
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace brennox::net {

class Deflate {
 public:
  // Null when the memory for it is missing.
  static std::unique_ptr<Deflate> create();
  ~Deflate();
  Deflate(const Deflate&) = delete;
  Deflate& operator=(const Deflate&) = delete;

  // Appends the compressed form of `bytes` to `out`, flushed so that the other side can read all of
  // it.
  bool compress(std::string_view bytes, std::string* out);

  // Where compressed bytes from the connection go, and how many fit. Only while needsInput().
  char* input() noexcept;
  std::size_t inputSize() const noexcept;
  void filled(std::size_t size) noexcept;
  // As filled(), for bytes that are somewhere else; at most inputSize() of them.
  void feed(std::string_view bytes) noexcept;

  // Decompresses into `out`; 0 when more input is needed or the data is no DEFLATE (failed() then).
  // However well the other side compressed, never more than `size` bytes come out of one call.
  std::size_t decompress(char* out, std::size_t size);
  bool failed() const noexcept { return failed_; }

 private:
  struct Streams;
  explicit Deflate(std::unique_ptr<Streams> streams);
  std::unique_ptr<Streams> streams_;
  std::unique_ptr<char[]> buffer_;
  bool failed_ = false;
};

}  // namespace brennox::net
