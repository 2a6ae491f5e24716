#include "platform/memory.h"

#include <sys/mman.h>

#include <cstdlib>

namespace brennox::platform {
namespace {

// From here on page faults outweigh everything else that is done to the bytes.
constexpr std::size_t kLargeBlock = std::size_t{1} << 20;
constexpr std::size_t kHugePage = std::size_t{1} << 21;

}  // namespace

char* allocateBlock(std::size_t size) {
  if (size < kLargeBlock) {
    return static_cast<char*>(std::malloc(size == 0 ? 1 : size));
  }
  void* block = nullptr;
  if (posix_memalign(&block, kHugePage, size) != 0) {
    return nullptr;
  }
  // Whole huge pages only: advising the tail would round the memory use up to the next 2 MiB.
  const std::size_t advised = size / kHugePage * kHugePage;
  if (advised != 0) {
    madvise(block, advised, MADV_HUGEPAGE);
  }
  return static_cast<char*>(block);
}

void freeBlock(char* block) {
  std::free(block);
}

}  // namespace brennox::platform
