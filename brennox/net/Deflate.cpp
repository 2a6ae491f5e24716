#include "net/Deflate.h"

#include <zlib.h>

#include <cstring>

namespace brennox::net {
namespace {

constexpr std::size_t kInputSize = 64 * 1024;
// Raw DEFLATE without zlib's own header.
constexpr int kWindowBits = -15;
constexpr int kMemoryLevel = 8;
constexpr std::size_t kOutputStep = 16 * 1024;

}  // namespace

struct Deflate::Streams {
  z_stream out{};
  z_stream in{};
  bool outReady = false;
  bool inReady = false;

  ~Streams() {
    if (outReady) {
      deflateEnd(&out);
    }
    if (inReady) {
      inflateEnd(&in);
    }
  }
};

Deflate::Deflate(std::unique_ptr<Streams> streams)
    : streams_(std::move(streams)), buffer_(new char[kInputSize]) {}

Deflate::~Deflate() = default;

std::unique_ptr<Deflate> Deflate::create() {
  auto streams = std::make_unique<Streams>();
  streams->outReady = deflateInit2(&streams->out, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kWindowBits,
                                   kMemoryLevel, Z_DEFAULT_STRATEGY) == Z_OK;
  streams->inReady = inflateInit2(&streams->in, kWindowBits) == Z_OK;
  if (!streams->outReady || !streams->inReady) {
    return nullptr;
  }
  return std::unique_ptr<Deflate>(new Deflate(std::move(streams)));
}

bool Deflate::compress(std::string_view bytes, std::string* out) {
  z_stream& stream = streams_->out;
  // zlib reads from next_in and never writes through it.
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  do {
    const std::size_t before = out->size();
    out->resize(before + kOutputStep);
    stream.next_out = reinterpret_cast<Bytef*>(out->data() + before);
    stream.avail_out = static_cast<uInt>(kOutputStep);
    const int result = deflate(&stream, Z_SYNC_FLUSH);
    out->resize(out->size() - stream.avail_out);
    if (result != Z_OK && result != Z_BUF_ERROR) {
      return false;
    }
  } while (stream.avail_out == 0);
  return stream.avail_in == 0;
}

char* Deflate::input() noexcept {
  return buffer_.get();
}

std::size_t Deflate::inputSize() const noexcept {
  return kInputSize;
}

void Deflate::filled(std::size_t size) noexcept {
  streams_->in.next_in = reinterpret_cast<Bytef*>(buffer_.get());
  streams_->in.avail_in = static_cast<uInt>(size);
}

void Deflate::feed(std::string_view bytes) noexcept {
  std::memcpy(buffer_.get(), bytes.data(), bytes.size());
  filled(bytes.size());
}

std::size_t Deflate::decompress(char* out, std::size_t size) {
  z_stream& stream = streams_->in;
  stream.next_out = reinterpret_cast<Bytef*>(out);
  stream.avail_out = static_cast<uInt>(size);
  const int result = inflate(&stream, Z_SYNC_FLUSH);
  const std::size_t produced = size - stream.avail_out;
  // The end of a DEFLATE stream has no place inside a connection.
  if (produced == 0 && result != Z_OK && result != Z_BUF_ERROR) {
    failed_ = true;
  }
  return produced;
}

}  // namespace brennox::net
