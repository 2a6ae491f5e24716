// The commands of a session, one group to a file. Each sends what it is named after and reads the
// answer; what they return is ErrorNone, the group's own error when the server refused, or why the
// connection was lost.
#pragma once

#include <brennox/Array.h>
#include <brennox/Data.h>
#include <brennox/ErrorCode.h>
#include <brennox/Flags.h>
#include <brennox/HashMap.h>
#include <brennox/IMAPFolderInfo.h>
#include <brennox/IMAPFolderStatus.h>
#include <brennox/IMAPProgressCallback.h>
#include <brennox/IndexSet.h>
#include <brennox/Ref.h>

#include <string>
#include <string_view>
#include <vector>

#include "imap/Connection.h"
#include "net/sasl.h"

namespace brennox {
class IMAPSession;
}

namespace brennox::imap {

// "INBOX" in any case is one name (RFC 9051 section 5.1).
std::string folderName(std::string_view name);

// The error of a finished command: `refused` when the server said NO or BAD.
ErrorCode errorOf(const Connection& connection, const Completion& completion, ErrorCode refused);

// In login.cpp:
// Authenticates with the best mechanism that fits, learns what the server can do for this user, and
// switches on what saves work later.
ErrorCode logIn(Connection& connection, const net::Credentials& credentials, AuthType type);
ErrorCode askCapabilities(Connection& connection);
ErrorCode noop(Connection& connection);
void logOut(Connection& connection);

// In select.cpp:
// Servers show an open folder as it was at the end of the last command, flags included.
enum class View {
  kAsItIs,
  // With what came and changed meanwhile. Costs a round trip when the folder is selected already:
  // servers put off what a NOOP does until the commands behind it are done.
  kUpToDate,
};

// Brings the view of the folder up to date where it is selected.
ErrorCode refresh(Connection& connection, const std::string& folder);

// A folder that is about to be used. Selects it where it is not selected yet.
class Selection {
 public:
  // `ahead` lets the command that follows go out before the server has agreed; only for commands
  // that do no harm where no folder, or another one, is selected.
  Selection(Connection& connection, const std::string& folder, View view, bool ahead);
  // Before the following command: whether it makes sense to send it.
  bool isPossible() const noexcept { return error_ == ErrorNone; }
  // After sending it.
  ErrorCode finish();

 private:
  ErrorCode completed();

  Connection& connection_;
  ErrorCode error_ = ErrorNone;
  // 0 when nothing is to be waited for.
  unsigned tag_ = 0;
};

// What these UIDs, or numbers, need: a message that is newer than the view is not in it.
View viewFor(const Connection& connection, const std::string& folder, const IndexSet* set,
             bool byUid);

// Asks the server afresh, also for a folder that is selected already.
ErrorCode selectFolder(Connection& connection, const std::string& folder);
// Asks for the UIDNEXT of the selected folder, which it does not tell with new messages.
ErrorCode askUidNext(Connection& connection, const std::string& folder);
ErrorCode folderInfo(Connection& connection, const std::string& folder, IMAPFolderInfo* info);
// Leaves the folder, if it is selected, without expunging it.
void leaveFolder(Connection& connection, const std::string& folder);

// In folders.cpp:
struct Namespaces {
  bool known = false;
  // Prefixes of other users' and shared folders.
  std::vector<std::string> prefixes;
};

ErrorCode listFolders(Connection& connection, bool subscribed, Namespaces* namespaces,
                      Ref<Array>* folders);
ErrorCode createFolder(Connection& connection, const std::string& folder, std::string_view use);
ErrorCode renameFolder(Connection& connection, const std::string& from, const std::string& to);
ErrorCode deleteFolder(Connection& connection, const std::string& folder);
ErrorCode subscribeFolder(Connection& connection, const std::string& folder, bool subscribe);
ErrorCode folderStatus(Connection& connection, const std::string& folder, IMAPFolderStatus* status);

// In fetch.cpp:
struct FetchRequest {
  IMAPSession* session = nullptr;
  IMAPProgressCallback* progress = nullptr;
  IMAPMessagesRequestKind kind = IMAPMessagesRequestKindUid;
  const IndexSet* set = nullptr;
  bool byUid = true;
  // Of a synchronisation: messages that changed after it; 0 for all.
  bool sync = false;
  std::uint64_t changedSince = 0;
};

// `vanished` stays null when the server cannot tell.
ErrorCode fetchMessages(Connection& connection, const std::string& folder,
                        const FetchRequest& request, Ref<Array>* messages, Ref<IndexSet>* vanished);

// The sections of one message ("" is all of it) as the server sends them; null where there is no
// such message or section.
ErrorCode fetchSections(Connection& connection, const std::string& folder, std::uint32_t number,
                        bool byUid, const std::vector<std::string>& sections,
                        const FetchRequest& request, std::vector<Ref<Data>>* contents);

// In messages.cpp:
ErrorCode storeFlags(Connection& connection, const std::string& folder, const IndexSet* set,
                     bool byUid, IMAPStoreFlagsRequestKind kind, MessageFlag flags);
// `mapping` stays null when the server does not tell.
ErrorCode copyMessages(Connection& connection, const std::string& folder, const IndexSet* uids,
                       const std::string& destination, Ref<HashMap>* mapping);
ErrorCode moveMessages(Connection& connection, const std::string& folder, const IndexSet* uids,
                       const std::string& destination, Ref<HashMap>* mapping);
ErrorCode expunge(Connection& connection, const std::string& folder);

}  // namespace brennox::imap
