// Memory for containers that may grow as long as the input: large ones get the pages that blocks
// have, which others have used before. Fresh pages cost more than most that is done to what is put
// into them.
#pragma once

#include <memory_resource>

namespace brennox {

// From any thread; never destroyed. Throws std::bad_alloc.
std::pmr::memory_resource* blockMemory();

}  // namespace brennox
