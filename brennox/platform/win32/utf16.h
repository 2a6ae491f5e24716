// Text as the system takes it, UTF-16, and as the library holds it, UTF-8.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace brennox::platform {

// Nothing when the text is not valid in its encoding, or longer than any name the system takes
// (32,767 units): what comes back always stands for the same text.
std::optional<std::wstring> toUtf16(std::string_view text);
std::optional<std::string> toUtf8(std::wstring_view text);

// A path for the system's functions: absolute where it is long, so that their bound of 260 units
// does not apply. Nothing when it is empty or holds a NUL.
std::optional<std::wstring> systemPath(std::string_view path);

}  // namespace brennox::platform
