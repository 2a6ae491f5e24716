// A connection to a mail server: clear, TLS from the start, or TLS by STARTTLS.
#pragma once

#include <brennox/Flags.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "net/ByteStream.h"
#include "platform/socket.h"

namespace brennox::net {

class Deflate;

enum class Protocol { kImap, kPop3 };

struct Endpoint {
  Protocol protocol = Protocol::kImap;
  std::string host;
  // 0 is the protocol's own port for the connection type.
  unsigned port = 0;
  ConnectionType connectionType = ConnectionTypeTLS;
  bool checkCertificate = true;
  bool strictGost = false;
  // Seconds of silence that end a wait; 0 and less read as the default of 30.
  std::int64_t timeout = 0;
};

// Silence ends a wait, and so does a peer that keeps sending a byte now and then: through a window
// of several time-outs it has to move a minimum of bytes.
class Pace {
 public:
  using Clock = std::chrono::steady_clock;

  void restart() noexcept { bytes_ = 0; }
  // Counts bytes that have just moved; the window opens with the first of them. False when it is
  // over and too few were in it.
  bool keeps(std::size_t bytes, std::chrono::milliseconds timeout);

 private:
  Clock::time_point start_;
  std::size_t bytes_ = 0;
};

// libcurl connects, reads the greeting, negotiates STARTTLS and asks for the capabilities; from
// then on the bytes are ours. One thread uses a stream, any thread may cancel it.
class Stream final : public ByteStream {
 public:
  Stream();
  ~Stream() override;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  // Connects anew; what was open before is closed and the error forgotten. Returns ErrorNone, or
  // what error() says from now on.
  ErrorCode open(const Endpoint& endpoint);
  // Ends the connection without a word. Nothing happens when there is none.
  void close();
  bool isOpen() const noexcept { return handle_ != nullptr; }

  // Makes every wait of this stream, now and later, end with ErrorCancelled until resetCancel().
  // Any thread.
  void cancel();
  void resetCancel();
  bool isCancelled() const noexcept { return cancelled_.load(); }

  std::size_t read(char* out, std::size_t size) override;
  std::size_t readNow(char* out, std::size_t size) override;
  bool write(std::string_view bytes) override;
  void expectAnew() override { readPace_.restart(); }

  // For the rest of this connection; open() sets it anew.
  void setTimeout(std::chrono::milliseconds timeout);
  std::chrono::milliseconds timeout() const noexcept { return timeout_; }

  // The lines that the server sent while connecting, without line ends. The greeting is the first
  // of them; what was said in the clear before STARTTLS succeeded is not among the others.
  const std::string& greeting() const noexcept { return greeting_; }
  const std::vector<std::string>& lines() const noexcept { return lines_; }
  bool isEncrypted() const noexcept { return encrypted_; }

  // Everything from here on is compressed (RFC 4978). `pending` are the bytes that were read
  // already and belong to the compressed stream.
  bool startCompression(std::string_view pending);
  bool isCompressed() const noexcept { return deflate_ != nullptr; }

 private:
  struct Callbacks;
  friend struct Callbacks;
  using Clock = std::chrono::steady_clock;

  std::size_t readRaw(char* out, std::size_t size);
  bool writeRaw(std::string_view bytes);
  // As much as moves at present; with `wait` a clear connection waits for bytes. 0 when nothing
  // moves, nothing when the connection is over.
  std::optional<std::size_t> receive(char* out, std::size_t size, bool wait);
  std::optional<std::size_t> sendSome(std::string_view bytes);
  bool waitFor(bool write, Clock::time_point deadline);
  void heard(std::string_view line);
  void forgetClearText(Protocol protocol);
  ErrorCode errorOfConnect(int code, ConnectionType type) const;

  void* handle_ = nullptr;
  platform::Socket socket_{};
  std::chrono::milliseconds timeout_{};
  Pace readPace_;
  bool encrypted_ = false;
  std::size_t heardBytes_ = 0;
  std::string greeting_;
  std::vector<std::string> lines_;
  std::unique_ptr<Deflate> deflate_;

  std::atomic<bool> cancelled_{false};
  // Guards sockets_: those that curl has open, so that another thread can end them.
  std::mutex socketsLock_;
  std::vector<platform::Socket> sockets_;
};

}  // namespace brennox::net
