// One conversation with an IMAP server: commands and their completions, and what is known about the
// server and the selected folder.
#pragma once

#include <brennox/ErrorCode.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "imap/capabilities.h"
#include "imap/wire_reader.h"
#include "imap/wire_writer.h"
#include "net/LineReader.h"
#include "net/Stream.h"

namespace brennox::imap {

// How the server answered a command.
struct Completion {
  enum class Result { kOk, kNo, kBad, kLost };

  Result result = Result::kLost;
  // The response code and what stands behind its name: "COPYUID", "38505 304 3956".
  std::string code;
  std::string arguments;

  bool isOk() const noexcept { return result == Result::kOk; }
  bool isLost() const noexcept { return result == Result::kLost; }
};

// Takes the untagged responses that come while its command runs.
class Handler {
 public:
  virtual ~Handler() = default;

  // "* NAME ..." and "* number NAME ..." (number is 0 otherwise); the reader stands behind the
  // name. True when it was what this command asked for.
  virtual bool data(std::uint32_t number, std::string_view name, WireReader& reader) = 0;
  // The response code of an untagged OK, NO or BAD.
  virtual void code(std::string_view /*name*/, WireReader& /*arguments*/) {}
};

// What SELECT tells, kept up to date by what comes later.
struct SelectedFolder {
  std::string name;
  std::uint32_t exists = 0;
  std::uint32_t uidNext = 0;
  std::uint32_t uidValidity = 0;
  // A message number; 0 when the server did not tell.
  std::uint32_t firstUnseen = 0;
  std::uint64_t highestModSeq = 0;
  bool allowsNewFlags = false;
  bool readOnly = false;
  // What follows the message that was appended last over another connection. Not uidNext: the
  // server's view here need not have that message yet.
  std::uint32_t afterAppended = 0;
  bool appendedIsNews = false;
};

// Once the connection is lost every command completes with kLost, and error() says why.
class Connection {
 public:
  Connection();

  // Connects and reads what the server says about itself.
  ErrorCode open(const net::Endpoint& endpoint);
  void close();
  bool isOpen() const noexcept { return open_; }
  // Whether the server is still there, as far as one can know without asking.
  bool isAlive();
  net::Stream& stream() noexcept { return stream_; }

  // Starts an operation: what was not understood in earlier ones is forgotten.
  void begin();
  void setLimits(const ResponseLimits& limits) { limits_ = limits; }
  void setProgress(net::LineReader::Progress progress) { progress_ = std::move(progress); }

  // Takes the untagged responses from now on; null for none.
  void setHandler(Handler* handler) noexcept { handler_ = handler; }

  CommandWriter command() const;
  // Queues a command and returns its tag. A command that needs the server's agreement for a literal
  // goes out at once and waits for it; all others go out with the next finish().
  unsigned send(const CommandWriter& command);
  Completion finish(unsigned tag);
  Completion run(const CommandWriter& command) { return finish(send(command)); }

  // For AUTHENTICATE: waits for "+ text" or the completion of the command. True for the former.
  bool continuation(unsigned tag, std::string* text, Completion* completion);
  void sendLine(std::string_view line);

  // Compression starts behind the answer that was read last.
  bool startCompression();

  // Why the connection was lost: ErrorServerClosed after a BYE, ErrorParse when something before
  // was not understood, otherwise what the stream says.
  ErrorCode error() const;
  // Whether anything was not understood since begin().
  bool hasProtocolError() const noexcept { return protocolError_; }
  void noteProtocolError() noexcept { protocolError_ = true; }

  const Capabilities& capabilities() const noexcept { return capabilities_; }
  bool has(IMAPCapability capability) const { return capabilities_.has(capability); }
  bool knowsCapabilities() const noexcept { return knowsCapabilities_; }
  void forgetCapabilities() noexcept { knowsCapabilities_ = false; }

  bool isLoggedIn() const noexcept { return loggedIn_; }
  void setLoggedIn(bool loggedIn) noexcept { loggedIn_ = loggedIn; }
  bool isQResyncEnabled() const noexcept { return qresync_; }

  // Null when no folder is selected.
  const SelectedFolder* selected() const { return selected_ ? &*selected_ : nullptr; }
  // What SELECT and its like do to it.
  void selecting(std::string name);
  // A message of the selected folder has this UID, so the next one will have a larger one.
  void sawUid(std::uint32_t uid);
  void unselect() { selected_.reset(); }
  // The tagged answer to an APPEND into the selected folder that went over another connection: the
  // UID that it tells, or 0. uidNext follows it then.
  std::uint32_t appended(const std::string& folder, std::string_view answer);
  // Whether that folder is selected and appended() has told its next UID since this was asked last.
  bool takeAppended(const std::string& folder);

 private:
  enum class Kind { kUntagged, kTagged, kContinuation, kLost };
  struct Pending {
    unsigned tag;
    std::optional<Completion> completion;
  };

  Kind next();
  void untagged(WireReader& reader);
  void status(std::string_view word, std::string_view text);
  static void splitCode(std::string_view text, std::string* code, std::string* arguments);
  void applyCode(std::string_view code, std::string_view arguments);
  bool flush();
  Pending* pendingOf(unsigned tag);

  net::Stream stream_;
  net::LineReader lines_;
  ResponseLimits limits_;
  net::LineReader::Progress progress_;
  Response response_;
  Handler* handler_ = nullptr;
  std::string outgoing_;
  std::vector<Pending> pending_;
  std::string continuationText_;
  unsigned lastTag_ = 0;
  std::chrono::steady_clock::time_point lastUseful_;

  Capabilities capabilities_;
  std::optional<SelectedFolder> selected_;
  bool open_ = false;
  bool knowsCapabilities_ = false;
  bool loggedIn_ = false;
  bool qresync_ = false;
  bool bye_ = false;
  bool idleEnd_ = false;
  bool protocolError_ = false;
};

// For the length of a command.
class HandlerScope {
 public:
  HandlerScope(Connection& connection, Handler* handler) : connection_(connection) {
    connection_.setHandler(handler);
  }
  ~HandlerScope() { connection_.setHandler(nullptr); }
  HandlerScope(const HandlerScope&) = delete;
  HandlerScope& operator=(const HandlerScope&) = delete;

 private:
  Connection& connection_;
};

}  // namespace brennox::imap
