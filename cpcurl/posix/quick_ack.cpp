#include "quick_ack.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace cpcurl {

void acknowledgeAtOnce(curl_socket_t socket) noexcept {
#ifdef TCP_QUICKACK
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
#else
  (void)socket;
#endif
}

}  // namespace cpcurl
