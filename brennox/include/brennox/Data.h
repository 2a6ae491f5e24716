// An immutable run of bytes that shares its storage.
#pragma once

#include <brennox/ErrorCode.h>
#include <brennox/Object.h>
#include <brennox/Ref.h>

#include <cstddef>
#include <memory>
#include <string_view>

namespace brennox {

class String;

// Storage of bytes that Data objects share. A block is written once by whoever allocated it, before
// it is given to a Data, and never again. Blocks of 1 MiB and more have pages of their own, aligned and
// advised for huge pages, and a few that were given back are kept for the next block: page faults cost
// more than filling them.
class BRENNOX_EXPORT Block final : public Object {
 public:
  // Uninitialised storage of `size` bytes. Throws std::bad_alloc when there is none.
  static Ref<Block> allocate(std::size_t size);

  char* bytes() noexcept { return bytes_; }
  const char* bytes() const noexcept { return bytes_; }
  std::size_t size() const noexcept { return size_; }

  // Declares that only the first `size` bytes are in use; the rest stays allocated until the block
  // ends.
  void truncate(std::size_t size) noexcept { size_ = size < size_ ? size : size_; }

  ~Block() override;

 private:
  Block(char* bytes, std::size_t size, std::size_t capacity) noexcept
      : bytes_(bytes), size_(size), capacity_(capacity) {}
  char* bytes_;
  std::size_t size_;
  std::size_t capacity_;
};

// Copies and slices are O(1): they share the block. The bytes are immutable, so a Data may be read
// from any thread.
class BRENNOX_EXPORT Data : public Object {
 public:
  Data() noexcept = default;
  // Copies `length` bytes.
  Data(const void* bytes, std::size_t length);
  // Shares the bytes of another Data; null reads as empty.
  explicit Data(const Data* other) noexcept;
  // Takes a filled block.
  explicit Data(Ref<Block> block) noexcept;
  // A view on bytes inside a block.
  Data(Ref<Block> block, const char* bytes, std::size_t length) noexcept;

  static Data* data();
  static Data* dataWithBytes(const void* bytes, std::size_t length);
  // The whole of a file, read once into a block; null when it cannot be read.
  static Data* dataWithContentsOfFile(String* path);

  // Null only when the length is 0.
  const char* bytes() const noexcept { return bytes_; }
  std::size_t length() const noexcept { return length_; }
  std::string_view view() const noexcept { return {bytes_, length_}; }

  // `length` bytes from `offset`, clamped to what is there; shares the block. Autoreleased.
  Data* subdata(std::size_t offset, std::size_t length);

  // True when no other Data shares the block: the bytes can then be handed on as somebody's private
  // copy.
  bool isUnique() const noexcept;
  const Ref<Block>& block() const noexcept { return block_; }

  // Base64 of the bytes on one line (RFC 4648 section 4); autoreleased.
  String* base64String();

  // Writes the file whole or not at all: a temporary name beside it, fsync, rename. The mode of an
  // existing file is kept. Returns ErrorNone or ErrorFile.
  ErrorCode writeToFile(String* path);

  String* description() override;
  Object* copy() override;
  bool isEqual(Object* other) override;
  std::size_t hash() override;

 protected:
  const char* className() const override { return "Data"; }

 private:
  Ref<Block> block_;
  const char* bytes_ = nullptr;
  std::size_t length_ = 0;
};

}  // namespace brennox
