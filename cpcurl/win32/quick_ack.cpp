// Windows lets programs set this for a connection's whole life only, which would double the
// packets.
#include "quick_ack.h"

namespace cpcurl {

void acknowledgeAtOnce(curl_socket_t) noexcept {}

}  // namespace cpcurl
