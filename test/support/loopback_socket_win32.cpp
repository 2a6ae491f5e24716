#include <windows.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include "support/loopback_socket.h"

namespace loopback {

Socket listenAnywhere(unsigned* port) {
  static const bool started = [] {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }();
  const Socket listener = started ? ::socket(AF_INET, SOCK_STREAM, 0) : kNone;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  int length = sizeof address;
  if (::bind(listener, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
      ::listen(listener, 16) == 0 &&
      ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
    *port = ntohs(address.sin_port);
  }
  return listener;
}

// A client may have gone again when it is its turn: the listener never waits by itself.
Socket acceptWithin(Socket listener, int milliseconds) {
  if (!isReadableWithin(listener, milliseconds)) {
    return kNone;
  }
  u_long waits = 1;
  ioctlsocket(listener, FIONBIO, &waits);
  const Socket client = ::accept(listener, nullptr, nullptr);
  waits = 0;
  ioctlsocket(client, FIONBIO, &waits);
  return client;
}

bool isReadableWithin(Socket socket, int milliseconds) {
  WSAPOLLFD entry{};
  entry.fd = socket;
  entry.events = POLLRDNORM;
  return WSAPoll(&entry, 1, milliseconds) > 0;
}

std::size_t receive(Socket socket, char* out, std::size_t size) {
  const int count = ::recv(socket, out, static_cast<int>(size), 0);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool sendAll(Socket socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const int count = ::send(socket, bytes.data(), static_cast<int>(bytes.size()), 0);
    if (count <= 0) {
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void closeSocket(Socket socket) {
  ::closesocket(socket);
}

}  // namespace loopback
