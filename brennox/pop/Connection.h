// One conversation with a POP3 server, from the greeting to its end.
#pragma once

#include <brennox/Data.h>
#include <brennox/ErrorCode.h>
#include <brennox/Flags.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "net/Stream.h"
#include "net/sasl.h"
#include "pop/responses.h"
#include "pop/wire.h"

namespace brennox::pop {

struct Entry {
  std::uint32_t index = 0;
  std::uint32_t size = 0;
  // Empty where the server has no UIDL.
  std::string uid;
};

// One thread at a time. Every call returns ErrorNone or why it failed; when the connection itself
// has failed it is closed then. Nothing is deleted at the server unless quit() is called.
class Connection {
 public:
  using Progress = std::function<void(std::size_t current, std::size_t maximum)>;

  ErrorCode open(const net::Endpoint& endpoint);
  ErrorCode login(AuthType type, const net::Credentials& credentials);
  bool isOpen() const noexcept { return stream_.isOpen(); }
  bool isLoggedIn() const noexcept { return loggedIn_; }

  ErrorCode noop();
  // The mailbox in the server's order; remembered for the sizes and identifiers of later calls.
  ErrorCode list(std::vector<Entry>* entries);
  // ErrorNone when the message of that number has this identifier, as far as the server can tell.
  ErrorCode confirm(std::uint32_t index, const std::string& uid);
  ErrorCode retrieve(std::uint32_t index, const Progress& progress, Ref<Data>* message);
  // The header fields and the empty line behind them.
  ErrorCode retrieveHeader(std::uint32_t index, Ref<Data>* header);
  ErrorCode remove(std::uint32_t index);

  // Ends the session and lets deletions take effect.
  void quit();
  void close();

 private:
  ErrorCode authenticate(std::string_view mechanism, const net::Credentials& credentials);
  ErrorCode apop(std::string_view timestamp, const net::Credentials& credentials);
  ErrorCode userAndPassword(const net::Credentials& credentials);
  ErrorCode askCapabilities();

  // Sends one command and reads its status: ErrorNone for +OK, for -ERR what its response code says
  // or else `refused`.
  ErrorCode command(std::string_view text, ErrorCode refused);
  // The error of a failed stream or an unsendable command; closes the connection in the first case.
  ErrorCode failure();
  ErrorCode refusal(Wire::Status status, ErrorCode refused);
  ErrorCode multiLine(std::string_view text, std::size_t expected, const Progress& progress,
                      Ref<Data>* out);

  net::Stream stream_;
  std::unique_ptr<Wire> wire_;
  Capabilities capabilities_;
  bool loggedIn_ = false;
  // From the last listing of this connection.
  std::unordered_map<std::uint32_t, Entry> listed_;
};

}  // namespace brennox::pop
