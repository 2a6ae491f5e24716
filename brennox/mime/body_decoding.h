// Bodies of entities out of their transfer encodings.
#pragma once

#include <brennox/Data.h>
#include <brennox/Ref.h>

#include <cstddef>
#include <string_view>

#include "mime/content_fields.h"

namespace brennox::mime {

// The decoded body behind `room` unused bytes.
Ref<Block> decodeBody(std::string_view body, TransferEncoding encoding, std::size_t room);

// A text that only claims to be base64: its first line has blanks between words and marks that
// base64 has not, and no line looks encoded. Banners that gateways put before encoded text are
// none.
bool isMislabeled(std::string_view body);

// Everybody's default, which says nothing about what a text is in.
bool isUsAscii(std::string_view charset);

}  // namespace brennox::mime
