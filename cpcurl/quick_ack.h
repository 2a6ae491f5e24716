// Telling the other side at once that its bytes have arrived.
#pragma once

#include <curl/curl.h>

namespace cpcurl {

// For the bytes that come next; later ones may be acknowledged late again. Does nothing where the
// system cannot.
void acknowledgeAtOnce(curl_socket_t socket) noexcept;

}  // namespace cpcurl
