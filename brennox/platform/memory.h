// Pages for large blocks of bytes.
#pragma once

#include <cstddef>

namespace brennox::platform {

// Fresh pages for `size` bytes, at least 1; aligned and advised for huge pages. Null when there are
// none.
char* mapPages(std::size_t size);
// `size` as it was asked for.
void unmapPages(char* pages, std::size_t size);

}  // namespace brennox::platform
