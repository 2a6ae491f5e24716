#include <brennox/Array.h>
#include <brennox/Data.h>
#include <brennox/HashMap.h>
#include <brennox/IMAPFolderInfo.h>
#include <brennox/IMAPFolderStatus.h>
#include <brennox/IMAPPart.h>
#include <brennox/IMAPSession.h>
#include <brennox/IMAPSyncResult.h>
#include <brennox/IndexSet.h>
#include <brennox/String.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>

#include "imap/Connection.h"
#include "imap/TicketLock.h"
#include "imap/commands.h"
#include "imap/flag_names.h"
#include "net/settings.h"
#include "platform/socket.h"
#include "text/ascii.h"
#include "text/base64.h"
#include "text/quoted_printable.h"

namespace brennox {
namespace {

std::string name(String* folder) {
  return imap::folderName(textOf(folder));
}

void report(ErrorCode* error, ErrorCode value) {
  if (error != nullptr) {
    *error = value;
  }
}

}  // namespace

struct IMAPSession::State {
  explicit State(net::Settings& of) : settings(of) {}

  // Serialises the operations. Guards `connection`, `namespaces` and `exclusive`.
  imap::TicketLock operations;
  // Whether the turn is an Exclusive's, within which operations follow one another.
  bool exclusive = false;
  imap::Connection connection;
  imap::Namespaces namespaces;

  net::Settings& settings;

  // Guards what follows: what other threads may ask about the session while an operation runs.
  std::mutex lock;
  bool running = false;
  bool connected = false;
  bool qresync = false;
  Ref<IndexSet> capabilities;
  std::uint32_t uidNext = 0;
  std::uint32_t uidValidity = 0;
  std::uint64_t modSequence = 0;

  template <class T>
  T get(const T& member) {
    const std::lock_guard<std::mutex> guard(lock);
    return member;
  }

  void publish();
  ErrorCode connect();
  ErrorCode login();
};

void IMAPSession::State::publish() {
  const std::lock_guard<std::mutex> guard(lock);
  connected = connection.isOpen();
  qresync = connection.isQResyncEnabled();
  if (connection.knowsCapabilities()) {
    const imap::Capabilities& known = connection.capabilities();
    capabilities = make<IndexSet>();
    for (std::size_t i = 0; i < known.size(); ++i) {
      if (known.test(i)) {
        capabilities->addIndex(i);
      }
    }
  }
  const imap::SelectedFolder* const folder = connection.selected();
  uidNext = folder == nullptr ? 0 : std::max(folder->uidNext, folder->afterAppended);
  uidValidity = folder == nullptr ? 0 : folder->uidValidity;
  modSequence = folder == nullptr ? 0 : folder->highestModSeq;
}

ErrorCode IMAPSession::State::connect() {
  if (connection.isOpen()) {
    return ErrorNone;
  }
  namespaces = imap::Namespaces();
  return connection.open(settings.endpoint(net::Protocol::kImap));
}

ErrorCode IMAPSession::State::login() {
  net::Credentials credentials;
  settings.fill(&credentials, net::Protocol::kImap);
  return imap::logIn(connection, credentials, settings.authType());
}

namespace {

enum class Needs { kNothing, kConnection, kLogin };

}  // namespace

// One operation, from taking its turn to giving it up. `error` is that of the last step.
class IMAPSession::Operation {
 public:
  Operation(State& state, Needs needs, ErrorCode* out) : state_(state), out_(out) {
    const bool mine = state.operations.lock();
    if (!mine && (!state.exclusive || state.get(state.running))) {
      // Called from within an operation of this session (a progress callback).
      error = ErrorInvalidArgument;
      return;
    }
    locked_ = true;
    endsTurn_ = mine;
    begin(needs);
  }

  // Takes over a turn that was given already.
  struct Adopt {};
  Operation(State& state, Adopt) : state_(state), locked_(true), endsTurn_(true) {
    begin(Needs::kNothing);
  }

  ~Operation() {
    if (!locked_) {
      report(out_, error);
      return;
    }
    // A lost connection, and one that an exception left in the middle of an answer, is of no use to
    // the next operation.
    if (std::uncaught_exceptions() > exceptions_ ||
        (state_.connection.isOpen() && state_.connection.stream().error() != ErrorNone)) {
      state_.connection.close();
    }
    state_.publish();
    {
      const std::lock_guard<std::mutex> guard(state_.lock);
      state_.running = false;
    }
    state_.connection.setProgress(nullptr);
    if (endsTurn_) {
      state_.operations.unlock();
    }
    report(out_, error);
  }

  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  bool isReady() const noexcept { return error == ErrorNone; }
  imap::Connection& connection() noexcept { return state_.connection; }

