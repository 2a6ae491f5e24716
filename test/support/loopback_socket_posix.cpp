#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/loopback_socket.h"

namespace loopback {

Socket listenAnywhere(unsigned* port) {
  const Socket listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (::bind(listener, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
      ::listen(listener, 16) == 0 &&
      ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
    *port = ntohs(address.sin_port);
  }
  return listener;
}

Socket acceptWithin(Socket listener, int milliseconds) {
  return isReadableWithin(listener, milliseconds) ? ::accept(listener, nullptr, nullptr) : kNone;
}

bool isReadableWithin(Socket socket, int milliseconds) {
  pollfd entry{socket, POLLIN, 0};
  return ::poll(&entry, 1, milliseconds) > 0;
}

std::size_t receive(Socket socket, char* out, std::size_t size) {
  const ssize_t count = ::recv(socket, out, size, 0);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool sendAll(Socket socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) {
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void closeSocket(Socket socket) {
  ::close(socket);
}

}  // namespace loopback
