// For tests: a server on a free loopback port that does what a test tells it, one connection at a
// time.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "support/loopback_socket.h"

namespace brennox::net {

class ScriptedServer {
 public:
  class Peer {
   public:
    Peer(loopback::Socket socket, const std::atomic<bool>& stopping)
        : socket_(socket), stopping_(stopping) {}
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void send(std::string_view bytes);
    // The next line without its line end; "" at the end of the connection.
    std::string line();
    std::string bytes(std::size_t count);
    // Greets and answers curl's CAPABILITY with this list.
    void greet(std::string_view capabilities);
    // Waits for a command, checks nothing, and answers it: `untagged` whole, then the tag with
    // `result`. Returns the command without its tag.
    std::string answer(std::string_view untagged, std::string_view result = "OK done");
    void close();
    bool isClosed() const { return socket_ == loopback::kNone; }

   private:
    // Adds to the buffer; false at the end of the connection, or of the server.
    bool receive();

    loopback::Socket socket_;
    const std::atomic<bool>& stopping_;
    std::string buffer_;
  };

  using Script = std::function<void(Peer&)>;

  // Runs `script` for each connection until it is destroyed.
  explicit ScriptedServer(Script script);
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  unsigned port() const { return port_; }
  int connections() const { return connections_.load(); }

 private:
  void run();

  Script script_;
  loopback::Socket listener_ = loopback::kNone;
  unsigned port_ = 0;
  std::atomic<bool> stopping_{false};
  std::atomic<int> connections_{0};
  std::thread thread_;
};

}  // namespace brennox::net
