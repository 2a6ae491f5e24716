// LIST and its relatives, CREATE, RENAME, DELETE, SUBSCRIBE, UNSUBSCRIBE, STATUS.
#include <brennox/IMAPFolder.h>
#include <brennox/String.h>

#include <unordered_set>

#include "imap/commands.h"
#include "imap/flag_names.h"

namespace brennox::imap {
namespace {

// A server that lists more is not listing folders.
constexpr unsigned int kMaxFolders = 500000;
constexpr std::size_t kMaxNamespaces = 1000;

class FolderList final : public Handler {
 public:
  FolderList(Connection& connection, Namespaces* namespaces)
      : connection_(connection), namespaces_(namespaces) {}

  Ref<Array> folders = make<Array>();

  bool data(std::uint32_t, std::string_view name, WireReader& reader) override {
    if (sameKeyword(name, "LIST") || sameKeyword(name, "LSUB") || sameKeyword(name, "XLIST")) {
      list(reader);
      return true;
    }
    if (sameKeyword(name, "NAMESPACE")) {
      readNamespaces(reader);
      return true;
    }
    return false;
  }

  bool hasFolderBelow(const std::string& prefix) const {
    for (const std::string& path : paths_) {
      if (path.compare(0, prefix.size(), prefix) == 0) {
        return true;
      }
    }
    return false;
  }

 private:
  void list(WireReader& reader) {
    std::vector<std::string_view> names;
    Text delimiter;
    std::string path;
    if (!reader.flagList(&names) || !reader.space() || !reader.nstring(&delimiter) ||
        !reader.space() || !reader.astring(&path)) {
      return;
    }
    // An empty name answers the question for the delimiter.
    if (path.empty() || !paths_.insert(path).second) {
      return;
    }
    if (folders->count() >= kMaxFolders) {
      connection_.stream().fail(ErrorLimitExceeded);
      return;
    }
    auto folder = make<IMAPFolder>();
    IMAPFolderFlag flags = folderFlags(names);
    if (sameKeyword(path, "INBOX")) {
      flags = static_cast<IMAPFolderFlag>(flags | IMAPFolderFlagInbox);
    }
    const std::string byte = delimiter.nil ? std::string() : delimiter.str();
    folder->setPath(make<String>(path).get());
    folder->setDelimiter(byte.empty() ? '\0' : byte[0]);
    folder->setFlags(flags);
    folders->addObject(folder.get());
  }

  // Three lists of (prefix delimiter): one's own, other users', shared. Each may be NIL.
  void readNamespaces(WireReader& reader) {
    namespaces_->known = true;
    for (int kind = 0; kind < 3; ++kind) {
      std::string_view text;
      if (!reader.value(&text)) {
        return;
      }
      WireReader list(text);
      list.skipIf('(');
      while (list.skipIf('(')) {
        std::string prefix;
        std::string_view ignored;
        if (!list.astring(&prefix)) {
          break;
        }
        if (kind > 0 && !prefix.empty() && namespaces_->prefixes.size() < kMaxNamespaces) {
          namespaces_->prefixes.push_back(prefix);
        }
        while (!list.atEnd() && !list.skipIf(')')) {
          list.value(&ignored);
          list.skipSpaces();
        }
        list.skipSpaces();
      }
    }
  }

  Connection& connection_;
  Namespaces* namespaces_;
  std::unordered_set<std::string> paths_;
};

CommandWriter listCommand(const Connection& connection, bool subscribed,
                          const std::string& prefix) {
  const bool extended = connection.has(IMAPCapabilityListExtended);
  const bool specialUse = connection.has(IMAPCapabilitySpecialUse);
  CommandWriter command = connection.command();
  if (subscribed) {
    command.raw(extended ? "LIST (SUBSCRIBED) \"\"" : "LSUB \"\"");
  } else {
    const bool xlist = connection.has(IMAPCapabilityXList) && !specialUse;
    command.raw(xlist ? "XLIST \"\"" : "LIST \"\"");
  }
  if (prefix.empty()) {
    command.raw(" \"*\"");
  } else {
    command.astring(prefix + "*");
  }
  if (extended && specialUse) {
    command.raw(" RETURN (SPECIAL-USE)");
  }
  return command;
}

class FolderCounts final : public Handler {
 public:
  FolderCounts(const std::string& folder, IMAPFolderStatus* status)
      : folder_(folder), status_(status) {}

  bool found = false;

  bool data(std::uint32_t, std::string_view name, WireReader& reader) override {
    if (!sameKeyword(name, "STATUS")) {
      return false;
    }
    std::string folder;
    if (!reader.astring(&folder) || !reader.space() || !reader.character('(')) {
      return true;
    }
    // Servers may tell about other folders unasked.
    if (folderName(folder) != folder_) {
      return true;
    }
    while (!reader.skipIf(')')) {
      std::string_view item;
      std::string_view text;
      if (!reader.atom(&item) || !reader.space() || !reader.value(&text)) {
        return true;
      }
      take(item, text);
      reader.skipSpaces();
    }
    found = true;
    return true;
  }

