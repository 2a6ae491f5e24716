// The lines of a POP3 connection (RFC 1939 section 3): commands out, single-line and multi-line
// responses in.
#pragma once

#include <brennox/Data.h>

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

#include "net/ByteStream.h"
#include "net/LineReader.h"

namespace brennox::pop {

// RFC 1939 allows 512 octets a response line; servers send longer ones, this much is hostile.
inline constexpr std::size_t kMaxLine = 65536;
// A listing that is longer than this is no mailbox.
inline constexpr std::size_t kMaxListing = std::size_t{256} << 20;
// Longer messages have no place in the protocol's 32-bit sizes.
inline constexpr std::size_t kMaxMessage = std::size_t{4} << 30;

// Reads and writes on a stream that it borrows. All reading functions return false (or null) once
// the stream has failed; the stream keeps why.
class Wire {
 public:
  explicit Wire(net::ByteStream& stream) : stream_(stream), reader_(stream) {}

  // Command lines in one packet, CRLF added to each. False, with nothing sent, when one of them
  // holds a line break or a NUL.
  bool send(std::initializer_list<std::string_view> commands);

  // The status line of a response; text() is what follows "+OK " or "-ERR " (or "+ " in the middle
  // of an authentication), until the next read.
  enum class Status { kOk, kError, kContinue, kFailed };
  Status status();
  const std::string& text() const noexcept { return text_; }

  // The lines of a multi-line response, byte-stuffing removed, up to the final dot. `each` returns
  // false when it has had too many: that fails the stream with ErrorLimitExceeded.
  bool lines(const std::function<bool(std::string_view)>& each);

  // The bytes of a multi-line response in one block. `expected` sizes the block, and may be wrong;
  // `progress` hears how many bytes there are so far.
  Ref<Data> multiLine(std::size_t expected, std::size_t limit,
                      const std::function<void(std::size_t)>& progress);

 private:
  net::ByteStream& stream_;
  net::LineReader reader_;
  std::string text_;
  // Whether the last status line ended with a bare LF: such a server ends its messages with them
  // too.
  bool bareLineFeeds_ = false;
};

}  // namespace brennox::pop
