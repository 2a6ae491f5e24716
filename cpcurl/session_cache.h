// TLS sessions of earlier connections, so that the next one to the same server costs less.
#pragma once

#include <curl/curl.h>

namespace cpcurl {

// Lets a handle that is about to connect with TLS resume sessions and leave its own. They are
// resumed only by handles of the same host, port and TLS settings (libcurl compares them), and only
// as long as the trusted certificates stay the same: a resumed session is not verified again. Any
// thread.
void attachSessionCache(CURL* curl) noexcept;

}  // namespace cpcurl
