// FETCH and UID FETCH.
#include <unordered_map>

#include "imap/MessageList.h"
#include "imap/commands.h"
#include "imap/number_sets.h"

namespace brennox::imap {
namespace {

// A listing's answers hold headers, never bodies.
constexpr ResponseLimits kListLimits = {16 * 1024 * 1024, SIZE_MAX, 0};
// Smaller contents are copied, larger ones are read into blocks of their own.
constexpr ResponseLimits kBodyLimits = {16 * 1024 * 1024, 4096, std::size_t{1} << 30};
// Servers need not read lines beyond 8192 bytes (RFC 7162 section 4).
constexpr std::size_t kMaxItems = 7000;

std::string itemsOf(IMAPMessagesRequestKind kind, bool modSeq) {
  std::string items = "(UID";
  items += (kind & IMAPMessagesRequestKindFlags) != 0 ? " FLAGS" : "";
  items += (kind & IMAPMessagesRequestKindInternalDate) != 0 ? " INTERNALDATE" : "";
  // Cheap, and nobody shows a list of messages without.
  const int withSize = IMAPMessagesRequestKindSize | IMAPMessagesRequestKindHeaders |
                       IMAPMessagesRequestKindStructure;
  items += (kind & withSize) != 0 ? " RFC822.SIZE" : "";
  items += (kind & IMAPMessagesRequestKindHeaders) != 0 ? " ENVELOPE" : "";
  items += (kind & IMAPMessagesRequestKindStructure) != 0 ? " BODYSTRUCTURE" : "";
  if ((kind & IMAPMessagesRequestKindFullHeaders) != 0) {
    items += " BODY.PEEK[HEADER]";
  } else if ((kind & IMAPMessagesRequestKindHeaderSubject) != 0) {
    items += " BODY.PEEK[HEADER.FIELDS (SUBJECT)]";
  }
  return items + (modSeq ? " MODSEQ)" : ")");
}

// The items of each command that it takes to ask for the sections.
std::vector<std::string> sectionItems(const std::vector<std::string>& sections) {
  std::vector<std::string> pieces;
  for (const std::string& section : sections) {
    const std::string item = "BODY.PEEK[" + section + "]";
    if (pieces.empty() || pieces.back().size() + item.size() >= kMaxItems) {
      pieces.push_back(item);
    } else {
      pieces.back() += " " + item;
    }
  }
  return pieces;
}

// The sections of one message.
class Sections final : public Handler {
 public:
  Sections(Connection& connection, std::uint32_t number, bool byUid,
           const std::vector<std::string>& names, std::vector<Ref<Data>>* contents)
      : connection_(connection), number_(number), byUid_(byUid), contents_(contents) {
    contents_->assign(names.size(), nullptr);
    for (std::size_t i = 0; i < names.size(); ++i) {
      places_.emplace(upperCase(names[i]), i);
    }
  }

  bool data(std::uint32_t number, std::string_view name, WireReader& reader) override {
    if (!sameKeyword(name, "FETCH")) {
      return false;
    }
    FetchItems items;
    readFetchItems(reader, &items);
    // Servers that leave the UID out of the answer to UID FETCH answer nothing else either.
    connection_.sawUid(items.uid.value_or(0));
    if (byUid_ ? items.uid.value_or(number_) != number_ : number != number_) {
      return false;
    }
    bool isNew = false;
    for (const auto& [section, text] : items.sections) {
      const auto [first, last] = places_.equal_range(upperCase(section));
      for (auto place = first; place != last && !text.nil; ++place) {
        Ref<Data>& content = (*contents_)[place->second];
        isNew = isNew || !content;
        content = dataOf(text);
      }
    }
    return isNew;
  }

 private:
  static Ref<Data> dataOf(const Text& text) {
    if (text.block) {
      return make<Data>(text.block);
    }
    const std::string bytes = text.str();
    return make<Data>(bytes.data(), bytes.size());
  }

