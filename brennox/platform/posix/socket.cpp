#include "platform/socket.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>

namespace brennox::platform {
namespace {

// What a transfer came to that moved `count` bytes, or failed with -1.
std::optional<std::size_t> transferred(ssize_t count) {
  if (count >= 0) {
    return static_cast<std::size_t>(count);
  }
  const bool later = errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
  return later ? std::optional<std::size_t>(0) : std::nullopt;
}

std::optional<std::size_t> received(ssize_t count) {
  return count == 0 ? std::nullopt : transferred(count);
}

}  // namespace

Wait waitForSocket(Socket socket, bool read, bool write, int milliseconds) {
  pollfd entry{};
  entry.fd = socket;
  entry.events = static_cast<short>((read ? POLLIN : 0) | (write ? POLLOUT : 0));
  const int count = ::poll(&entry, 1, milliseconds);
  if (count > 0) {
    return (entry.revents & POLLNVAL) != 0 ? Wait::kFailed : Wait::kReady;
  }
  // An interrupted wait counts as ready: the caller tries, finds nothing, and waits for what is
  // left.
  return count == 0 ? Wait::kTimedOut : errno == EINTR ? Wait::kReady : Wait::kFailed;
}

// One blocking call where there would be three otherwise: an attempt, a poll, another attempt.
bool setReceiveTimeout(Socket socket, int milliseconds) {
  timeval time{};
  time.tv_sec = milliseconds / 1000;
  time.tv_usec = milliseconds % 1000 * 1000;
  const int flags = ::fcntl(socket, F_GETFL);
  return flags != -1 && ::fcntl(socket, F_SETFL, flags & ~O_NONBLOCK) == 0 &&
         ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time) == 0;
}

std::optional<std::size_t> receive(Socket socket, char* out, std::size_t size) {
  return received(::recv(socket, out, size, 0));
}

std::optional<std::size_t> receiveNow(Socket socket, char* out, std::size_t size) {
  return received(::recv(socket, out, size, MSG_DONTWAIT));
}

std::optional<std::size_t> sendNow(Socket socket, const char* bytes, std::size_t size) {
  return transferred(::send(socket, bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL));
}

Socket openSocket(int family, int type, int protocol) {
  return ::socket(family, type | SOCK_CLOEXEC, protocol);
}

void shutdownSocket(Socket socket) {
  ::shutdown(socket, SHUT_RDWR);
}

void closeSocket(Socket socket) {
  ::close(socket);
}

BrokenPipeGuard::BrokenPipeGuard() {
  sigset_t pending;
  sigemptyset(&pending);
  sigpending(&pending);
  if (sigismember(&pending, SIGPIPE) == 1) {
    return;
  }
  sigset_t pipe;
  sigset_t before;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  sigemptyset(&before);
  blocked_ = pthread_sigmask(SIG_BLOCK, &pipe, &before) == 0 && sigismember(&before, SIGPIPE) == 0;
}

BrokenPipeGuard::~BrokenPipeGuard() {
  if (!blocked_) {
    return;
  }
  const int saved = errno;
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  const timespec none{};
  while (sigtimedwait(&pipe, nullptr, &none) == -1 && errno == EINTR) {
  }
  pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
  errno = saved;
}

}  // namespace brennox::platform
