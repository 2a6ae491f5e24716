// Folder names on the wire: modified UTF-7 (RFC 3501 section 5.1.3).
#pragma once

#include <string>
#include <string_view>

namespace brennox::imap {

// UTF-8 to modified UTF-7. Bytes that are no UTF-8 become U+FFFD, as there is no way to write them.
std::string encodeModifiedUTF7(std::string_view text);

// Modified UTF-7 to UTF-8. A name that is no valid modified UTF-7 (a raw UTF-8 name from a server
// that does not convert, an unfinished or needless shift, a lone surrogate) is returned as it
// stands.
std::string decodeModifiedUTF7(std::string_view name);

}  // namespace brennox::imap
