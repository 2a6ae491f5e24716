#include "pop/Connection.h"

#include <algorithm>

#include "net/md5.h"

namespace brennox::pop {
namespace {

// An initial response that makes the command longer than this goes into a line of its own (RFC 5034
// section 4).
constexpr std::size_t kMaxAuthCommand = 255;
// Refused mechanisms before giving up: each refusal may count as a wrong password.
constexpr int kMaxMechanisms = 2;
// Challenges that no real mechanism comes near.
constexpr int kMaxSteps = 16;

std::string withNumber(const char* command, std::uint32_t index) {
  return std::string(command) + " " + std::to_string(index);
}

// Password-like text that is overwritten at the end of its scope.
struct Secret {
  std::string text;
  ~Secret() { net::wipe(&text); }
};

}  // namespace

ErrorCode Connection::open(const net::Endpoint& endpoint) {
  close();
  if (const ErrorCode error = stream_.open(endpoint); error != ErrorNone) {
    return error;
  }
  wire_ = std::make_unique<Wire>(stream_);
  if (!stream_.greeting().starts_with("+OK")) {
    close();
    return ErrorParse;
  }
  // The connection phase has asked already; after STARTTLS only what came encrypted is here.
  bool offered = true;
  for (const std::string& line : stream_.lines()) {
    if (line.starts_with("+OK") || line.starts_with("-ERR")) {
      offered = line.starts_with("+OK");
      capabilities_ = {};
    } else if (line == ".") {
      capabilities_.known = offered;
    } else if (offered) {
      addCapability(line, &capabilities_);
    }
  }
  return capabilities_.known ? ErrorNone : askCapabilities();
}

ErrorCode Connection::askCapabilities() {
  capabilities_ = {};
  const ErrorCode error = command("CAPA", ErrorCapability);
  if (error != ErrorNone) {
    // Old servers know no CAPA: they do USER, and TOP and UIDL show by trying.
    return isOpen() ? ErrorNone : error;
  }
  const auto add = [this](std::string_view line) {
    addCapability(line, &capabilities_);
    return true;
  };
  if (!wire_->lines(add)) {
    return failure();
  }
  capabilities_.known = true;
  return ErrorNone;
}

ErrorCode Connection::failure() {
  const ErrorCode error = stream_.error();
  if (error == ErrorNone) {
    return ErrorInvalidArgument;
  }
  close();
  return error;
}

ErrorCode Connection::refusal(Wire::Status status, ErrorCode refused) {
  switch (status) {
    case Wire::Status::kOk:
      return ErrorNone;
    case Wire::Status::kError:
      return errorOf(wire_->text(), refused);
    case Wire::Status::kContinue:
      stream_.fail(ErrorParse);
      break;
    case Wire::Status::kFailed:
      break;
  }
  return failure();
}

ErrorCode Connection::command(std::string_view text, ErrorCode refused) {
  if (!isOpen()) {
    return ErrorConnection;
  }
  if (!wire_->send({text})) {
    return failure();
  }
  return refusal(wire_->status(), refused);
}

ErrorCode Connection::login(AuthType type, const net::Credentials& credentials) {
  if (!credentials.areValid()) {
    return ErrorInvalidArgument;
  }
  if (capabilities_.utf8) {
    // Only a better form of texts and names (RFC 6856): its refusal changes nothing.
    if (const ErrorCode error = command("UTF8", ErrorNoop); !isOpen()) {
      return error;
    }
  }
  ErrorCode error = ErrorAuthenticationMechanism;
  if (type == AuthTypeSASLNone) {
    if (const std::string_view timestamp = apopTimestamp(stream_.greeting()); !timestamp.empty()) {
      error = apop(timestamp, credentials);
    }
  }
  // Only a refusal is worth another way; a mailbox in use or a lost connection stays so.
  const auto mayGoOn = [&] {
    return isOpen() && (error == ErrorAuthentication || error == ErrorAuthenticationMechanism);
  };
  int tried = 0;
  for (const std::string& mechanism :
       net::saslMechanisms(type, capabilities_.sasl, stream_.isEncrypted(), credentials)) {
    if (!mayGoOn() || ++tried > kMaxMechanisms) {
      break;
    }
    error = authenticate(mechanism, credentials);
  }
  const bool plainAllowed =
      type == AuthTypeSASLNone || (type & (AuthTypeSASLPlain | AuthTypeSASLLogin)) != 0;
  if (tried == 0 && mayGoOn() && plainAllowed && (capabilities_.user || !capabilities_.known)) {
    error = userAndPassword(credentials);
  }
  if (error == ErrorAuthenticationMechanism) {
    return error;
  }
  if (error == ErrorNone) {
    error = askCapabilitiesAgain();
  }
  loggedIn_ = error == ErrorNone;
  if (!loggedIn_) {
    // Many servers hang up after a refusal; a later try would find the connection dead.
    close();
  }
  return error;
}

ErrorCode Connection::askCapabilitiesAgain() {
  if (!capabilities_.known || (capabilities_.uidl && capabilities_.top)) {
    return ErrorNone;
  }
  const Capabilities before = capabilities_;
  const ErrorCode error = askCapabilities();
  if (error == ErrorNone && !capabilities_.known) {
    capabilities_ = before;
  }
  return error;
}

ErrorCode Connection::apop(std::string_view timestamp, const net::Credentials& credentials) {
  Secret text{std::string(timestamp) + credentials.password};
  const std::string digest = net::md5Hex(text.text);
  if (digest.empty()) {
    return ErrorAuthenticationMechanism;
  }
  return command("APOP " + credentials.username + " " + digest, ErrorAuthentication);
}

ErrorCode Connection::userAndPassword(const net::Credentials& credentials) {
  if (const ErrorCode error = command("USER " + credentials.username, ErrorAuthentication);
      error != ErrorNone) {
    return error;
  }
  const Secret pass{"PASS " + credentials.password};
  return command(pass.text, ErrorAuthentication);
}

ErrorCode Connection::authenticate(std::string_view mechanism,
                                   const net::Credentials& credentials) {
  const std::unique_ptr<net::SaslClient> client = net::SaslClient::start(mechanism, credentials);
  if (client == nullptr) {
    return ErrorAuthenticationMechanism;
  }
  using Step = net::SaslClient::Step;
  Secret line{"AUTH " + std::string(mechanism)};
  // The initial response, until it has been sent.
  Secret initial;
  bool hasInitial = false;
  if (client->isClientFirst()) {
    if (client->next("", &initial.text) == Step::kFailed) {
      return ErrorAuthentication;
    }
    hasInitial = line.text.size() + 1 + initial.text.size() > kMaxAuthCommand;
    if (!hasInitial) {
      line.text += " " + (initial.text.empty() ? std::string("=") : initial.text);
    }
  }
  if (!wire_->send({line.text})) {
    return failure();
  }
  for (int step = 0; step < kMaxSteps; ++step) {
    const Wire::Status status = wire_->status();
    if (status != Wire::Status::kContinue) {
      const ErrorCode error = refusal(status, ErrorAuthentication);
      if (error == ErrorNone && !client->isComplete()) {
        // Success from a server that has not proved itself where the mechanism demands it.
        close();
        return ErrorAuthentication;
      }
      return error;
    }
    Secret answer;
    if (hasInitial) {
      std::swap(answer.text, initial.text);
      hasInitial = false;
    } else if (client->next(wire_->text(), &answer.text) == Step::kFailed) {
      answer.text = "*";
    }
    if (!wire_->send({answer.text})) {
      return failure();
    }
  }
  stream_.fail(ErrorLimitExceeded);
  return failure();
}

ErrorCode Connection::noop() {
  return command("NOOP", ErrorNoop);
}

ErrorCode Connection::list() {
  listing_.clear();
  const auto read = [&](const auto& each) {
    const ErrorCode error = refusal(wire_->status(), ErrorFetchMessageList);
    return error == ErrorNone && !wire_->lines(each) ? failure() : error;
  };
  if (!isOpen()) {
    return ErrorConnection;
  }
  const bool askUids = capabilities_.uidl || !capabilities_.known;
  const bool together = askUids && capabilities_.pipelining;
  if (!(together ? wire_->send({"LIST", "UIDL"}) : wire_->send({"LIST"}))) {
    return failure();
  }
  const ErrorCode sizes = read([this](std::string_view line) { return listing_.addSize(line); });
  ErrorCode uids = ErrorFetchMessageList;
  if (isOpen() && askUids) {
    if (!together && !wire_->send({"UIDL"})) {
      return failure();
    }
    uids = read([this](std::string_view line) { return listing_.addUid(line); });
  }
  // One of the two is enough, as long as the connection has survived both.
  if (!isOpen()) {
    return sizes != ErrorNone ? sizes : uids;
  }
  return uids == ErrorNone ? ErrorNone : sizes;
}

ErrorCode Connection::confirm(std::uint32_t index, const std::string& uid) {
  if (uid.empty() || (capabilities_.known && !capabilities_.uidl)) {
    return ErrorNone;
  }
  if (const Entry* const listed = listing_.find(index)) {
    return listed->uid == uid ? ErrorNone : ErrorFetch;
  }
  if (const ErrorCode error = command(withNumber("UIDL", index), ErrorFetch); error != ErrorNone) {
    return error;
  }
  const auto parsed = listLine(wire_->text());
  return parsed && parsed->index == index && parsed->value == uid ? ErrorNone : ErrorFetch;
}

ErrorCode Connection::multiLine(std::string_view text, std::size_t expected,
                                const Progress& progress, Ref<Data>* out) {
  if (const ErrorCode error = command(text, ErrorFetch); error != ErrorNone) {
    return error;
  }
  if (expected == 0) {
    // Many servers say "+OK 1234 octets".
    expected = number(wire_->text()).value_or(0);
  }
  *out = wire_->multiLine(expected, kMaxMessage, [&](std::size_t current) {
    if (progress) {
      progress(current, std::max(current, expected));
    }
  });
  return *out ? ErrorNone : failure();
}

ErrorCode Connection::retrieve(std::uint32_t index, const Progress& progress, Ref<Data>* message) {
  const Entry* const listed = listing_.find(index);
  return multiLine(withNumber("RETR", index), listed == nullptr ? 0 : listed->size, progress,
                   message);
}

ErrorCode Connection::retrieveHeader(std::uint32_t index, Ref<Data>* header) {
  if (capabilities_.top || !capabilities_.known) {
    const ErrorCode error = multiLine(withNumber("TOP", index) + " 0", 4096, nullptr, header);
    if (error == ErrorNone || !isOpen() || capabilities_.top) {
      return error;
    }
  }
  return retrieve(index, nullptr, header);
}

ErrorCode Connection::remove(std::uint32_t index) {
  return command(withNumber("DELE", index), ErrorDeleteMessage);
}

void Connection::quit() {
  if (isOpen()) {
    command("QUIT", ErrorConnection);
  }
  close();
}

void Connection::close() {
  stream_.close();
  wire_.reset();
  capabilities_ = {};
  listing_.clear();
  loggedIn_ = false;
}

}  // namespace brennox::pop
