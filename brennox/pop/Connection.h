// One conversation with a POP3 server, from the greeting to its end.
#pragma once

#include <brennox/Data.h>
#include <brennox/ErrorCode.h>
#include <brennox/Flags.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "net/Stream.h"
#include "net/sasl.h"
#include "pop/Listing.h"
#include "pop/responses.h"
#include "pop/wire.h"

namespace brennox::pop {

// One thread at a time. Every call returns ErrorNone or why it failed; when the connection itself
// has failed it is closed then. Nothing is deleted at the server unless quit() is called.
class Connection {
 public:
  using Progress = std::function<void(std::size_t current, std::size_t maximum)>;

  ErrorCode open(const net::Endpoint& endpoint);
  // After a refusal the connection is closed, unless the server was asked nothing.
  ErrorCode login(AuthType type, const net::Credentials& credentials);
  bool isOpen() const noexcept { return stream_.isOpen(); }
  bool isLoggedIn() const noexcept { return loggedIn_; }

  ErrorCode noop();
  // Asks for the mailbox; listing() has it then, for the sizes and identifiers of later calls, too.
  ErrorCode list();
  const Listing& listing() const noexcept { return listing_; }
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
  // Once logged in: some servers tell only then what they can do with a mailbox (RFC 2449
  // section 5).
  ErrorCode askCapabilitiesAgain();

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
  // The last one of this connection.
  Listing listing_;
};

}  // namespace brennox::pop
