#include "net/LineReader.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace brennox::net {
namespace {

constexpr std::size_t kBufferSize = 128 * 1024;

}  // namespace

LineReader::LineReader(ByteStream& stream) : stream_(stream), buffer_(new char[kBufferSize]) {}

void LineReader::makeRoom() {
  if (start_ == end_) {
    start_ = end_ = 0;
  }
  if (end_ == kBufferSize && start_ > 0) {
    std::memmove(buffer_.get(), buffer_.get() + start_, end_ - start_);
    end_ -= start_;
    start_ = 0;
  }
}

// Only called when nothing, or less than the buffer holds, is ahead.
bool LineReader::fill() {
  makeRoom();
  const std::size_t count = stream_.read(buffer_.get() + end_, kBufferSize - end_);
  end_ += count;
  return count > 0;
}

void LineReader::readAhead() {
  makeRoom();
  if (end_ < kBufferSize) {
    end_ += stream_.readNow(buffer_.get() + end_, kBufferSize - end_);
  }
}

bool LineReader::line(std::string* line, std::size_t limit, bool* bareLineFeed) {
  // What stands in front may be a literal whose last octet is a CR of its own.
  const std::size_t start = line->size();
  for (;;) {
    const std::string_view ahead = buffered();
    const std::size_t end = ahead.find('\n');
    const std::string_view piece = ahead.substr(0, end);
    if (piece.size() > limit || line->size() > limit - piece.size()) {
      stream_.fail(ErrorLimitExceeded);
      return false;
    }
    line->append(piece);
    if (end != std::string_view::npos) {
      skip(end + 1);
      const bool bare = line->size() == start || line->back() != '\r';
      if (!bare) {
        line->pop_back();
      }
      if (bareLineFeed != nullptr) {
        *bareLineFeed = bare;
      }
      return true;
    }
    clear();
    if (!fill()) {
      return false;
    }
  }
}

bool LineReader::bytes(char* out, std::size_t size, const Progress& progress) {
  std::size_t done = std::min(size, end_ - start_);
  if (done > 0) {
    std::memcpy(out, buffer_.get() + start_, done);
    skip(done);
  }
  while (done < size) {
    // A short rest is read together with what follows it.
    const std::size_t left = size - done;
    if (left < kBufferSize / 2) {
      if (!fill()) {
        return false;
      }
      const std::size_t count = std::min(left, end_ - start_);
      std::memcpy(out + done, buffer_.get() + start_, count);
      skip(count);
      done += count;
    } else {
      const std::size_t count = stream_.read(out + done, left);
      if (count == 0) {
        return false;
      }
      done += count;
    }
    if (progress) {
      progress(done, size);
    }
  }
  return true;
}

bool LineReader::block(std::size_t size, Ref<Block>* out, const Progress& progress) {
  Ref<Block> block;
  try {
    block = Block::allocate(size);
  } catch (const std::bad_alloc&) {
    stream_.fail(ErrorLimitExceeded);
    return false;
  }
  if (!bytes(block->bytes(), size, progress)) {
    return false;
  }
  *out = std::move(block);
  return true;
}

std::string_view LineReader::peek() {
  if (start_ == end_ && !fill()) {
    return {};
  }
  return buffered();
}

}  // namespace brennox::net
