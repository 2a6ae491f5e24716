#include "core/TextBuffer.h"

#include <brennox/String.h>

#include <algorithm>
#include <new>
#include <string>
#include <utility>

#include "core/block_storage.h"

namespace brennox {

void TextBuffer::grow(std::size_t count) {
  if (count > std::string().max_size() - size_) {
    throw std::bad_alloc();
  }
  const std::size_t capacity = std::max(size_ + count, capacity_ + capacity_ / 2);
  Ref<Block> block = Block::allocate(capacity + 1);
  if (size_ != 0) {
    std::memcpy(block->bytes(), bytes_, size_);
  }
  block_ = std::move(block);
  bytes_ = block_->bytes();
  capacity_ = capacity;
}

void TextBuffer::removePrefix(std::size_t count) {
  size_ -= count;
  std::memmove(bytes_, bytes_ + count, size_);
}

String* TextBuffer::string() {
  Ref<Block> block = std::move(block_);
  const std::size_t length = std::exchange(size_, 0);
  const char* const bytes = std::exchange(bytes_, nullptr);
  const std::size_t unused = std::exchange(capacity_, 0) - length;
  // What is left over in large pages was never touched and costs nothing.
  const bool wastes = unused > length / 4 && length < kLargeBlock;
  if (!block || wastes) {
    return makeAutoreleased<String>(bytes, length);
  }
  block->bytes()[length] = '\0';
  block->truncate(length + 1);
  return makeAutoreleased<String>(std::move(block));
}

}  // namespace brennox
