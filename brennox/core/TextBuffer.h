// Text that is put together piece by piece and becomes a String without being copied.
//
// Its storage is a block's: a text of megabytes then lies in large pages that earlier texts have
// used, while fresh ones would cost more than all that is done to the text.
#pragma once

#include <brennox/Data.h>
#include <brennox/Ref.h>

#include <cstddef>
#include <cstring>
#include <string_view>

namespace brennox {

class String;

class TextBuffer {
 public:
  TextBuffer() = default;
  // Finds room for `expected` bytes at once. Whatever exceeds it is moved.
  explicit TextBuffer(std::size_t expected) { room(expected); }
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;

  // Where the next `count` bytes may be written. Valid until the next call.
  char* room(std::size_t count) {
    if (count > capacity_ - size_) {
      grow(count);
    }
    return bytes_ + size_;
  }
  // Says how many bytes have been written there.
  void wrote(std::size_t count) { size_ += count; }

  void append(const char* text, std::size_t length) {
    if (length != 0) {
      std::memcpy(room(length), text, length);
      size_ += length;
    }
  }
  void append(std::string_view text) { append(text.data(), text.size()); }
  TextBuffer& operator+=(std::string_view text) {
    append(text);
    return *this;
  }
  TextBuffer& operator+=(char c) {
    *room(1) = c;
    ++size_;
    return *this;
  }

  // Leaves the first `size` bytes.
  void truncate(std::size_t size) { size_ = size; }
  // Takes the first `count` bytes off.
  void removePrefix(std::size_t count);

  bool empty() const { return size_ == 0; }
  std::size_t size() const { return size_; }
  std::string_view view() const { return {bytes_, size_}; }

  // All of it as an autoreleased String. Nothing is left.
  String* string();

 private:
  void grow(std::size_t count);

  Ref<Block> block_;
  char* bytes_ = nullptr;
  std::size_t size_ = 0;
  // One less than the block's size, which leaves room for the zero at a String's end.
  std::size_t capacity_ = 0;
};

}  // namespace brennox
