// Files by UTF-8 path, always binary.
#pragma once

#include <brennox/Data.h>

#include <string>
#include <string_view>

namespace brennox::platform {

// The whole file in one block; null when the path is empty, holds a NUL, or cannot be read.
Ref<Block> readFile(std::string_view path);

// Writes a temporary file beside `path`, syncs it and renames it into place; on failure the target
// is as it was and the temporary file is gone.
bool writeFileWhole(std::string_view path, std::string_view bytes);

}  // namespace brennox::platform
