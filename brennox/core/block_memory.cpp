#include "core/block_memory.h"

#include <cstddef>
#include <cstring>
#include <new>

#include "core/block_storage.h"

namespace brennox {
namespace {

class BlockMemory final : public std::pmr::memory_resource {
 private:
  // What was allocated stands in front of what is given out.
  static constexpr std::size_t kFront = 32;
  static_assert(sizeof(BlockStorage) <= kFront && kFront % alignof(std::max_align_t) == 0);

  void* do_allocate(std::size_t size, std::size_t alignment) override {
    if (size > SIZE_MAX - kFront || alignment > alignof(std::max_align_t)) {
      throw std::bad_alloc();
    }
    const BlockStorage storage = allocateStorage(size + kFront);
    if (storage.bytes == nullptr) {
      throw std::bad_alloc();
    }
    std::memcpy(storage.bytes, &storage, sizeof storage);
    return storage.bytes + kFront;
  }

  void do_deallocate(void* memory, std::size_t /*size*/, std::size_t /*alignment*/) override {
    BlockStorage storage;
    std::memcpy(&storage, static_cast<char*>(memory) - kFront, sizeof storage);
    freeStorage(storage);
  }

  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override {
    return this == &other;
  }
};

}  // namespace

std::pmr::memory_resource* blockMemory() {
  static auto* const memory = new BlockMemory;
  return memory;
}

}  // namespace brennox
