// Sockets stay non-blocking all the time: Windows knows no single transfer that does not wait.
#include "platform/socket.h"

#include <algorithm>
#include <limits>
#include <mutex>

#include "platform/win32/windows.h"

namespace brennox::platform {
namespace {

// A socket that another thread shuts down does not wake everybody on every version of the system:
// after so many milliseconds a wait returns as if interrupted, and the caller looks for itself.
constexpr int kLongestWait = 100;
constexpr std::size_t kMaxAtOnce = std::numeric_limits<int>::max();

// Once for the process, and never ended: threads may still use sockets while it exits.
void startSockets() {
  static std::once_flag once;
  std::call_once(once, [] {
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
  });
}

// What a transfer came to that moved `count` bytes, or failed with SOCKET_ERROR.
std::optional<std::size_t> transferred(int count) {
  if (count >= 0) {
    return static_cast<std::size_t>(count);
  }
  const int error = WSAGetLastError();
  const bool later = error == WSAEWOULDBLOCK || error == WSAEINTR || error == WSAETIMEDOUT;
  return later ? std::optional<std::size_t>(0) : std::nullopt;
}

std::optional<std::size_t> received(int count) {
  return count == 0 ? std::nullopt : transferred(count);
}

int pollSocket(Socket socket, bool read, bool write, int milliseconds, short* events) {
  WSAPOLLFD entry{};
  entry.fd = socket;
  entry.events = static_cast<SHORT>((read ? POLLRDNORM : 0) | (write ? POLLWRNORM : 0));
  const int count = WSAPoll(&entry, 1, milliseconds);
  *events = entry.revents;
  return count;
}

}  // namespace

Wait waitForSocket(Socket socket, bool read, bool write, int milliseconds) {
  const bool isWhole = milliseconds >= 0 && milliseconds <= kLongestWait;
  short events = 0;
  const int count = pollSocket(socket, read, write, isWhole ? milliseconds : kLongestWait, &events);
  if (count > 0) {
    return (events & POLLNVAL) != 0 ? Wait::kFailed : Wait::kReady;
  }
  return count < 0 ? Wait::kFailed : isWhole ? Wait::kTimedOut : Wait::kReady;
}

// The system keeps the number for receive(); the calls themselves never wait.
bool setReceiveTimeout(Socket socket, int milliseconds) {
  const auto time = static_cast<DWORD>(milliseconds);
  u_long nonBlocking = 1;
  return ioctlsocket(socket, FIONBIO, &nonBlocking) == 0 &&
         setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&time),
                    sizeof time) == 0;
}

std::optional<std::size_t> receive(Socket socket, char* out, std::size_t size) {
  const std::optional<std::size_t> atOnce = receiveNow(socket, out, size);
  if (!atOnce || *atOnce > 0) {
    return atOnce;
  }
  DWORD time = 0;
  int length = sizeof time;
  if (getsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<char*>(&time), &length) != 0) {
    return std::nullopt;
  }
  // 0 stands for no bound.
  const int left = time == 0 ? -1 : static_cast<int>(std::min<DWORD>(time, MAXLONG));
  if (waitForSocket(socket, true, false, left) == Wait::kFailed) {
    return std::nullopt;
  }
  return receiveNow(socket, out, size);
}

std::optional<std::size_t> receiveNow(Socket socket, char* out, std::size_t size) {
  return received(recv(socket, out, static_cast<int>(std::min(size, kMaxAtOnce)), 0));
}

std::optional<std::size_t> sendNow(Socket socket, const char* bytes, std::size_t size) {
  return transferred(send(socket, bytes, static_cast<int>(std::min(size, kMaxAtOnce)), 0));
}

Socket openSocket(int family, int type, int protocol) {
  startSockets();
  return WSASocketW(family, type, protocol, nullptr, 0,
                    WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
}

void shutdownSocket(Socket socket) {
  shutdown(socket, SD_BOTH);
}

void closeSocket(Socket socket) {
  closesocket(socket);
}

// The system has no such signal.
BrokenPipeGuard::BrokenPipeGuard() = default;
BrokenPipeGuard::~BrokenPipeGuard() = default;

}  // namespace brennox::platform