 private:
  void take(std::string_view item, std::string_view text) {
    WireReader number(text);
    if (sameKeyword(item, "HIGHESTMODSEQ")) {
      std::uint64_t value = 0;
      if (number.number64(&value)) {
        status_->setHighestModSeqValue(value);
      }
      return;
    }
    std::uint32_t value = 0;
    if (!number.number(&value)) {
      return;
    }
    if (sameKeyword(item, "MESSAGES")) {
      status_->setMessageCount(value);
    } else if (sameKeyword(item, "RECENT")) {
      status_->setRecentCount(value);
    } else if (sameKeyword(item, "UNSEEN")) {
      status_->setUnseenCount(value);
    } else if (sameKeyword(item, "UIDNEXT")) {
      status_->setUidNext(value);
    } else if (sameKeyword(item, "UIDVALIDITY")) {
      status_->setUidValidity(value);
    }
  }

  const std::string& folder_;
  IMAPFolderStatus* status_;
};

ErrorCode run(Connection& connection, const CommandWriter& command, ErrorCode refused) {
  return command.isValid() ? errorOf(connection, connection.run(command), refused)
                           : ErrorInvalidArgument;
}

}  // namespace

ErrorCode listFolders(Connection& connection, bool subscribed, Namespaces* namespaces,
                      Ref<Array>* folders) {
  FolderList list(connection, namespaces);
  const HandlerScope scope(connection, &list);
  unsigned namespaceTag = 0;
  const bool asks = !namespaces->known && connection.has(IMAPCapabilityNamespace);
  if (asks) {
    CommandWriter command = connection.command();
    namespaceTag = connection.send(command.raw("NAMESPACE"));
  }
  const unsigned tag = connection.send(listCommand(connection, subscribed, ""));
  if (asks) {
    connection.finish(namespaceTag);
  }
  ErrorCode error = errorOf(connection, connection.finish(tag), ErrorList);
  // "*" need not reach into the folders of others (RFC 2342 section 3).
  std::vector<unsigned> tags;
  for (const std::string& prefix : namespaces->prefixes) {
    const CommandWriter command = listCommand(connection, subscribed, prefix);
    if (error == ErrorNone && command.isValid() && command.waits().empty() &&
        !list.hasFolderBelow(prefix)) {
      tags.push_back(connection.send(command));
    }
  }
  for (const unsigned extra : tags) {
    if (connection.finish(extra).isLost()) {
      error = connection.error();
    }
  }
  if (connection.stream().error() != ErrorNone) {
    error = connection.error();
  }
  if (error == ErrorNone) {
    *folders = list.folders;
  }
  return error;
}

ErrorCode createFolder(Connection& connection, const std::string& folder, std::string_view use) {
  if (!use.empty() && !connection.has(IMAPCapabilityCreateSpecialUse)) {
    return ErrorCreate;
  }
  CommandWriter command = connection.command();
  command.raw("CREATE").astring(folder);
  if (!use.empty()) {
    command.raw(" (USE (").raw(use).raw("))");
  }
  return run(connection, command, ErrorCreate);
}

ErrorCode renameFolder(Connection& connection, const std::string& from, const std::string& to) {
  CommandWriter command = connection.command();
  command.raw("RENAME").astring(from).astring(to);
  if (command.isValid()) {
    leaveFolder(connection, from);
  }
  return run(connection, command, ErrorRename);
}

ErrorCode deleteFolder(Connection& connection, const std::string& folder) {
  CommandWriter command = connection.command();
  command.raw("DELETE").astring(folder);
  if (command.isValid()) {
    leaveFolder(connection, folder);
  }
  return run(connection, command, ErrorDelete);
}

ErrorCode subscribeFolder(Connection& connection, const std::string& folder, bool subscribe) {
  CommandWriter command = connection.command();
  command.raw(subscribe ? "SUBSCRIBE" : "UNSUBSCRIBE").astring(folder);
  return run(connection, command, subscribe ? ErrorSubscribe : ErrorUnsubscribe);
}

ErrorCode folderStatus(Connection& connection, const std::string& folder,
                       IMAPFolderStatus* status) {
  // Servers answer for the selected folder from the view that they show of it.
  const ErrorCode refreshed = refresh(connection, folder);
  if (refreshed != ErrorNone) {
    return refreshed;
  }
  CommandWriter command = connection.command();
  command.raw("STATUS").astring(folder).raw(" (MESSAGES RECENT UIDNEXT UIDVALIDITY UNSEEN");
  command.raw(connection.has(IMAPCapabilityCondstore) ? " HIGHESTMODSEQ)" : ")");
  FolderCounts counts(folder, status);
  const HandlerScope scope(connection, &counts);
  const ErrorCode error = run(connection, command, ErrorStatus);
  return error == ErrorNone && !counts.found ? ErrorParse : error;
}

}  // namespace brennox::imap
