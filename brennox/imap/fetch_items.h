// One FETCH response (RFC 9051 section 7.5.2).
#pragma once

#include <brennox/Flags.h>

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "imap/wire_reader.h"

namespace brennox::imap {

// The views end with the response.
struct FetchItems {
  std::optional<std::uint32_t> uid;
  std::optional<MessageFlag> flags;
  std::optional<std::uint32_t> size;
  std::optional<std::uint64_t> modSeq;
  std::time_t internalDate = -1;
  std::string_view envelope;
  std::string_view structure;
  // What stands between the brackets of BODY[...], and the content.
  std::vector<std::pair<std::string_view, Text>> sections;
};

// Reads the list of items. False when it is not what a FETCH response looks like; what came before
// the fault is in `items` then.
bool readFetchItems(WireReader& reader, FetchItems* items);

// "17-Jul-1996 02:44:25 -0700"; -1 for anything else.
std::time_t parseInternalDate(std::string_view text);

}  // namespace brennox::imap
