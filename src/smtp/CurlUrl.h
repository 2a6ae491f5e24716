// The URL of a mail server, and what both curl transfers share.
#pragma once

#include <cpcurl.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace velkor {

// Sets CURLOPT_URL from a host (a port or path behind it stays, a scheme in front of it does not
// count), the connection type and the protocol's scheme, and returns the status of that. 1:
// `scheme`; 2: `scheme` with STARTTLS required; 4: `scheme` + "s"; any other value: no scheme at
// all, only "://host".
CURLcode ApplyCurlUrl(std::string_view hostname, std::int32_t connectionType,
                      const std::string& scheme, cpcurl::Easy* handle);

// A line break would end the command or header line that the text stands in, and curl would not see
// what stands behind a zero byte: such a text never goes to a server.
bool FitsOnOneLine(std::string_view text);

// The bytes that an upload sends, and how far it has come.
struct TransferSource {
  const char* bytes;
  std::size_t length;
  std::size_t position;
};

// CURLOPT_READFUNCTION over a TransferSource.
std::size_t ReadFromSource(char* buffer, std::size_t size, std::size_t count, void* source);

struct EasyCleanup {
  void operator()(cpcurl::Easy* handle) const { cpcurl::easy_cleanup(handle); }
};
using EasyHandle = std::unique_ptr<cpcurl::Easy, EasyCleanup>;

}  // namespace velkor
