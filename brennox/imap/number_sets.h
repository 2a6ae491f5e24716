// Sets of message numbers and UIDs (RFC 9051 section 9, sequence-set).
#pragma once

#include <brennox/IndexSet.h>
#include <brennox/Range.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace brennox::imap {

// Numbers beyond this one are no message's.
inline constexpr std::uint64_t kLastUid = 0xFFFFFFFF;
// For ranges without an end, "*": the last message that there is. It belongs to "n:*" whatever n
// is, so this is only for commands that change nothing.
inline constexpr std::uint64_t kOpenEnd = UINT64_MAX;

// The numbers of the set up to `last` as text, in pieces that fit into a command line. Empty when
// there are none that a message can have.
std::vector<std::string> numberSets(const IndexSet* set, std::uint64_t last);

// The pairs of two sets that name the same messages in the same order (RFC 4315, COPYUID). Empty
// when their sizes differ or are beyond what one command can name.
std::vector<std::pair<std::uint32_t, std::uint32_t>> pairSets(const std::vector<Range>& from,
                                                              const std::vector<Range>& to);

}  // namespace brennox::imap
