// Authentication for every protocol (RFC 4422). What travels is base64 text, as IMAP and POP3 carry
// it.
#pragma once

#include <brennox/Flags.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace brennox::net {

struct Credentials {
  std::string username;
  std::string password;
  std::string token;
  // "imap" or "pop", and the server's name: some mechanisms put them into the answer.
  std::string service;
  std::string hostname;
  unsigned port = 0;

  Credentials() = default;
  Credentials(const Credentials&) = delete;
  Credentials& operator=(const Credentials&) = delete;
  // Wipes the secrets.
  ~Credentials();

  // A NUL would end a name or a password early, and log in as somebody else.
  bool areValid() const;
};

// Overwrites a secret before its memory is given back.
void wipe(std::string* secret);

// The mechanisms to try, best first: those that `type` allows, the server offers (names as it sent
// them) and this machine can do. For type 0 that is the strongest one, and the plain ones behind it
// only where the connection is encrypted or nothing stronger is offered.
std::vector<std::string> saslMechanisms(AuthType type, const std::vector<std::string>& offered,
                                        bool encrypted, const Credentials& credentials);

// One run of one mechanism.
class SaslClient {
 public:
  enum class Step {
    kContinue,  // send the answer
    kDone,      // send the answer; the server decides now
    kFailed,    // the server's challenge is wrong: cancel the exchange
  };

  // Null when the mechanism is not to be had.
  static std::unique_ptr<SaslClient> start(std::string_view mechanism,
                                           const Credentials& credentials);
  virtual ~SaslClient() = default;

  // True when the client speaks first: next("") then gives the initial response. Otherwise the
  // server's first challenge comes first.
  virtual bool isClientFirst() const = 0;
  // The answer to a challenge, both base64. The caller wipes the answer.
  virtual Step next(std::string_view challenge, std::string* answer) = 0;
  // True when the mechanism has seen all it must see from the server: a server that claims success
  // earlier has not proved that it knows the password.
  virtual bool isComplete() const = 0;
};

}  // namespace brennox::net
