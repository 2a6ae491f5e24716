#include "core/block_storage.h"

#include <array>
#include <cstdlib>
#include <mutex>

#include "platform/memory.h"

namespace brennox {
namespace {

// What was given back, oldest first.
class KeptStorage {
 public:
  // The storage that fits best. When none fits, as much as is asked for leaves, so that keeping
  // never adds to what the process has held at its peak.
  BlockStorage take(std::size_t size) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::size_t best = count_;
    for (std::size_t i = 0; i < count_; ++i) {
      const std::size_t capacity = pieces_[i].capacity;
      if (capacity >= size && capacity - size <= size / 4 &&
          (best == count_ || capacity < pieces_[best].capacity)) {
        best = i;
      }
    }
    if (best != count_) {
      return remove(best);
    }
    for (std::size_t released = 0; count_ > 0 && released < size;) {
      released += release();
    }
    return {};
  }

  void keep(BlockStorage storage) {
    const std::lock_guard<std::mutex> lock(mutex_);
    while (count_ == kPieces || (count_ > 0 && total_ > kKeptStorage - storage.capacity)) {
      release();
    }
    pieces_[count_++] = storage;
    total_ += storage.capacity;
  }

  std::size_t total() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return total_;
  }

 private:
  static constexpr std::size_t kPieces = 16;

  BlockStorage remove(std::size_t index) {
    const BlockStorage storage = pieces_[index];
    for (std::size_t i = index + 1; i < count_; ++i) {
      pieces_[i - 1] = pieces_[i];
    }
    --count_;
    total_ -= storage.capacity;
    return storage;
  }

  std::size_t release() {
    const BlockStorage storage = remove(0);
    platform::unmapPages(storage.bytes, storage.capacity);
    return storage.capacity;
  }

  std::mutex mutex_;
  std::array<BlockStorage, kPieces> pieces_;
  std::size_t count_ = 0;
  std::size_t total_ = 0;
};

// Never deleted: blocks are given back from any thread, also while the process ends.
KeptStorage& kept() {
  static KeptStorage* const instance = new KeptStorage;
  return *instance;
}

// A sanitizer sees use after free and writes past the end only in storage from the heap.
#if defined(__SANITIZE_ADDRESS__)
#define BRENNOX_HEAP_ONLY
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define BRENNOX_HEAP_ONLY
#endif
#endif
#ifdef BRENNOX_HEAP_ONLY
bool hasOwnPages(std::size_t) {
  return false;
}
#else
bool hasOwnPages(std::size_t capacity) {
  return capacity >= kLargeBlock;
}
#endif

}  // namespace

BlockStorage allocateStorage(std::size_t size) {
  if (!hasOwnPages(size)) {
    return {static_cast<char*>(std::malloc(size == 0 ? 1 : size)), size};
  }
  const BlockStorage used = kept().take(size);
  return used.bytes != nullptr ? used : BlockStorage{platform::mapPages(size), size};
}

void freeStorage(BlockStorage storage) {
  if (!hasOwnPages(storage.capacity)) {
    std::free(storage.bytes);
  } else if (storage.capacity <= kKeptStorage) {
    kept().keep(storage);
  } else {
    platform::unmapPages(storage.bytes, storage.capacity);
  }
}

std::size_t keptStorage() {
  return kept().total();
}

}  // namespace brennox
