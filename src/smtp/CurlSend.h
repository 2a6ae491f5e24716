// Sending one mail over SMTP with curl.
#pragma once

#include <brennox/ErrorCode.h>
#include <cpcurl.h>

#include <cstddef>
#include <cstdint>

#include "smtp/SMTPSettings.h"

namespace brennox {
class Address;
class Array;
class Data;
}  // namespace brennox

namespace velkor {

// How long a send may take in all, in seconds, and how often it is tried.
struct RetryPolicy {
  long firstTimeout = 300;
  long timeoutStep = 240;
  int attempts = 5;
};

// Makes `sender` the session's sender, adds `recipients` (Address objects) to those that the
// session already has, and sends to all of them. Tries again, with more time, after a time-out or a
// failed write; refused senders and recipients count as such. Returns curl's result of the last
// attempt and the library's code for it. Null `sender` sends from "". Any thread.
//
// An address with a line break or a zero byte is refused with ErrorSendMessage: nothing is sent and
// the session stays as it was. The same in its settings also refuses the send. Throws
// std::runtime_error when curl cannot be started.
CURLcode SendMessageWithRetries(SMTPSettings& session, brennox::Address* sender,
                                const brennox::Array* recipients, const brennox::Data& message,
                                brennox::ErrorCode* error, const RetryPolicy& policy = {});

// The library's code for the result of a send over a connection of that type.
brennox::ErrorCode ErrorOfSend(CURLcode result, std::int32_t connectionType);

// One attempt with the session's present settings, sender and recipients. A time-out of 0 is curl's
// own.
CURLcode SendWithCurl(const SMTPSettings& session, const char* bytes, std::size_t length,
                      brennox::ErrorCode* error, long timeoutSeconds);

}  // namespace velkor
