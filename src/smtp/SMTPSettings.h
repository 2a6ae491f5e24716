// What an SMTP session object holds, apart from its script object.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace velkor {

struct SMTPFields {
  std::string hostname;
  std::int32_t port = 0;
  std::string username;
  std::string password;
  std::string OAuth2Token;
  bool checkCertificateEnabled = false;
  // 1 clear, 2 STARTTLS, 4 TLS; anything else is kept as it is.
  std::int32_t connectionType = 4;
  // A set of curl's CURLAUTH_ bits.
  std::int32_t authType = -17;
  bool strictGost = false;
  // Written by the sends. The recipients of all sends add up and are never cleared.
  std::string from;
  std::vector<std::string> recipients;
};

// The fields behind a lock: a script may set a property while a send reads it on a worker thread.
// What the send then uses, the old value or the new one, is open; every attempt to send reads all
// of them at once.
class SMTPSettings {
 public:
  SMTPFields snapshot() const {
    const std::lock_guard lock(mutex_);
    return fields_;
  }

  // Calls use(fields) under the lock and returns what it returns.
  template <class Use>
  auto with(Use use) {
    const std::lock_guard lock(mutex_);
    return use(fields_);
  }
  template <class Use>
  auto with(Use use) const {
    const std::lock_guard lock(mutex_);
    return use(fields_);
  }

 private:
  mutable std::mutex mutex_;
  SMTPFields fields_;
};

}  // namespace velkor
