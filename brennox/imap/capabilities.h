// What a server says that it can do (RFC 9051 section 7.2.2).
#pragma once

#include <brennox/Flags.h>

#include <bitset>
#include <string>
#include <string_view>
#include <vector>

namespace brennox::imap {

class Capabilities {
 public:
  // The words of a CAPABILITY response or response code. Unknown ones are skipped.
  static Capabilities parse(std::string_view words);

  bool has(IMAPCapability capability) const {
    return bits_.test(static_cast<std::size_t>(capability));
  }
  // The SASL mechanisms that AUTH= names.
  const std::vector<std::string>& mechanisms() const noexcept { return mechanisms_; }
  bool isEmpty() const noexcept { return bits_.none(); }
  std::size_t size() const noexcept { return bits_.size(); }
  bool test(std::size_t index) const { return bits_.test(index); }

 private:
  std::bitset<64> bits_;
  std::vector<std::string> mechanisms_;
};

}  // namespace brennox::imap
