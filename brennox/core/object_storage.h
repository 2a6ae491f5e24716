// Where library objects have their memory. Objects are many, small, and mostly of the same few
// sizes: each thread keeps blocks that were given back for the objects it makes next.
#pragma once

#include <cstddef>

namespace brennox {

// What a thread keeps never exceeds this. A mail's objects come to a few thousand bytes, and those
// of some hundred mails may be given back at once.
inline constexpr std::size_t kKeptObjects = std::size_t{2} << 20;

// Throws std::bad_alloc. Any thread may give a block back, with the size it was asked for.
void* allocateObject(std::size_t size);
void freeObject(void* block, std::size_t size) noexcept;

// How many bytes the calling thread keeps.
std::size_t keptObjects() noexcept;

}  // namespace brennox
