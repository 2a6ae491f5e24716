// For tests: how to reach a scripted server.
#pragma once

#include "net/Stream.h"
#include "net/scripted_server.h"

namespace brennox::net {

inline Endpoint endpointOf(const ScriptedServer& server) {
  Endpoint endpoint;
  endpoint.host = "127.0.0.1";
  endpoint.port = server.port();
  endpoint.connectionType = ConnectionTypeClear;
  endpoint.timeout = 1;
  return endpoint;
}

}  // namespace brennox::net
