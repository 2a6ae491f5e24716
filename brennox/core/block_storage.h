// Where blocks have their bytes: small ones on the heap, large ones in pages of their own, of which
// a few that were given back are kept for the next block.
#pragma once

#include <cstddef>

namespace brennox {

struct BlockStorage {
  char* bytes = nullptr;
  std::size_t capacity = 0;
};

// From here on a block has pages of its own: faulting them in outweighs everything else that is
// done to the bytes, and it is what reusing them saves.
inline constexpr std::size_t kLargeBlock = std::size_t{1} << 20;

// The kept storage never exceeds this in all. A block leaves at most a quarter of its own size
// unused, or, in a piece of the kept storage, less than 3 MiB.
inline constexpr std::size_t kKeptStorage = std::size_t{96} << 20;

// Uninitialised storage of at least `size` bytes; bytes are null when there is none. From any
// thread.
BlockStorage allocateStorage(std::size_t size);
void freeStorage(BlockStorage storage);

// How much is kept at present.
std::size_t keptStorage();

}  // namespace brennox
