#include "html/image_type.h"

#include "html/url.h"
#include "text/ascii.h"
#include "text/base64.h"

namespace brennox::html {
namespace {

bool startsWith(std::string_view bytes, std::string_view magic) {
  return bytes.substr(0, magic.size()) == magic;
}

}  // namespace

std::string_view rasterTypeOf(std::string_view bytes) {
  using namespace std::string_view_literals;
  if (startsWith(bytes, "\x89PNG\r\n\x1A\n"sv)) {
    return "image/png";
  }
  if (startsWith(bytes, "\xFF\xD8\xFF"sv)) {
    return "image/jpeg";
  }
  if (startsWith(bytes, "GIF87a"sv) || startsWith(bytes, "GIF89a"sv)) {
    return "image/gif";
  }
  if (startsWith(bytes, "RIFF"sv) && bytes.size() >= 12 && bytes.substr(8, 4) == "WEBP"sv) {
    return "image/webp";
  }
  if (startsWith(bytes, "BM"sv) && bytes.size() >= 26) {
    return "image/bmp";
  }
  if (bytes.size() >= 12 && bytes.substr(4, 4) == "ftyp"sv &&
      (bytes.substr(8, 4) == "avif"sv || bytes.substr(8, 4) == "avis"sv)) {
    return "image/avif";
  }
  if (startsWith(bytes, "\0\0\1\0"sv)) {
    return "image/x-icon";
  }
  return {};
}

std::string dataUriOf(std::string_view bytes) {
  const std::string_view type = rasterTypeOf(bytes);
  if (type.empty() || bytes.size() > kMaxPictureLength) {
    return {};
  }
  std::string uri = "data:";
  uri += type;
  uri += ";base64,";
  const std::size_t at = uri.size();
  uri.resize(at + text::base64EncodedLength(bytes.size()));
  text::base64Encode(bytes, uri.data() + at);
  return uri;
}

std::string cleanedDataUri(std::string_view uri) {
  const std::size_t comma = uri.find(',');
  if (comma == std::string_view::npos || !text::startsWithIgnoringCase(uri, "data:")) {
    return {};
  }
  const std::string_view type = text::trimmed(uri.substr(5, comma - 5));
  constexpr std::string_view kBase64 = "base64";
  if (type.size() < kBase64.size() ||
      !text::equalsIgnoringCase(type.substr(type.size() - kBase64.size()), kBase64)) {
    return {};
  }
  const std::string_view body = uri.substr(comma + 1);
  const bool isEscaped = body.find('%') != std::string_view::npos;
  return dataUriOf(text::base64Decode(isEscaped ? percentDecoded(body) : body));
}

}  // namespace brennox::html
