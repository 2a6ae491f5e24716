// Pictures that a rendering may show by itself.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace brennox::html {

// Pictures larger than this are not written into a rendering.
constexpr std::size_t kMaxPictureLength = std::size_t{32} << 20;

// The MIME type of a raster picture by its first bytes (PNG, JPEG, GIF, WebP, BMP, AVIF, ICO);
// empty for anything else, SVG above all: it can hold scripts and fetch.
std::string_view rasterTypeOf(std::string_view bytes);

// The picture as a data: URI with the type that it really has; empty when it is none or too large.
std::string dataUriOf(std::string_view bytes);

// A data: URI that was written into a message, made anew; empty unless it is base64 of a raster
// picture.
std::string cleanedDataUri(std::string_view uri);

}  // namespace brennox::html
