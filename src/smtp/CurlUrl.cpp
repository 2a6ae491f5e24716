#include "smtp/CurlUrl.h"

#include <algorithm>
#include <cstring>

namespace velkor {

namespace {

constexpr std::int32_t kClear = 1;
constexpr std::int32_t kStartTls = 2;
constexpr std::int32_t kTls = 4;

constexpr std::string_view kSeparator = "://";

// Always begins with the separator.
std::string AuthorityText(std::string_view hostname) {
  const std::size_t at = hostname.find(kSeparator);
  if (at != hostname.npos) {
    return std::string(hostname.substr(at));
  }
  return std::string(kSeparator).append(hostname);
}

}  // namespace

CURLcode ApplyCurlUrl(std::string_view hostname, std::int32_t connectionType,
                      const std::string& scheme, cpcurl::Easy* handle) {
  std::string url = AuthorityText(hostname);
  switch (connectionType) {
    case kStartTls:
      cpcurl::easy_setopt(handle, CURLOPT_USE_SSL, CURLUSESSL_ALL);
      [[fallthrough]];
    case kClear:
      url.insert(0, scheme);
      break;
    case kTls:
      url.insert(0, scheme + "s");
      break;
    default:
      break;
  }
  return cpcurl::easy_setopt(handle, CURLOPT_URL, url.c_str());
}

bool FitsOnOneLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == text.npos;
}

std::size_t ReadFromSource(char* buffer, std::size_t size, std::size_t count, void* source) {
  auto* const from = static_cast<TransferSource*>(source);
  const std::size_t length = std::min(size * count, from->length - from->position);
  if (length != 0) {
    std::memcpy(buffer, from->bytes + from->position, length);
  }
  from->position += length;
  return length;
}

}  // namespace velkor
