#include <brennox/Data.h>
#include <brennox/String.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>

#include "core/block_storage.h"
#include "platform/file.h"
#include "text/base64.h"

namespace brennox {

Ref<Block> Block::allocate(std::size_t size) {
  const BlockStorage storage = allocateStorage(size);
  if (storage.bytes == nullptr) {
    throw std::bad_alloc();
  }
  return Ref<Block>::adopt(new Block(storage.bytes, size, storage.capacity));
}

Block::~Block() {
  freeStorage({bytes_, capacity_});
}

Data::Data(const void* bytes, std::size_t length) {
  if (bytes == nullptr || length == 0) {
    return;
  }
  block_ = Block::allocate(length);
  std::memcpy(block_->bytes(), bytes, length);
  bytes_ = block_->bytes();
  length_ = length;
}

Data::Data(const Data* other) noexcept {
  if (other != nullptr) {
    block_ = other->block_;
    bytes_ = other->bytes_;
    length_ = other->length_;
  }
}

Data::Data(Ref<Block> block) noexcept : block_(std::move(block)) {
  if (block_) {
    bytes_ = block_->bytes();
    length_ = block_->size();
  }
}

Data::Data(Ref<Block> block, const char* bytes, std::size_t length) noexcept
    : block_(std::move(block)), bytes_(bytes), length_(length) {}

Data* Data::data() {
  return makeAutoreleased<Data>();
}

Data* Data::dataWithBytes(const void* bytes, std::size_t length) {
  return makeAutoreleased<Data>(bytes, length);
}

Data* Data::dataWithContentsOfFile(String* path) {
  Ref<Block> block = platform::readFile(textOf(path));
  return block ? makeAutoreleased<Data>(std::move(block)) : nullptr;
}

Data* Data::subdata(std::size_t offset, std::size_t length) {
  const std::size_t from = offset < length_ ? offset : length_;
  const std::size_t rest = length_ - from;
  return makeAutoreleased<Data>(block_, bytes_ == nullptr ? nullptr : bytes_ + from,
                                length < rest ? length : rest);
}

bool Data::isUnique() const noexcept {
  return retainCount() == 1 && block_ && block_->retainCount() == 1;
}

String* Data::base64String() {
  std::string text(text::base64EncodedLength(length_), '\0');
  text::base64Encode(view(), text.data());
  return makeAutoreleased<String>(std::move(text));
}

ErrorCode Data::writeToFile(String* path) {
  return platform::writeFileWhole(textOf(path), view()) ? ErrorNone : ErrorFile;
}

String* Data::description() {
  return String::stringWithText("<Data: " + std::to_string(length_) + " bytes>");
}

Object* Data::copy() {
  return makeAutoreleased<Data>(static_cast<const Data*>(this));
}

bool Data::isEqual(Object* other) {
  const auto* data = dynamic_cast<Data*>(other);
  return data != nullptr && data->view() == view();
}

std::size_t Data::hash() {
  return std::hash<std::string_view>()(view());
}

}  // namespace brennox
