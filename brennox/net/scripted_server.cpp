#include "net/scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace brennox::net {

ScriptedServer::Peer::~Peer() {
  close();
}

void ScriptedServer::Peer::close() {
  if (fd_ >= 0) {
    ::close(fd_);
    fd_ = -1;
  }
}

void ScriptedServer::Peer::send(std::string_view bytes) {
  while (!bytes.empty() && fd_ >= 0) {
    const ssize_t count = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) {
      return;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
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
    char piece[4096];
    const ssize_t count = fd_ < 0 ? 0 : ::recv(fd_, piece, sizeof piece, 0);
    if (count <= 0) {
      return "";
    }
    buffer_.append(piece, static_cast<std::size_t>(count));
  }
}

std::string ScriptedServer::Peer::bytes(std::size_t wanted) {
  while (buffer_.size() < wanted) {
    char piece[4096];
    const ssize_t count = fd_ < 0 ? 0 : ::recv(fd_, piece, sizeof piece, 0);
    if (count <= 0) {
      break;
    }
    buffer_.append(piece, static_cast<std::size_t>(count));
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
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
      ::listen(listener_, 8) == 0 &&
      ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
    port_ = ntohs(address.sin_port);
  }
  thread_ = std::thread([this] { run(); });
}

void ScriptedServer::run() {
  while (!stopping_.load()) {
    pollfd entry{listener_, POLLIN, 0};
    if (::poll(&entry, 1, 20) <= 0) {
      continue;
    }
    const int fd = ::accept(listener_, nullptr, nullptr);
    if (fd < 0) {
      continue;
    }
    connections_.fetch_add(1);
    current_.store(fd);
    {
      Peer peer(fd);
      script_(peer);
      current_.store(-1);
    }
  }
}

ScriptedServer::~ScriptedServer() {
  stopping_.store(true);
  const int fd = current_.load();
  if (fd >= 0) {
    ::shutdown(fd, SHUT_RDWR);
  }
  thread_.join();
  ::close(listener_);
}

}  // namespace brennox::net
