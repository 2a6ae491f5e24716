// Sockets on loopback for the servers of the unit tests. loopback_socket_posix.cpp or
// loopback_socket_win32.cpp stands behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace loopback {

#if defined(_WIN32)
using Socket = std::uintptr_t;
inline constexpr Socket kNone = ~Socket{0};
#else
using Socket = int;
inline constexpr Socket kNone = -1;
#endif

// A listening socket on a free port of 127.0.0.1.
Socket listenAnywhere(unsigned* port);
// A client that comes within so many milliseconds; kNone when none does.
Socket acceptWithin(Socket listener, int milliseconds);

bool isReadableWithin(Socket socket, int milliseconds);
// As many bytes as there are, waiting for the first; 0 when there will be none any more.
std::size_t receive(Socket socket, char* out, std::size_t size);
// Sends all of it; false when the other side is gone.
bool sendAll(Socket socket, std::string_view bytes);

void closeSocket(Socket socket);

}  // namespace loopback
