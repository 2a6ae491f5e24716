// What the network code needs beside the system's curl: waiting on a socket and ending it from
// another thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace brennox::platform {

#if defined(_WIN32)
using Socket = std::uintptr_t;
inline constexpr Socket kNoSocket = ~Socket{0};
#else
using Socket = int;
inline constexpr Socket kNoSocket = -1;
#endif

enum class Wait { kReady, kTimedOut, kFailed };

// Waits until the socket can be read (or written, with `write`), at most `milliseconds`. A
// connection that the other side has ended counts as readable.
Wait waitForSocket(Socket socket, bool read, bool write, int milliseconds);

// How long receive() waits from now on; the socket is not to be waited on in any other way then.
bool setReceiveTimeout(Socket socket, int milliseconds);

// Waits for bytes and takes as many as there are, at most `size`; receiveNow does not wait. 0 when
// there are none in time, or a signal came; nothing when there will be none any more.
std::optional<std::size_t> receive(Socket socket, char* out, std::size_t size);
std::optional<std::size_t> receiveNow(Socket socket, char* out, std::size_t size);

// Hands over as many bytes as fit at present, raising no signal when the other side is gone.
// Nothing when none will ever fit again.
std::optional<std::size_t> sendNow(Socket socket, const char* bytes, std::size_t size);

// A socket that child processes do not inherit; kNoSocket when there is none to be had.
Socket openSocket(int family, int type, int protocol);

// Ends both directions: whoever waits on the socket wakes up. The descriptor stays open.
void shutdownSocket(Socket socket);
void closeSocket(Socket socket);

// While one lives, writing to a connection that the other side has closed raises no signal on this
// thread.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard();
  ~BrokenPipeGuard();
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

 private:
  bool blocked_ = false;
};

}  // namespace brennox::platform
