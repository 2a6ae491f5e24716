#include "imap/flag_names.h"

#include "imap/wire_reader.h"

namespace brennox::imap {
namespace {

struct FlagRow {
  std::string_view name;
  MessageFlag flag;
};

// The first name of a flag is the one that is written; the others are what servers and clients have
// used for it.
constexpr FlagRow kFlags[] = {
    {"\\Seen", MessageFlagSeen},          {"\\Answered", MessageFlagAnswered},
    {"\\Flagged", MessageFlagFlagged},    {"\\Deleted", MessageFlagDeleted},
    {"\\Draft", MessageFlagDraft},        {"$MDNSent", MessageFlagMDNSent},
    {"$Forwarded", MessageFlagForwarded}, {"$SubmitPending", MessageFlagSubmitPending},
    {"$Submitted", MessageFlagSubmitted}, {"Forwarded", MessageFlagForwarded},
    {"MDNSent", MessageFlagMDNSent},
};

struct FolderRow {
  std::string_view name;
  IMAPFolderFlag flag;
  bool specialUse;
};

constexpr FolderRow kFolderFlags[] = {
    {"\\Marked", IMAPFolderFlagMarked, false},
    {"\\Unmarked", IMAPFolderFlagUnmarked, false},
    {"\\NoSelect", IMAPFolderFlagNoSelect, false},
    {"\\NonExistent", IMAPFolderFlagNoSelect, false},
    {"\\NoInferiors", IMAPFolderFlagNoInferiors, false},
    {"\\Inbox", IMAPFolderFlagInbox, false},
    {"\\Sent", IMAPFolderFlagSentMail, true},
    {"\\Flagged", IMAPFolderFlagStarred, true},
    {"\\All", IMAPFolderFlagAllMail, true},
    {"\\Trash", IMAPFolderFlagTrash, true},
    {"\\Drafts", IMAPFolderFlagDrafts, true},
    {"\\Junk", IMAPFolderFlagSpam, true},
    {"\\Important", IMAPFolderFlagImportant, true},
    {"\\Archive", IMAPFolderFlagArchive, true},
    // XLIST's own names.
    {"\\Starred", IMAPFolderFlagStarred, false},
    {"\\AllMail", IMAPFolderFlagAllMail, false},
    {"\\Spam", IMAPFolderFlagSpam, false},
};

}  // namespace

MessageFlag messageFlags(const std::vector<std::string_view>& names) {
  int flags = 0;
  for (const std::string_view name : names) {
    for (const FlagRow& row : kFlags) {
      if (sameKeyword(name, row.name)) {
        flags |= row.flag;
        break;
      }
    }
  }
  return static_cast<MessageFlag>(flags);
}

std::string messageFlagNames(MessageFlag flags) {
  std::string names;
  int left = flags;
  for (const FlagRow& row : kFlags) {
    if ((left & row.flag) != 0) {
      names += names.empty() ? "" : " ";
      names += row.name;
      left &= ~row.flag;
    }
  }
  return names;
}

IMAPFolderFlag folderFlags(const std::vector<std::string_view>& names) {
  int flags = 0;
  for (const std::string_view name : names) {
    for (const FolderRow& row : kFolderFlags) {
      if (sameKeyword(name, row.name)) {
        flags |= row.flag;
        break;
      }
    }
  }
  return static_cast<IMAPFolderFlag>(flags);
}

std::string_view specialUseName(unsigned int bit) {
  for (const FolderRow& row : kFolderFlags) {
    if (row.specialUse && static_cast<unsigned int>(row.flag) == bit) {
      return row.name;
    }
  }
  return "";
}

}  // namespace brennox::imap
