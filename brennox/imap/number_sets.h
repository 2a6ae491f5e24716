// Sets of message numbers and UIDs (RFC 9051 section 9, sequence-set).
#pragma once

#include <brennox/IndexSet.h>
#include <brennox/Range.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace brennox::imap {

// How numbers above 32 bits, and the end of an unbounded range, are written: "*" is the last
// message that there is.
enum class LastNumber { kAsStar, kAsNumber };

// The set as text, in pieces that fit into a command line. Empty when the set is empty or holds no
// number that a message can have.
std::vector<std::string> numberSets(const IndexSet* set, LastNumber last = LastNumber::kAsStar);

// The pairs of two sets that name the same messages in the same order (RFC 4315, COPYUID). Empty
// when their sizes differ or are beyond what one command can name.
std::vector<std::pair<std::uint32_t, std::uint32_t>> pairSets(const std::vector<Range>& from,
                                                              const std::vector<Range>& to);

}  // namespace brennox::imap
