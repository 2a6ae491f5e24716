#include "platform/socket.h"

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>

namespace brennox::platform {

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
