// Flags of messages and attributes of folders, as names and as bits.
#pragma once

#include <brennox/Flags.h>

#include <string>
#include <string_view>
#include <vector>

namespace brennox::imap {

// Unknown names count for nothing.
MessageFlag messageFlags(const std::vector<std::string_view>& names);
// "\Seen $Forwarded"; bits without a name are left out.
std::string messageFlagNames(MessageFlag flags);

IMAPFolderFlag folderFlags(const std::vector<std::string_view>& names);
// The attribute of exactly one special-use bit ("\Sent"); "" for anything else.
std::string_view specialUseName(unsigned int bit);

}  // namespace brennox::imap
