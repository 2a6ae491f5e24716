// AUTHENTICATE, LOGIN, CAPABILITY, ENABLE, COMPRESS, NOOP, LOGOUT.
#include "imap/commands.h"

namespace brennox::imap {
namespace {

// No mechanism asks that often.
constexpr int kMaxRounds = 16;
constexpr std::chrono::seconds kFarewell{5};

ErrorCode errorOfLogin(const Connection& connection, const Completion& completion) {
  if (completion.isLost()) {
    return connection.error();
  }
  // RFC 5530. Anything else, and most servers say nothing, is a refusal.
  for (const char* code :
       {"UNAVAILABLE", "INUSE", "LIMIT", "CONTACTADMIN", "SERVERBUG", "THROTTLED", "OVERQUOTA"}) {
    if (completion.code == code) {
      return ErrorAccountUnavailable;
    }
  }
  return completion.code == "PRIVACYREQUIRED" ? ErrorAuthenticationMechanism : ErrorAuthentication;
}

Completion failed() {
  Completion completion;
  completion.result = Completion::Result::kNo;
  return completion;
}

Completion authenticate(Connection& connection, const std::string& mechanism,
                        const net::Credentials& credentials) {
  const auto client = net::SaslClient::start(mechanism, credentials);
  if (client == nullptr) {
    return failed();
  }
  CommandWriter command = connection.command();
  command.raw("AUTHENTICATE ").raw(mechanism);
  bool started = !client->isClientFirst();
  std::string answer;
  if (client->isClientFirst() && connection.has(IMAPCapabilitySASLIR)) {
    if (client->next("", &answer) == net::SaslClient::Step::kFailed) {
      return failed();
    }
    command.raw(" ").raw(answer.empty() ? "=" : answer);
    net::wipe(&answer);
    started = true;
  }
  const unsigned tag = connection.send(command);
  command.wipe();
  bool cancelled = false;
  std::string challenge;
  Completion completion;
  for (int round = 0; connection.continuation(tag, &challenge, &completion); ++round) {
    const auto step = client->next(started ? challenge : std::string(), &answer);
    started = true;
    cancelled = cancelled || step == net::SaslClient::Step::kFailed || round >= kMaxRounds;
    if (round > 2 * kMaxRounds) {
      connection.stream().fail(ErrorParse);
    }
    connection.sendLine(cancelled ? "*" : answer);
    net::wipe(&answer);
  }
  completion = connection.finish(tag);
  if (completion.isOk() && (cancelled || !client->isComplete())) {
    // A server that is content without having proved that it knows the password is not ours.
    connection.stream().fail(ErrorAuthentication);
    return {};
  }
  return completion;
}

Completion login(Connection& connection, const net::Credentials& credentials) {
  CommandWriter command = connection.command();
  command.raw("LOGIN").astring(credentials.username).astring(credentials.password);
  if (!command.isValid()) {
    return failed();
  }
  const unsigned tag = connection.send(command);
  command.wipe();
  return connection.finish(tag);
}

bool isPlain(const std::string& mechanism) {
  return mechanism == "PLAIN" || mechanism == "LOGIN";
}

// Tries the mechanisms in order. A refusal counts against the account, so at most one plain
// mechanism is tried after a stronger one: servers that keep only hashes offer what they cannot
// check.
ErrorCode tryMechanisms(Connection& connection, const net::Credentials& credentials,
                        const std::vector<std::string>& mechanisms, bool mayLogin) {
  Completion completion;
  bool refused = false;
  bool refusedPlain = false;
  for (const std::string& mechanism : mechanisms) {
    if (refusedPlain || (refused && !isPlain(mechanism))) {
      continue;
    }
    completion = authenticate(connection, mechanism, credentials);
    if (completion.isOk() || completion.isLost()) {
      return completion.isOk() ? ErrorNone : connection.error();
    }
    // BAD is no refusal: the server does not know what it offers.
    refused = refused || completion.result == Completion::Result::kNo;
    refusedPlain = refusedPlain || (refused && isPlain(mechanism));
  }
  if (!refusedPlain && mayLogin) {
    completion = login(connection, credentials);
    if (completion.isOk()) {
      return ErrorNone;
    }
    refused = true;
  }
  return refused || !mechanisms.empty() ? errorOfLogin(connection, completion)
                                        : ErrorAuthenticationMechanism;
}

void enable(Connection& connection) {
  unsigned enableTag = 0;
  unsigned compressTag = 0;
  if (connection.has(IMAPCapabilityEnable) && connection.has(IMAPCapabilityCondstore)) {
    CommandWriter command = connection.command();
    command.raw(connection.has(IMAPCapabilityQResync) ? "ENABLE QRESYNC" : "ENABLE CONDSTORE");
    enableTag = connection.send(command);
  }
  if (connection.has(IMAPCapabilityCompressDeflate) && !connection.stream().isCompressed()) {
    CommandWriter command = connection.command();
    command.raw("COMPRESS DEFLATE");
    compressTag = connection.send(command);
  }
  if (enableTag != 0) {
    connection.finish(enableTag);
  }
  if (compressTag != 0 && connection.finish(compressTag).isOk()) {
    connection.startCompression();
  }
}

}  // namespace

std::string folderName(std::string_view name) {
  return sameKeyword(name, "INBOX") ? "INBOX" : std::string(name);
}

ErrorCode errorOf(const Connection& connection, const Completion& completion, ErrorCode refused) {
  if (completion.isOk()) {
    return ErrorNone;
  }
  if (completion.isLost()) {
    return connection.error();
  }
  return completion.code == "OVERQUOTA" ? ErrorQuota : refused;
}

ErrorCode logIn(Connection& connection, const net::Credentials& credentials, AuthType type) {
  if (connection.isLoggedIn()) {
    return ErrorNone;
  }
  if (!credentials.areValid()) {
    return ErrorInvalidArgument;
  }
  if (!connection.knowsCapabilities()) {
    const ErrorCode error = askCapabilities(connection);
    if (error != ErrorNone) {
      return error;
    }
  }
  const std::vector<std::string> mechanisms = net::saslMechanisms(
      type, connection.capabilities().mechanisms(), connection.stream().isEncrypted(), credentials);
  const bool mayLogin =
      !connection.has(IMAPCapabilityLoginDisabled) &&
      (type == AuthTypeSASLNone || (type & (AuthTypeSASLPlain | AuthTypeSASLLogin)) != 0);
  if (mechanisms.empty() && !mayLogin) {
    return ErrorAuthenticationMechanism;
  }
  // Nobody has an account without a name; Kerberos knows it from its ticket.
  if (credentials.username.empty() && (type & AuthTypeSASLGSSAPI) == 0) {
    return ErrorAuthentication;
  }
  // The list may differ for this user; most servers send the new one along.
  connection.forgetCapabilities();
  ErrorCode error = tryMechanisms(connection, credentials, mechanisms, mayLogin);
  if (error != ErrorNone) {
    return error;
  }
  connection.setLoggedIn(true);
  if (!connection.knowsCapabilities()) {
    error = askCapabilities(connection);
    if (error != ErrorNone) {
      return error;
    }
  }
  enable(connection);
  return connection.error();
}

ErrorCode askCapabilities(Connection& connection) {
  CommandWriter command = connection.command();
  const Completion completion = connection.run(command.raw("CAPABILITY"));
  const ErrorCode error = errorOf(connection, completion, ErrorCapability);
  return error == ErrorNone && !connection.knowsCapabilities() ? ErrorParse : error;
}

ErrorCode noop(Connection& connection) {
  CommandWriter command = connection.command();
  return errorOf(connection, connection.run(command.raw("NOOP")), ErrorNoop);
}

void logOut(Connection& connection) {
  if (connection.isAlive()) {
    if (connection.stream().timeout() > kFarewell) {
      connection.stream().setTimeout(kFarewell);
    }
    CommandWriter command = connection.command();
    connection.run(command.raw("LOGOUT"));
  }
  connection.close();
}

}  // namespace brennox::imap