  ErrorCode error = ErrorNone;

 private:
  void begin(Needs needs) {
    {
      const std::lock_guard<std::mutex> guard(state_.lock);
      state_.running = true;
      state_.connection.stream().resetCancel();
    }
    state_.connection.begin();
    if (needs != Needs::kNothing) {
      error = state_.connect();
    }
    if (needs == Needs::kLogin && error == ErrorNone) {
      error = state_.login();
    }
  }

  State& state_;
  ErrorCode* out_ = nullptr;
  bool locked_ = false;
  bool endsTurn_ = false;
  int exceptions_ = std::uncaught_exceptions();
  platform::BrokenPipeGuard quiet_;
};

IMAPSession::IMAPSession() : state_(std::make_unique<State>(settings())) {}
IMAPSession::~IMAPSession() = default;

IMAPSession::Exclusive::Exclusive(IMAPSession* session)
    : session_(session), outermost_(session->state_->operations.lock()) {
  if (outermost_) {
    session_->state_->exclusive = true;
  }
}

IMAPSession::Exclusive::~Exclusive() {
  if (outermost_) {
    session_->state_->exclusive = false;
    session_->state_->operations.unlock();
  }
}

void IMAPSession::connectIfNeeded(ErrorCode* error) {
  Operation operation(*state_, Needs::kNothing, error);
  if (operation.isReady()) {
    if (!operation.connection().isAlive()) {
      operation.connection().close();
    }
    operation.error = state_->connect();
  }
}

void IMAPSession::loginIfNeeded(ErrorCode* error) {
  Operation operation(*state_, Needs::kNothing, error);
  if (operation.isReady()) {
    if (!operation.connection().isAlive()) {
      operation.connection().close();
    }
    operation.error = state_->connect();
  }
  if (operation.isReady()) {
    operation.error = state_->login();
  }
}

void IMAPSession::disconnect() {
  Operation operation(*state_, Needs::kNothing, nullptr);
  if (operation.isReady() && operation.connection().isOpen()) {
    imap::logOut(operation.connection());
  }
}

bool IMAPSession::isDisconnected() {
  if (!state_->operations.tryLock()) {
    return !state_->get(state_->connected);
  }
  Operation operation(*state_, Operation::Adopt{});
  return !operation.connection().isAlive();
}

void IMAPSession::cancel() {
  const std::lock_guard<std::mutex> guard(state_->lock);
  if (state_->running) {
    state_->connection.stream().cancel();
  }
}

void IMAPSession::noop(ErrorCode* error) {
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error = imap::noop(operation.connection());
  }
}

IndexSet* IMAPSession::capability(ErrorCode* error) {
  {
    Operation operation(*state_, Needs::kLogin, error);
    if (operation.isReady()) {
      operation.connection().forgetCapabilities();
      operation.error = imap::askCapabilities(operation.connection());
    }
    if (!operation.isReady()) {
      return nullptr;
    }
  }
  return storedCapabilities();
}

IndexSet* IMAPSession::storedCapabilities() {
  return state_->get(state_->capabilities).autoreleased();
}

bool IMAPSession::isQResyncEnabled() {
  return state_->get(state_->qresync);
}

Array* IMAPSession::fetchAllFolders(ErrorCode* error) {
  Ref<Array> folders;
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error =
        imap::listFolders(operation.connection(), false, &state_->namespaces, &folders);
  }
  return folders.autoreleased();
}

Array* IMAPSession::fetchSubscribedFolders(ErrorCode* error) {
  Ref<Array> folders;
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error =
        imap::listFolders(operation.connection(), true, &state_->namespaces, &folders);
  }
  return folders.autoreleased();
}

void IMAPSession::createFolder(String* folder, ErrorCode* error) {
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error = imap::createFolder(operation.connection(), name(folder), "");
  }
}

void IMAPSession::createSpecialFolder(String* folder, unsigned int* kind, ErrorCode* error) {
  const std::string_view use = kind == nullptr ? "" : imap::specialUseName(*kind);
  if (use.empty()) {
    report(error, ErrorInvalidArgument);
    return;
  }
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error = imap::createFolder(operation.connection(), name(folder), use);
  }
}

void IMAPSession::renameFolder(String* folder, String* newName, ErrorCode* error) {
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error = imap::renameFolder(operation.connection(), name(folder), name(newName));
  }
}

void IMAPSession::deleteFolder(String* folder, ErrorCode* error) {
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error = imap::deleteFolder(operation.connection(), name(folder));
  }
}

void IMAPSession::subscribeFolder(String* folder, ErrorCode* error) {
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error = imap::subscribeFolder(operation.connection(), name(folder), true);
  }
}

