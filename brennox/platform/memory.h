// Storage for byte blocks.
#pragma once

#include <cstddef>

namespace brennox::platform {

// Uninitialised storage; large requests are aligned and advised for huge pages. Null when there is
// none. Never null for size 0.
char* allocateBlock(std::size_t size);
void freeBlock(char* block);

}  // namespace brennox::platform
