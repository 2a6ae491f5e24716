// A server on loopback inside the test's own process, for unit tests of what connects.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/loopback_socket.h"

// Serves one connection after another with the same function until it is destroyed.
class LineServer {
 public:
  class Connection {
   public:
    Connection(loopback::Socket socket, LineServer& server) : socket_(socket), server_(server) {}

    // False when the client has gone.
    bool send(std::string_view bytes) { return loopback::sendAll(socket_, bytes); }

    // A line without its end; false when the client has gone or the server ends.
    bool readLine(std::string& line) { return readThrough("\r\n", line); }

    // Up to the mark, which is not part of the result. Bytes behind it stay for the next read.
    bool readThrough(std::string_view mark, std::string& text) {
      std::size_t at;
      while ((at = pending_.find(mark)) == pending_.npos) {
        if (!more()) {
          return false;
        }
      }
      text = pending_.substr(0, at);
      pending_.erase(0, at + mark.size());
      server_.record(text);
      return true;
    }

    bool readBytes(std::size_t count, std::string& bytes) {
      while (pending_.size() < count) {
        if (!more()) {
          return false;
        }
      }
      bytes = pending_.substr(0, count);
      pending_.erase(0, count);
      return true;
    }

    // Says nothing until the client has gone or the server ends.
    void staySilent() {
      while (more()) {
      }
    }

   private:
    bool more() {
      while (!server_.ending_) {
        if (!loopback::isReadableWithin(socket_, 20)) {
          continue;
        }
        char buffer[65536];
        const std::size_t got = loopback::receive(socket_, buffer, sizeof buffer);
        pending_.append(buffer, got);
        return got > 0;
      }
      return false;
    }

    const loopback::Socket socket_;
    LineServer& server_;
    std::string pending_;
  };

  explicit LineServer(std::function<void(Connection&)> serve) : serve_(std::move(serve)) {
    listener_ = loopback::listenAnywhere(&port_);
    thread_ = std::thread([this] { run(); });
  }
  LineServer(const LineServer&) = delete;
  LineServer& operator=(const LineServer&) = delete;
  ~LineServer() {
    ending_ = true;
    thread_.join();
    loopback::closeSocket(listener_);
  }

  int port() const { return static_cast<int>(port_); }
  int connections() const { return connections_; }

  // Every line that was read, in order, of all connections.
  std::vector<std::string> lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }
  bool saw(std::string_view text) const {
    for (const std::string& line : lines()) {
      if (line.find(text) != line.npos) {
        return true;
      }
    }
    return false;
  }

 private:
  void record(const std::string& line) {
    const std::lock_guard lock(mutex_);
    lines_.push_back(line);
  }

  void run() {
    while (!ending_) {
      const loopback::Socket client = loopback::acceptWithin(listener_, 20);
      if (client == loopback::kNone) {
        continue;
      }
      connections_++;
      Connection connection(client, *this);
      serve_(connection);
      loopback::closeSocket(client);
    }
  }

  std::function<void(Connection&)> serve_;
  loopback::Socket listener_ = loopback::kNone;
  unsigned port_ = 0;
  std::atomic<bool> ending_ = false;
  std::atomic<int> connections_ = 0;
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::thread thread_;
};

// A mail server that takes everything. `capabilities` follow the EHLO reply's first line, one each.
inline std::function<void(LineServer::Connection&)> TakeMail(
    std::vector<std::string> capabilities = {}) {
  return [capabilities = std::move(capabilities)](LineServer::Connection& client) {
    client.send("220 ready ESMTP\r\n");
    std::string line;
    while (client.readLine(line)) {
      if (line.starts_with("EHLO")) {
        client.send(capabilities.empty() ? "250 ready\r\n" : "250-ready\r\n");
        for (std::size_t i = 0; i < capabilities.size(); i++) {
          client.send((i + 1 < capabilities.size() ? "250-" : "250 ") + capabilities[i] + "\r\n");
        }
      } else if (line == "DATA") {
        client.send("354 go on\r\n");
        if (!client.readThrough("\r\n.\r\n", line)) {
          return;
        }
        client.send("250 taken\r\n");
      } else if (line.starts_with("AUTH ")) {
        // Without a first response one is asked for; whatever it is, it will do.
        if (line.find(' ', 5) == line.npos &&
            (!client.send("334 \r\n") || !client.readLine(line))) {
          return;
        }
        client.send("235 welcome\r\n");
      } else if (line == "QUIT") {
        client.send("221 bye\r\n");
        return;
      } else {
        client.send("250 fine\r\n");
      }
    }
  };
}