void IMAPSession::unsubscribeFolder(String* folder, ErrorCode* error) {
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error = imap::subscribeFolder(operation.connection(), name(folder), false);
  }
}

IMAPFolderStatus* IMAPSession::folderStatus(String* folder, ErrorCode* error) {
  const Ref<IMAPFolderStatus> status = make<IMAPFolderStatus>();
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error = imap::folderStatus(operation.connection(), name(folder), status.get());
  }
  return operation.isReady() ? status.autoreleased() : nullptr;
}

void IMAPSession::select(String* folder, ErrorCode* error) {
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error = imap::selectFolder(operation.connection(), name(folder));
  }
}

// UIDNEXT of a folder that stays selected goes stale without a word, so this asks, too. Not by
// STATUS, quick as it is: of a selected folder Dovecot 2.3 needs NOOP's answer first, and after
// some 1,900 such pairs its process has used up the memory that it is allowed, and ends.
void IMAPSession::selectIfNeeded(String* folder, ErrorCode* error) {
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady() && !operation.connection().takeAppended(name(folder))) {
    operation.error = imap::selectFolder(operation.connection(), name(folder));
  }
}

std::uint32_t IMAPSession::appended(String* folder, const char* answer) {
  Operation operation(*state_, Needs::kNothing, nullptr);
  return operation.isReady() ? operation.connection().appended(name(folder), answer) : 0;
}

IMAPFolderInfo* IMAPSession::folderInfo(String* folder, ErrorCode* error) {
  const Ref<IMAPFolderInfo> info = make<IMAPFolderInfo>();
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error = imap::folderInfo(operation.connection(), name(folder), info.get());
  }
  return operation.isReady() ? info.autoreleased() : nullptr;
}

std::uint32_t IMAPSession::uidNext() {
  return state_->get(state_->uidNext);
}

std::uint32_t IMAPSession::uidValidity() {
  return state_->get(state_->uidValidity);
}

std::uint64_t IMAPSession::modSequenceValue() {
  return state_->get(state_->modSequence);
}

Array* IMAPSession::fetchMessagesByUID(String* folder, IMAPMessagesRequestKind kind, IndexSet* uids,
                                       IMAPProgressCallback* progress, ErrorCode* error) {
  Ref<Array> messages;
  Ref<IndexSet> vanished;
  const imap::FetchRequest request{this, progress, kind, uids, true, false, 0};
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error =
        imap::fetchMessages(operation.connection(), name(folder), request, &messages, &vanished);
  }
  return messages.autoreleased();
}

Array* IMAPSession::fetchMessagesByNumber(String* folder, IMAPMessagesRequestKind kind,
                                          IndexSet* numbers, IMAPProgressCallback* progress,
                                          ErrorCode* error) {
  Ref<Array> messages;
  Ref<IndexSet> vanished;
  const imap::FetchRequest request{this, progress, kind, numbers, false, false, 0};
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error =
        imap::fetchMessages(operation.connection(), name(folder), request, &messages, &vanished);
  }
  return messages.autoreleased();
}

Data* IMAPSession::fetchMessage(String* folder, unsigned int number, bool byUid,
                                IMAPProgressCallback* progress, ErrorCode* error) {
  std::vector<Ref<Data>> contents(1);
  imap::FetchRequest request;
  request.session = this;
  request.progress = progress;
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error = imap::fetchSections(operation.connection(), name(folder), number, byUid, {""},
                                          request, &contents);
  }
  return operation.isReady() ? contents[0].autoreleased() : nullptr;
}

Data* IMAPSession::fetchMessageByUID(String* folder, unsigned int uid,
                                     IMAPProgressCallback* progress, ErrorCode* error) {
  return fetchMessage(folder, uid, true, progress, error);
}

Data* IMAPSession::fetchMessageByNumber(String* folder, unsigned int number,
                                        IMAPProgressCallback* progress, ErrorCode* error) {
  return fetchMessage(folder, number, false, progress, error);
}

namespace {

// "1.2", "2.MIME", and "TEXT" for the body of a message that is one part.
std::string sectionOf(IMAPPart* part) {
  const std::string_view id = textOf(part->partID());
  return id.empty() ? "TEXT" : std::string(id);
}

bool isSection(std::string_view section) {
  return !section.empty() && section.find_first_not_of("0123456789.ABCDEFGHIJKLMNOPQRSTUVWXYZ") ==
                                 std::string_view::npos;
}

// What the part carries, its transfer encoding removed.
Ref<Data> decoded(const Ref<Data>& encoded, std::string_view encoding) {
  const std::string_view bytes = encoded->view();
  if (text::equalsIgnoringCase(encoding, "base64")) {
    Ref<Block> block = Block::allocate(text::base64DecodedBound(bytes.size()));
    block->truncate(text::base64Decode(bytes, block->bytes()));
    return make<Data>(std::move(block));
  }
  if (text::equalsIgnoringCase(encoding, "quoted-printable")) {
    Ref<Block> block = Block::allocate(bytes.size());
    block->truncate(text::quotedPrintableDecode(bytes, block->bytes()));
    return make<Data>(std::move(block));
  }
  return encoded;
}

}  // namespace

