#include "core/block_storage.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <mutex>

#include "core/sanitized.h"
#include "platform/memory.h"

namespace brennox {
namespace {

// Pages are counted in steps that are whole pages on every system.
constexpr std::size_t kPageStep = std::size_t{64} << 10;
// The size of large pages. Pieces are cut here only, so that those in them stay whole.
constexpr std::size_t kCutStep = std::size_t{2} << 20;

constexpr std::size_t roundedUp(std::size_t size, std::size_t step) {
  return (size + step - 1) / step * step;
}

// Large pages to the end where they leave at most a quarter unused: small ones cost several times
// as much to fault in, and once more after each fork of the process.
constexpr std::size_t capacityFor(std::size_t size) {
  if (size > SIZE_MAX - kCutStep) {
    return size;
  }
  const std::size_t large = roundedUp(size, kCutStep);
  return large - size <= size / 4 ? large : roundedUp(size, kPageStep);
}

// What was given back, oldest first. Neighbours are one piece, and a piece that is too large for a
// block is cut: texts and messages of different sizes then use the same pages one after the other.
class KeptStorage {
 public:
  // The piece that fits best, or the start of it. When none fits, as much as is asked for leaves,
  // so that keeping never adds to what the process has held at its peak.
  BlockStorage take(std::size_t size) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::size_t best = count_;
    for (std::size_t i = 0; i < count_; ++i) {
      const std::size_t capacity = pieces_[i].capacity;
      if (capacity >= size && (best == count_ || capacity < pieces_[best].capacity)) {
        best = i;
      }
    }
    if (best == count_) {
      release(size);
      return {};
    }
    BlockStorage storage = remove(best);
    const std::size_t used = roundedUp(size, kCutStep);
    if (storage.capacity - size > size / 4 && storage.capacity >= used + kLargeBlock) {
      add({storage.bytes + used, storage.capacity - used});
      storage.capacity = used;
    }
    return storage;
  }

  void keep(BlockStorage storage) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (total_ > kKeptStorage - storage.capacity) {
      release(total_ - (kKeptStorage - storage.capacity));
    }
    for (std::size_t i = 0; i < count_;) {
      const BlockStorage& piece = pieces_[i];
      if (piece.bytes + piece.capacity == storage.bytes ||
          storage.bytes + storage.capacity == piece.bytes) {
        storage.bytes = std::min(storage.bytes, piece.bytes);
        storage.capacity += remove(i).capacity;
        i = 0;
      } else {
        ++i;
      }
    }
    if (count_ == kPieces) {
      release(pieces_[0].capacity);
    }
    add(storage);
  }

  std::size_t total() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return total_;
  }

 private:
  static constexpr std::size_t kPieces = 16;

  // There is room for one more.
  void add(BlockStorage storage) {
    pieces_[count_++] = storage;
    total_ += storage.capacity;
  }

  BlockStorage remove(std::size_t index) {
    const BlockStorage storage = pieces_[index];
    for (std::size_t i = index + 1; i < count_; ++i) {
      pieces_[i - 1] = pieces_[i];
    }
    --count_;
    total_ -= storage.capacity;
    return storage;
  }

  // Gives back at least so much, if there is as much.
  void release(std::size_t wanted) {
    while (wanted > 0 && count_ > 0) {
      const std::size_t cut = roundedUp(std::min(wanted, kKeptStorage), kCutStep);
      BlockStorage& oldest = pieces_[0];
      if (oldest.capacity >= cut + kLargeBlock) {
        oldest.capacity -= cut;
        total_ -= cut;
        platform::unmapPages(oldest.bytes + oldest.capacity, cut);
        return;
      }
      const BlockStorage whole = remove(0);
      platform::unmapPages(whole.bytes, whole.capacity);
      wanted -= std::min(wanted, whole.capacity);
    }
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

bool hasOwnPages(std::size_t capacity) {
  return !kAddressSanitized && capacity >= kLargeBlock;
}

}  // namespace

BlockStorage allocateStorage(std::size_t size) {
  if (!hasOwnPages(size)) {
    return {static_cast<char*>(std::malloc(size == 0 ? 1 : size)), size};
  }
  const BlockStorage used = kept().take(size);
  if (used.bytes != nullptr) {
    return used;
  }
  const std::size_t capacity = capacityFor(size);
  return {platform::mapPages(capacity), capacity};
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
