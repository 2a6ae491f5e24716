#include "net/scripted_server.h"

namespace brennox::net {

ScriptedServer::Peer::~Peer() {
  close();
}

void ScriptedServer::Peer::close() {
  if (!isClosed()) {
    loopback::closeSocket(socket_);
    socket_ = loopback::kNone;
  }
}

void ScriptedServer::Peer::send(std::string_view bytes) {
  if (!isClosed()) {
    loopback::sendAll(socket_, bytes);
  }
}

bool ScriptedServer::Peer::receive() {
  // Ending the connection from another thread does not wake everybody on every system.
  while (!isClosed() && !loopback::isReadableWithin(socket_, 20)) {
    if (stopping_.load()) {
      return false;
    }
  }
  char piece[4096];
  const std::size_t count = isClosed() ? 0 : loopback::receive(socket_, piece, sizeof piece);
  buffer_.append(piece, count);
  return count > 0;
}

std::string ScriptedServer::Peer::line() {
  for (;;) {
    const std::size_t end = buffer_.find('\n');
    if (end != std::string::npos) {
      std::string line = buffer_.substr(0, end);
      buffer_.erase(0, end + 1);
      if (!line.empty() && line.back() == '\r') {
        line.pop_back();
      }
      return line;
    }
    if (!receive()) {
      return "";
    }
  }
}

std::string ScriptedServer::Peer::bytes(std::size_t wanted) {
  while (buffer_.size() < wanted && receive()) {
  }
  std::string result = buffer_.substr(0, wanted);
  buffer_.erase(0, wanted);
  return result;
}

void ScriptedServer::Peer::greet(std::string_view capabilities) {
  send("* OK ready\r\n");
  answer("* CAPABILITY " + std::string(capabilities) + "\r\n");
}

std::string ScriptedServer::Peer::answer(std::string_view untagged, std::string_view result) {
  const std::string command = line();
  const std::size_t space = command.find(' ');
  if (space == std::string::npos) {
    return command;
  }
  send(std::string(untagged) + command.substr(0, space) + " " + std::string(result) + "\r\n");
  return command.substr(space + 1);
}

ScriptedServer::ScriptedServer(Script script) : script_(std::move(script)) {
  listener_ = loopback::listenAnywhere(&port_);
  thread_ = std::thread([this] { run(); });
}

void ScriptedServer::run() {
  while (!stopping_.load()) {
    const loopback::Socket client = loopback::acceptWithin(listener_, 20);
    if (client == loopback::kNone) {
      continue;
    }
    connections_.fetch_add(1);
    Peer peer(client, stopping_);
    script_(peer);
  }
}

ScriptedServer::~ScriptedServer() {
  stopping_.store(true);
  thread_.join();
  loopback::closeSocket(listener_);
}

}  // namespace brennox::net