  Connection& connection_;
  const std::uint32_t number_;
  const bool byUid_;
  std::unordered_multimap<std::string, std::size_t> places_;
  std::vector<Ref<Data>>* contents_;
};

}  // namespace

ErrorCode fetchMessages(Connection& connection, const std::string& folder,
                        const FetchRequest& request, Ref<Array>* messages,
                        Ref<IndexSet>* vanished) {
  const bool tellsVanished = request.sync && connection.isQResyncEnabled();
  // "*" is the last message that is there, and those that vanished may have stood behind it.
  const std::vector<std::string> sets =
      numberSets(request.set, tellsVanished ? kLastUid : kOpenEnd);
  if (sets.empty()) {
    return ErrorInvalidArgument;
  }
  MessageList list(connection, request);
  const HandlerScope scope(connection, &list);
  connection.setLimits(kListLimits);
  const bool condstore = request.sync && connection.has(IMAPCapabilityCondstore);
  std::string changed;
  if (condstore && request.changedSince > 0) {
    changed = " (CHANGEDSINCE " + std::to_string(request.changedSince) +
              (tellsVanished ? " VANISHED)" : ")");
  }
  const std::string items = itemsOf(request.kind, condstore);
  Selection selection(connection, folder, View::kUpToDate, true);
  if (!selection.isPossible()) {
    return selection.finish();
  }
  if (!request.byUid) {
    // Where there are no messages every number is wrong, and servers say so.
    const ErrorCode error = selection.finish();
    if (error != ErrorNone || connection.selected()->exists == 0) {
      *messages = error == ErrorNone ? list.messages() : nullptr;
      return error;
    }
  }
  std::vector<unsigned> tags;
  for (const std::string& set : sets) {
    CommandWriter command = connection.command();
    command.raw(request.byUid ? "UID FETCH " : "FETCH ").raw(set).raw(" ").raw(items).raw(changed);
    tags.push_back(connection.send(command));
  }
  ErrorCode error = selection.finish();
  for (const unsigned tag : tags) {
    const ErrorCode fetched =
        errorOf(connection, connection.finish(tag), request.sync ? ErrorSync : ErrorFetch);
    error = error == ErrorNone ? fetched : error;
  }
  if (error != ErrorNone) {
    return error;
  }
  // They may have come and gone unseen, or be numbers that no message has had yet.
  if (list.hasUnknownVanished()) {
    error = askUidNext(connection, folder);
    if (error != ErrorNone) {
      return error;
    }
  }
  list.finish();
  *messages = list.messages();
  if (tellsVanished) {
    *vanished = list.vanished();
  }
  return ErrorNone;
}

ErrorCode fetchSections(Connection& connection, const std::string& folder, std::uint32_t number,
                        bool byUid, const std::vector<std::string>& sections,
                        const FetchRequest& request, std::vector<Ref<Data>>* contents) {
  if (number == 0 || sections.empty()) {
    return ErrorInvalidArgument;
  }
  Sections handler(connection, number, byUid, sections, contents);
  const HandlerScope scope(connection, &handler);
  connection.setLimits(kBodyLimits);
  if (request.progress != nullptr) {
    connection.setProgress([&request](std::size_t current, std::size_t maximum) {
      request.progress->bodyProgress(request.session, static_cast<unsigned int>(current),
                                     static_cast<unsigned int>(maximum));
    });
  }
  const auto set = make<IndexSet>();
  set->addIndex(number);
  Selection selection(connection, folder, viewFor(connection, folder, set.get(), byUid), true);
  if (!selection.isPossible()) {
    return selection.finish();
  }
  if (!byUid) {
    const ErrorCode error = selection.finish();
    if (error != ErrorNone || connection.selected()->exists < number) {
      return error;
    }
  }
  std::vector<unsigned> tags;
  for (const std::string& items : sectionItems(sections)) {
    CommandWriter command = connection.command();
    command.raw(byUid ? "UID FETCH " : "FETCH ").raw(std::to_string(number));
    tags.push_back(connection.send(command.raw(" (").raw(items).raw(")")));
  }
  ErrorCode error = selection.finish();
  for (const unsigned tag : tags) {
    const ErrorCode fetched = errorOf(connection, connection.finish(tag), ErrorFetch);
    error = error == ErrorNone ? fetched : error;
  }
  if (error != ErrorNone) {
    return error;
  }
  // The answer came and could not be read: that is not the same as no message.
  const bool nothing = !contents->front();
  return nothing && connection.hasProtocolError() ? ErrorParse : ErrorNone;
}

}  // namespace brennox::imap
