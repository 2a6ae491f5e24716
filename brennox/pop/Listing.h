// A mailbox as LIST and UIDL tell it together (RFC 1939).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace brennox::pop {

// A listing of more messages than this is no mailbox, but a server that wants our memory.
inline constexpr std::size_t kMaxMessages = std::size_t{1} << 20;

struct Entry {
  std::uint32_t index = 0;
  std::uint32_t size = 0;
  // Empty where the server has no UIDL.
  std::string uid;
};

class Listing {
 public:
  // Each takes one line of the response. Lines that make no sense are passed over; false when there
  // are more than kMaxMessages.
  bool addSize(std::string_view line);
  bool addUid(std::string_view line);

  // In the server's order.
  const std::vector<Entry>& entries() const noexcept { return entries_; }
  // Null for a message that has not been listed.
  const Entry* find(std::uint32_t index) const;
  void clear();

 private:
  Entry* entryFor(std::uint32_t index);

  std::vector<Entry> entries_;
  // Where those messages stand that do not stand at their own number: none, until something has
  // been deleted or a server is odd.
  std::unordered_map<std::uint32_t, std::size_t> elsewhere_;
};

}  // namespace brennox::pop
