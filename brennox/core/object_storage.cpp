#include "core/object_storage.h"

#include <array>
#include <cstdlib>
#include <new>
#include <utility>

#include "core/sanitized.h"

namespace brennox {
namespace {

constexpr std::size_t kStep = 16;
// Larger ones are too few to matter.
constexpr std::size_t kLargestObject = 1024;
constexpr std::size_t kSizes = kLargestObject / kStep + 1;

constexpr std::size_t sizeIndex(std::size_t size) {
  return (size + kStep - 1) / kStep;
}

// A block that waits for its next object.
struct Free {
  Free* next;
};

// Has no destructor: objects are made and deleted until the very end of a thread.
struct Lists {
  std::array<Free*, kSizes> first;
  std::size_t bytes;
  // Until the thread keeps its first block, and again when it ends.
  bool keepsNothing = true;
};

constinit thread_local Lists lists{};

// Empties the lists when the thread ends.
struct Ending {
  Ending() { lists.keepsNothing = false; }
  ~Ending() {
    lists.keepsNothing = true;
    for (Free*& first : lists.first) {
      while (first != nullptr) {
        std::free(std::exchange(first, first->next));
      }
    }
    lists.bytes = 0;
  }
};

// False while the thread ends. Apart, so that the usual way looks for the thread's data once.
[[gnu::noinline]] bool startKeeping() {
  thread_local const Ending ending;
  return !lists.keepsNothing;
}

}  // namespace

void* allocateObject(std::size_t size) {
  const std::size_t index = sizeIndex(size);
  if (index < kSizes) {
    Lists& own = lists;
    if (Free* const block = own.first[index]) {
      own.first[index] = block->next;
      own.bytes -= index * kStep;
      return block;
    }
    size = index * kStep;
  }
  void* const block = std::malloc(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void freeObject(void* block, std::size_t size) noexcept {
  const std::size_t index = sizeIndex(size);
  Lists& own = lists;
  if (kAddressSanitized || index >= kSizes || own.bytes + index * kStep > kKeptObjects ||
      (own.keepsNothing && !startKeeping())) {
    std::free(block);
    return;
  }
  own.first[index] = new (block) Free{own.first[index]};
  own.bytes += index * kStep;
}

std::size_t keptObjects() noexcept {
  return lists.bytes;
}

}  // namespace brennox
