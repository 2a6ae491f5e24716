// SELECT and what it tells.
#include "imap/commands.h"

namespace brennox::imap {
namespace {

// "* STATUS name (UIDNEXT 5)" and "* 3 FETCH (UID 4)": one number out of an answer.
class OneNumber final : public Handler {
 public:
  OneNumber(std::string_view response, std::string_view item) : response_(response), item_(item) {}

  std::uint32_t value = 0;

  bool data(std::uint32_t, std::string_view name, WireReader& reader) override {
    if (!sameKeyword(name, response_)) {
      return false;
    }
    std::string folder;
    if (sameKeyword(name, "STATUS") && (!reader.astring(&folder) || !reader.space())) {
      return true;
    }
    reader.character('(');
    while (!reader.hasFailed() && !reader.skipIf(')')) {
      std::string_view item;
      std::string_view text;
      if (reader.atom(&item) && reader.space() && reader.value(&text) && sameKeyword(item, item_)) {
        WireReader(text).number(&value);
      }
      reader.skipSpaces();
    }
    return true;
  }

 private:
  std::string_view response_;
  std::string_view item_;
};

CommandWriter selectCommand(const Connection& connection, const std::string& folder) {
  CommandWriter command = connection.command();
  command.raw("SELECT").astring(folder);
  if (connection.has(IMAPCapabilityCondstore)) {
    command.raw(" (CONDSTORE)");
  }
  return command;
}

}  // namespace

ErrorCode refresh(Connection& connection, const std::string& folder) {
  if (connection.selected() == nullptr || connection.selected()->name != folder) {
    return ErrorNone;
  }
  const ErrorCode error = noop(connection);
  return error == ErrorNoop ? ErrorNone : error;
}

Selection::Selection(Connection& connection, const std::string& folder, View view, bool ahead)
    : connection_(connection) {
  if (folder.empty()) {
    error_ = ErrorInvalidArgument;
    return;
  }
  if (connection.selected() != nullptr && connection.selected()->name == folder) {
    error_ = view == View::kUpToDate ? refresh(connection, folder) : ErrorNone;
    return;
  }
  const CommandWriter command = selectCommand(connection, folder);
  if (!command.isValid()) {
    error_ = ErrorInvalidArgument;
    return;
  }
  connection.selecting(folder);
  tag_ = connection.send(command);
  if (!ahead || !command.waits().empty()) {
    error_ = completed();
  }
}

ErrorCode Selection::finish() {
  return error_ == ErrorNone && tag_ != 0 ? error_ = completed() : error_;
}

ErrorCode Selection::completed() {
  const Completion completion = connection_.finish(tag_);
  tag_ = 0;
  if (!completion.isOk()) {
    connection_.unselect();
  }
  return errorOf(connection_, completion, ErrorFolderNotFound);
}

View viewFor(const Connection& connection, const std::string& folder, const IndexSet* set,
             bool byUid) {
  const SelectedFolder* const selected = connection.selected();
  if (selected == nullptr || selected->name != folder || set == nullptr ||
      set->rangesCount() == 0) {
    return View::kAsItIs;
  }
  const std::uint64_t last = RangeRightBound(set->allRanges()[set->rangesCount() - 1]);
  const bool known = byUid ? last < selected->uidNext : last <= selected->exists;
  return known ? View::kAsItIs : View::kUpToDate;
}

ErrorCode selectFolder(Connection& connection, const std::string& folder) {
  connection.unselect();
  Selection selection(connection, folder, View::kAsItIs, false);
  ErrorCode error = selection.finish();
  if (error != ErrorNone || connection.selected()->uidNext != 0) {
    return error;
  }
  // Servers from before UIDPLUS leave it out, and tell when they are asked for it.
  return askUidNext(connection, folder);
}

ErrorCode askUidNext(Connection& connection, const std::string& folder) {
  OneNumber status("STATUS", "UIDNEXT");
  const HandlerScope scope(connection, &status);
  CommandWriter command = connection.command();
  command.raw("STATUS").astring(folder).raw(" (UIDNEXT)");
  const Completion completion = connection.run(command);
  if (completion.isLost()) {
    return connection.error();
  }
  connection.sawUid(status.value == 0 ? 0 : status.value - 1);
  return ErrorNone;
}

ErrorCode folderInfo(Connection& connection, const std::string& folder, IMAPFolderInfo* info) {
  const ErrorCode error = selectFolder(connection, folder);
  if (error != ErrorNone) {
    return error;
  }
  const SelectedFolder selected = *connection.selected();
  info->setUidNext(selected.uidNext);
  info->setUidValidity(selected.uidValidity);
  info->setModSequenceValue(selected.highestModSeq);
  info->setMessageCount(static_cast<int>(selected.exists));
  info->setAllowsNewPermanentFlags(selected.allowsNewFlags);
  if (selected.firstUnseen == 0) {
    return ErrorNone;
  }
  OneNumber uid("FETCH", "UID");
  const HandlerScope scope(connection, &uid);
  CommandWriter command = connection.command();
  command.raw("FETCH " + std::to_string(selected.firstUnseen) + " (UID)");
  const Completion completion = connection.run(command);
  info->setFirstUnseenUid(uid.value);
  return completion.isLost() ? connection.error() : ErrorNone;
}

void leaveFolder(Connection& connection, const std::string& folder) {
  if (connection.selected() == nullptr || connection.selected()->name != folder) {
    return;
  }
  if (connection.has(IMAPCapabilityUnselect)) {
    CommandWriter command = connection.command();
    connection.run(command.raw("UNSELECT"));
  } else {
    // CLOSE expunges, except where the folder may only be read.
    CommandWriter examine = connection.command();
    examine.raw("EXAMINE").astring(folder);
    if (connection.run(examine).isOk()) {
      CommandWriter close = connection.command();
      connection.run(close.raw("CLOSE"));
    }
  }
  connection.unselect();
}

}  // namespace brennox::imap