Data* IMAPSession::fetchPartByUID(String* folder, unsigned int uid, IMAPPart* part,
                                  ErrorCode* error) {
  if (part == nullptr) {
    report(error, ErrorInvalidArgument);
    return nullptr;
  }
  HashMap* const contents = fetchPartsByUID(folder, uid, Array::arrayWithObject(part), error);
  return contents == nullptr || contents->count() == 0
             ? nullptr
             : static_cast<Data*>(contents->allValues()->objectAtIndex(0));
}

HashMap* IMAPSession::fetchPartsByUID(String* folder, unsigned int uid, Array* parts,
                                      ErrorCode* error) {
  std::vector<std::string> sections;
  for (unsigned int i = 0; parts != nullptr && i < parts->count(); ++i) {
    sections.push_back(sectionOf(parts->at<IMAPPart>(i)));
    if (!isSection(sections.back())) {
      report(error, ErrorInvalidArgument);
      return nullptr;
    }
  }
  std::vector<Ref<Data>> contents;
  {
    imap::FetchRequest request;
    request.session = this;
    Operation operation(*state_, Needs::kLogin, error);
    if (operation.isReady()) {
      operation.error = imap::fetchSections(operation.connection(), name(folder), uid, true,
                                            sections, request, &contents);
    }
    if (!operation.isReady()) {
      return nullptr;
    }
  }
  HashMap* const result = HashMap::hashMap();
  for (unsigned int i = 0; i < contents.size(); ++i) {
    if (contents[i]) {
      auto* const part = parts->at<IMAPPart>(i);
      result->setObjectForKey(make<String>(std::string(textOf(part->partID()))).get(),
                              decoded(contents[i], textOf(part->encoding())).get());
    }
  }
  return result;
}

IMAPSyncResult* IMAPSession::syncMessagesByUID(String* folder, IMAPMessagesRequestKind kind,
                                               IndexSet* uids, std::uint64_t modSequence,
                                               IMAPProgressCallback* progress, ErrorCode* error) {
  Ref<Array> messages;
  Ref<IndexSet> vanished;
  const imap::FetchRequest request{this, progress, kind, uids, true, true, modSequence};
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error =
        imap::fetchMessages(operation.connection(), name(folder), request, &messages, &vanished);
  }
  if (!operation.isReady()) {
    return nullptr;
  }
  auto* const result = makeAutoreleased<IMAPSyncResult>();
  result->setModifiedOrAddedMessages(messages.get());
  result->setVanishedMessages(vanished.get());
  return result;
}

void IMAPSession::storeFlagsByUID(String* folder, IndexSet* uids, IMAPStoreFlagsRequestKind kind,
                                  MessageFlag flags, ErrorCode* error) {
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error =
        imap::storeFlags(operation.connection(), name(folder), uids, true, kind, flags);
  }
}

void IMAPSession::storeFlagsByNumber(String* folder, IndexSet* numbers,
                                     IMAPStoreFlagsRequestKind kind, MessageFlag flags,
                                     ErrorCode* error) {
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error =
        imap::storeFlags(operation.connection(), name(folder), numbers, false, kind, flags);
  }
}

void IMAPSession::copyMessages(String* folder, IndexSet* uids, String* destination,
                               HashMap** uidMapping, ErrorCode* error) {
  Ref<HashMap> mapping;
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error =
        imap::copyMessages(operation.connection(), name(folder), uids, name(destination), &mapping);
  }
  if (uidMapping != nullptr) {
    *uidMapping = mapping.autoreleased();
  }
}

void IMAPSession::moveMessages(String* folder, IndexSet* uids, String* destination,
                               HashMap** uidMapping, ErrorCode* error) {
  Ref<HashMap> mapping;
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error =
        imap::moveMessages(operation.connection(), name(folder), uids, name(destination), &mapping);
  }
  if (uidMapping != nullptr) {
    *uidMapping = mapping.autoreleased();
  }
}

void IMAPSession::expunge(String* folder, ErrorCode* error) {
  Operation operation(*state_, Needs::kLogin, error);
  if (operation.isReady()) {
    operation.error = imap::expunge(operation.connection(), name(folder));
  }
}

}  // namespace brennox
