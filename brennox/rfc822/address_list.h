// Address lists (RFC 5322 sections 3.4 and 4.4) and what mail has in their place.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace brennox::rfc822 {

struct Mailbox {
  std::string name;     // UTF-8, empty when there is none
  std::string address;  // without white space and comments, empty when there is none
};

enum class EncodedWords { kDecode, kKeep };

// Appends all mailboxes of a raw field value, which may be folded; groups are flattened. Raw 8-bit
// names are UTF-8, else in `rawCharset`, else Windows-1252.
void parseAddressList(std::string_view raw, std::string_view rawCharset, EncodedWords words,
                      std::vector<Mailbox>& out);

}  // namespace brennox::rfc822
