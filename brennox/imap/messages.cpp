// STORE, COPY, MOVE, EXPUNGE.
#include <brennox/AutoreleasePool.h>
#include <brennox/Value.h>

#include "imap/commands.h"
#include "imap/flag_names.h"
#include "imap/number_sets.h"

namespace brennox::imap {
namespace {

// COPYUID (RFC 4315) as a map from old to new UID. It comes with the completion of COPY, and in an
// untagged OK before the end of MOVE (RFC 6851).
class CopyResult final : public Handler {
 public:
  Ref<HashMap> mapping = make<HashMap>();

  bool data(std::uint32_t, std::string_view, WireReader&) override { return false; }

  void code(std::string_view name, WireReader& arguments) override {
    std::uint32_t validity = 0;
    std::vector<Range> from;
    std::vector<Range> to;
    if (name != "COPYUID" || !arguments.number(&validity) || !arguments.space() ||
        !arguments.sequenceSet(&from) || !arguments.space() || !arguments.sequenceSet(&to)) {
      return;
    }
    const AutoreleasePool pool;
    for (const auto& [left, right] : pairSets(from, to)) {
      mapping->setObjectForKey(Value::valueWithUnsignedIntValue(left),
                               Value::valueWithUnsignedIntValue(right));
    }
  }

  void take(const Completion& completion) {
    WireReader arguments(completion.arguments);
    code(completion.code, arguments);
  }
};

// One command for each piece of the set.
ErrorCode transfer(Connection& connection, std::string_view verb,
                   const std::vector<std::string>& sets, const std::string& destination,
                   ErrorCode refused, CopyResult* result) {
  for (const std::string& set : sets) {
    CommandWriter command = connection.command();
    command.raw(verb).raw(" ").raw(set).astring(destination);
    const Completion completion = connection.run(command);
    result->take(completion);
    const ErrorCode error = errorOf(connection, completion, refused);
    if (error != ErrorNone) {
      return error;
    }
  }
  return ErrorNone;
}

bool isFolderName(const Connection& connection, const std::string& name) {
  CommandWriter command = connection.command();
  return !name.empty() && command.astring(name).isValid();
}

}  // namespace

ErrorCode storeFlags(Connection& connection, const std::string& folder, const IndexSet* set,
                     bool byUid, IMAPStoreFlagsRequestKind kind, MessageFlag flags) {
  const char* const item = kind == IMAPStoreFlagsRequestKindAdd      ? " +FLAGS.SILENT ("
                           : kind == IMAPStoreFlagsRequestKindRemove ? " -FLAGS.SILENT ("
                           : kind == IMAPStoreFlagsRequestKindSet    ? " FLAGS.SILENT ("
                                                                     : nullptr;
  if (numberSets(set, kLastUid).empty() || item == nullptr) {
    return ErrorInvalidArgument;
  }
  Selection selection(connection, folder, viewFor(connection, folder, set, byUid), false);
  if (!selection.isPossible()) {
    return selection.finish();
  }
  // Numbers beyond the last message are an error to servers, where UIDs are none.
  const std::vector<std::string> sets =
      numberSets(set, byUid ? kLastUid : connection.selected()->exists);
  if (sets.empty()) {
    return ErrorStore;
  }
  std::vector<unsigned> tags;
  for (const std::string& piece : sets) {
    CommandWriter command = connection.command();
    command.raw(byUid ? "UID STORE " : "STORE ").raw(piece).raw(item);
    tags.push_back(connection.send(command.raw(messageFlagNames(flags)).raw(")")));
  }
  ErrorCode error = ErrorNone;
  for (const unsigned tag : tags) {
    const ErrorCode stored = errorOf(connection, connection.finish(tag), ErrorStore);
    error = error == ErrorNone ? stored : error;
  }
  return error;
}

ErrorCode copyMessages(Connection& connection, const std::string& folder, const IndexSet* uids,
                       const std::string& destination, Ref<HashMap>* mapping) {
  const std::vector<std::string> sets = numberSets(uids, kLastUid);
  if (sets.empty() || !isFolderName(connection, destination)) {
    return ErrorInvalidArgument;
  }
  Selection selection(connection, folder, viewFor(connection, folder, uids, true), false);
  if (!selection.isPossible()) {
    return selection.finish();
  }
  CopyResult result;
  const HandlerScope scope(connection, &result);
  ErrorCode error = transfer(connection, "UID COPY", sets, destination, ErrorCopy, &result);
  if (error == ErrorNone && connection.has(IMAPCapabilityUIDPlus)) {
    *mapping = result.mapping;
  }
  return error;
}

ErrorCode moveMessages(Connection& connection, const std::string& folder, const IndexSet* uids,
                       const std::string& destination, Ref<HashMap>* mapping) {
  const std::vector<std::string> sets = numberSets(uids, kLastUid);
  if (sets.empty() || !isFolderName(connection, destination)) {
    return ErrorInvalidArgument;
  }
  Selection selection(connection, folder, viewFor(connection, folder, uids, true), false);
  if (!selection.isPossible()) {
    return selection.finish();
  }
  CopyResult result;
  const HandlerScope scope(connection, &result);
  ErrorCode error = ErrorNone;
  if (connection.has(IMAPCapabilityMove)) {
    error = transfer(connection, "UID MOVE", sets, destination, ErrorMove, &result);
  } else {
    // Each piece is finished before the next one begins: a connection that is lost in between
    // leaves at most one piece in both folders, and never a message in neither.
    for (const std::string& set : sets) {
      error = transfer(connection, "UID COPY", {set}, destination, ErrorMove, &result);
      if (error != ErrorNone) {
        break;
      }
      CommandWriter store = connection.command();
      store.raw("UID STORE ").raw(set).raw(" +FLAGS.SILENT (\\Deleted)");
      error = errorOf(connection, connection.run(store), ErrorMove);
      // Without UIDPLUS there is no way to expunge these alone, so they stay, marked as deleted.
      if (error == ErrorNone && connection.has(IMAPCapabilityUIDPlus)) {
        CommandWriter command = connection.command();
        error =
            errorOf(connection, connection.run(command.raw("UID EXPUNGE ").raw(set)), ErrorMove);
      }
      if (error != ErrorNone) {
        break;
      }
    }
  }
  if (error == ErrorNone && connection.has(IMAPCapabilityUIDPlus)) {
    *mapping = result.mapping;
  }
  return error;
}

ErrorCode expunge(Connection& connection, const std::string& folder) {
  Selection selection(connection, folder, View::kUpToDate, false);
  if (!selection.isPossible()) {
    return selection.finish();
  }
  CommandWriter command = connection.command();
  const Completion completion = connection.run(command.raw("EXPUNGE"));
  return errorOf(connection, completion, ErrorExpunge);
}

}  // namespace brennox::imap
