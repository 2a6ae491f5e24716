#include "net/settings.h"

namespace brennox::net {

Endpoint Settings::endpoint(Protocol protocol) {
  const std::lock_guard<std::mutex> guard(lock_);
  Endpoint endpoint;
  endpoint.protocol = protocol;
  endpoint.host = textOf(hostname_.get());
  endpoint.port = port_;
  endpoint.connectionType = connectionType_;
  endpoint.checkCertificate = checkCertificate_;
  endpoint.strictGost = strictGost_;
  endpoint.timeout = timeout_;
  return endpoint;
}

void Settings::fill(Credentials* credentials, Protocol protocol) {
  const std::lock_guard<std::mutex> guard(lock_);
  credentials->username = textOf(username_.get());
  credentials->password = textOf(password_.get());
  credentials->token = textOf(token_.get());
  credentials->service = protocol == Protocol::kImap ? "imap" : "pop";
  credentials->hostname = textOf(hostname_.get());
  const bool tls = connectionType_ == ConnectionTypeTLS;
  const unsigned int own = protocol == Protocol::kImap ? (tls ? 993U : 143U) : (tls ? 995U : 110U);
  credentials->port = port_ != 0 ? port_ : own;
}

}  // namespace brennox::net
