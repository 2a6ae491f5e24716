#include "net/Stream.h"

#include <algorithm>
#include <limits>

#include "cpcurl.h"
#include "net/Deflate.h"

namespace brennox::net {
namespace {

constexpr std::int64_t kDefaultTimeout = 30;
constexpr std::int64_t kMaxTimeout = 24 * 60 * 60;
// What a server may say before the first command, all lines together.
constexpr std::size_t kMaxHeard = 64 * 1024;
// A window is this many time-outs long, two minutes as a rule. What moves more slowly than this
// through all of it is no connection that anybody can use.
constexpr int kPaceTimeouts = 4;
constexpr std::int64_t kBytesPerSecond = 64;
// Milliseconds. The system may count the tick that has begun as a whole one: what waits a little
// longer than asked has waited long enough.
constexpr int kTick = 20;
// zlib counts in 32 bits.
constexpr std::size_t kMaxCompressAtOnce = std::size_t{1} << 30;

cpcurl::Easy* handleOf(void* handle) {
  return static_cast<cpcurl::Easy*>(handle);
}

// A host name goes into a URL: nothing in it may end the host.
bool isHostName(std::string_view host) {
  return std::none_of(host.begin(), host.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte == 0x7F ||
           std::string_view("/\\@?#\"<>{}|^`").find(c) != std::string_view::npos;
  });
}

std::string urlOf(const Endpoint& endpoint) {
  const bool tls = endpoint.connectionType == ConnectionTypeTLS;
  std::string url = endpoint.protocol == Protocol::kImap ? "imap" : "pop3";
  url += tls ? "s://" : "://";
  const bool bareIPv6 =
      endpoint.host.find(':') != std::string::npos && endpoint.host.front() != '[';
  url += bareIPv6 ? "[" + endpoint.host + "]" : endpoint.host;
  return url + "/";
}

}  // namespace

bool Pace::keeps(std::size_t bytes, std::chrono::milliseconds timeout) {
  const Clock::time_point now = Clock::now();
  if (bytes_ == 0) {
    start_ = now;
  }
  bytes_ += bytes;
  const auto window = kPaceTimeouts * timeout;
  if (now - start_ < window) {
    return true;
  }
  const bool enough = bytes_ >= static_cast<std::uint64_t>(window.count() * kBytesPerSecond / 1000);
  restart();
  return enough;
}

// What curl calls while it connects.
struct Stream::Callbacks {
  static std::size_t header(char* bytes, std::size_t size, std::size_t count, void* stream) {
    auto* const self = static_cast<Stream*>(stream);
    const std::size_t length = size * count;
    self->heardBytes_ += length;
    if (self->heardBytes_ > kMaxHeard) {
      self->fail(ErrorLimitExceeded);
      return 0;
    }
    self->heard(std::string_view(bytes, length));
    return length;
  }

  static std::size_t body(char*, std::size_t size, std::size_t count, void*) {
    return size * count;
  }

  static curl_socket_t openSocket(void* stream, curlsocktype, struct curl_sockaddr* address) {
    auto* const self = static_cast<Stream*>(stream);
    const std::lock_guard<std::mutex> guard(self->socketsLock_);
    if (self->isCancelled()) {
      return CURL_SOCKET_BAD;
    }
    const platform::Socket fd =
        platform::openSocket(address->family, address->socktype, address->protocol);
    if (fd != platform::kNoSocket) {
      self->sockets_.push_back(fd);
    }
    return fd;
  }

  static int closeSocket(void* stream, curl_socket_t fd) {
    auto* const self = static_cast<Stream*>(stream);
    const std::lock_guard<std::mutex> guard(self->socketsLock_);
    self->sockets_.erase(std::remove(self->sockets_.begin(), self->sockets_.end(), fd),
                         self->sockets_.end());
    platform::closeSocket(fd);
    return 0;
  }

  static int progress(void* stream, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<Stream*>(stream)->isCancelled() ? 1 : 0;
  }
};

Stream::Stream() = default;

Stream::~Stream() {
  close();
}

void Stream::cancel() {
  cancelled_.store(true);
  const std::lock_guard<std::mutex> guard(socketsLock_);
  for (const platform::Socket socket : sockets_) {
    platform::shutdownSocket(socket);
  }
}

void Stream::resetCancel() {
  cancelled_.store(false);
}

void Stream::close() {
  if (handle_ != nullptr) {
    const platform::BrokenPipeGuard quiet;
    cpcurl::easy_cleanup(handleOf(handle_));
    handle_ = nullptr;
  }
  deflate_.reset();
}

void Stream::heard(std::string_view line) {
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
    line.remove_suffix(1);
  }
  if (greeting_.empty()) {
    greeting_ = line;
    return;
  }
  lines_.emplace_back(line);
}

// What came before the answer to STARTTLS was said in the clear, by whoever sits on the line. Of
// the answers that end (IMAP) or begin (POP3) with a status line, only the last one came encrypted.
void Stream::forgetClearText(Protocol protocol) {
  const bool imap = protocol == Protocol::kImap;
  std::size_t statusLines = 0;
  for (std::size_t i = lines_.size(); i > 0; --i) {
    const std::string& line = lines_[i - 1];
    const bool status = imap ? !line.empty() && line[0] != '*' && line[0] != '+'
                             : line.rfind("+OK", 0) == 0 || line.rfind("-ERR", 0) == 0;
    statusLines += status ? 1 : 0;
    if (statusLines == (imap ? 2 : 1)) {
      lines_.erase(lines_.begin(), lines_.begin() + static_cast<std::ptrdiff_t>(i));
      return;
    }
  }
  lines_.clear();
}

ErrorCode Stream::errorOfConnect(int code, ConnectionType type) const {
  if (isCancelled()) {
    return ErrorCancelled;
  }
  if (error_ != ErrorNone) {
    return error_;
  }
  switch (code) {
    case CURLE_OK:
      return ErrorNone;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_ISSUER_ERROR:
      return ErrorCertificate;
    case CURLE_USE_SSL_FAILED:
      return type == ConnectionTypeStartTLS ? ErrorStartTLSNotAvailable : ErrorTLSNotAvailable;
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_CIPHER:
    case CURLE_NOT_BUILT_IN:
    case CURLE_UNKNOWN_OPTION:
    case CURLE_UNSUPPORTED_PROTOCOL:
      return ErrorTLSNotAvailable;
    default:
      return ErrorConnection;
  }
}

ErrorCode Stream::open(const Endpoint& endpoint) {
  close();
  error_ = ErrorNone;
  greeting_.clear();
  lines_.clear();
  heardBytes_ = 0;
  encrypted_ = endpoint.connectionType != ConnectionTypeClear;
  const std::int64_t seconds =
      endpoint.timeout <= 0 ? kDefaultTimeout : std::min(endpoint.timeout, kMaxTimeout);
  timeout_ = std::chrono::seconds(seconds);
  readPace_.restart();
  if (isCancelled()) {
    return error_ = ErrorCancelled;
  }
  if (endpoint.host.empty() || endpoint.port > 65535) {
    return error_ = ErrorConnection;
  }
  const bool knownType = endpoint.connectionType == ConnectionTypeClear ||
                         endpoint.connectionType == ConnectionTypeStartTLS ||
                         endpoint.connectionType == ConnectionTypeTLS;
  if (!knownType || !isHostName(endpoint.host)) {
    return error_ = ErrorInvalidArgument;
  }

  const platform::BrokenPipeGuard quiet;
  cpcurl::Easy* const handle = cpcurl::easy_init();
  if (handle == nullptr) {
    return error_ = ErrorConnection;
  }
  handle_ = handle;
  const std::string url = urlOf(endpoint);
  cpcurl::easy_setopt(handle, CURLOPT_URL, url.c_str());
  cpcurl::easy_setopt(handle, CURLOPT_PORT, static_cast<long>(endpoint.port));
  cpcurl::easy_setopt(handle, CURLOPT_CONNECT_ONLY, 1L);
  cpcurl::easy_setopt(handle, CURLOPT_TCP_NODELAY, 1L);
  cpcurl::easy_setopt(handle, CURLOPT_TCP_KEEPALIVE, 1L);
  // The first bounds TCP and TLS, the second a server that connects and never greets.
  cpcurl::easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(timeout_.count()));
  cpcurl::easy_setopt(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(timeout_.count()));
  cpcurl::easy_setopt(
      handle, CURLOPT_USE_SSL,
      static_cast<long>(endpoint.connectionType == ConnectionTypeStartTLS ? CURLUSESSL_ALL
                                                                          : CURLUSESSL_NONE));
  cpcurl::easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, endpoint.checkCertificate ? 1L : 0L);
  cpcurl::easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, endpoint.checkCertificate ? 2L : 0L);
  cpcurl::easy_setopt(handle, CURLOPT_HEADERFUNCTION, &Callbacks::header);
  cpcurl::easy_setopt(handle, CURLOPT_HEADERDATA, this);
  cpcurl::easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Callbacks::body);
  cpcurl::easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, &Callbacks::openSocket);
  cpcurl::easy_setopt(handle, CURLOPT_OPENSOCKETDATA, this);
  cpcurl::easy_setopt(handle, CURLOPT_CLOSESOCKETFUNCTION, &Callbacks::closeSocket);
  cpcurl::easy_setopt(handle, CURLOPT_CLOSESOCKETDATA, this);
  cpcurl::easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, &Callbacks::progress);
  cpcurl::easy_setopt(handle, CURLOPT_XFERINFODATA, this);
  cpcurl::easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
  CURLcode code = CURLE_OK;
  if (endpoint.strictGost) {
    code = cpcurl::easy_setopt(handle, cpcurl::kOptionStrictGost, 1L);
  }
  if (code == CURLE_OK) {
    code = cpcurl::easy_perform(handle);
  }
  if (code == CURLE_OK) {
    curl_socket_t active = CURL_SOCKET_BAD;
    code = cpcurl::easy_getinfo(handle, CURLINFO_ACTIVESOCKET, &active);
    if (code == CURLE_OK && active == CURL_SOCKET_BAD) {
      code = CURLE_COULDNT_CONNECT;
    }
    socket_ = active;
  }
  error_ = errorOfConnect(code, endpoint.connectionType);
  if (error_ != ErrorNone) {
    close();
  } else if (endpoint.connectionType == ConnectionTypeStartTLS) {
    forgetClearText(endpoint.protocol);
  }
  setTimeout(timeout_);
  return error_;
}

void Stream::setTimeout(std::chrono::milliseconds timeout) {
  timeout_ = timeout;
  if (handle_ != nullptr && !encrypted_) {
    const auto bound = std::clamp<std::int64_t>(timeout.count(), 0, kMaxTimeout * 1000);
    if (!platform::setReceiveTimeout(socket_, static_cast<int>(bound) + kTick)) {
      fail(ErrorConnection);
    }
  }
}

bool Stream::waitFor(bool write, Clock::time_point deadline) {
  if (isCancelled()) {
    fail(ErrorCancelled);
    return false;
  }
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count() + 1;
  if (left <= 0) {
    fail(ErrorConnection);
    return false;
  }
  if (!write && !encrypted_) {
    // receive() has waited.
    return true;
  }
  // TLS may want to read before it can write.
  const int milliseconds =
      static_cast<int>(std::min<std::int64_t>(left, std::numeric_limits<int>::max()));
  if (platform::waitForSocket(socket_, true, write, milliseconds) == platform::Wait::kFailed) {
    fail(ErrorConnection);
    return false;
  }
  return true;
}

// Clear bytes go past curl, which would check its connection and look twice for what is not there
// yet.
std::optional<std::size_t> Stream::receive(char* out, std::size_t size, bool wait) {
  if (!encrypted_) {
    return wait ? platform::receive(socket_, out, size) : platform::receiveNow(socket_, out, size);
  }
  std::size_t count = 0;
  const CURLcode code = cpcurl::easy_recv(handleOf(handle_), out, size, &count);
  if (code == CURLE_AGAIN) {
    return 0;
  }
  return code == CURLE_OK && count > 0 ? std::optional<std::size_t>(count) : std::nullopt;
}

std::optional<std::size_t> Stream::sendSome(std::string_view bytes) {
  if (!encrypted_) {
    return platform::sendNow(socket_, bytes.data(), bytes.size());
  }
  const platform::BrokenPipeGuard quiet;
  std::size_t count = 0;
  const CURLcode code = cpcurl::easy_send(handleOf(handle_), bytes.data(), bytes.size(), &count);
  return code == CURLE_OK || code == CURLE_AGAIN ? std::optional<std::size_t>(count) : std::nullopt;
}

std::size_t Stream::readRaw(char* out, std::size_t size) {
  const Clock::time_point deadline = Clock::now() + timeout_;
  while (error_ == ErrorNone && handle_ != nullptr) {
    const std::optional<std::size_t> count = receive(out, size, true);
    if (!count) {
      fail(isCancelled() ? ErrorCancelled : ErrorConnection);
    } else if (*count == 0) {
      if (!waitFor(false, deadline)) {
        break;
      }
    } else if (readPace_.keeps(*count, timeout_)) {
      return *count;
    } else {
      break;
    }
  }
  fail(ErrorConnection);
  return 0;
}

bool Stream::writeRaw(std::string_view bytes) {
  Clock::time_point deadline = Clock::now() + timeout_;
  Pace pace;
  while (error_ == ErrorNone && handle_ != nullptr) {
    if (bytes.empty()) {
      return true;
    }
    const std::optional<std::size_t> count = sendSome(bytes);
    if (!count) {
      fail(isCancelled() ? ErrorCancelled : ErrorConnection);
    } else if (*count == 0) {
      if (!waitFor(true, deadline)) {
        break;
      }
    } else {
      bytes.remove_prefix(*count);
      deadline = Clock::now() + timeout_;
      if (!pace.keeps(*count, timeout_)) {
        break;
      }
    }
  }
  fail(ErrorConnection);
  return false;
}

std::size_t Stream::readNow(char* out, std::size_t size) {
  if (error_ != ErrorNone || handle_ == nullptr) {
    return 0;
  }
  if (deflate_ != nullptr) {
    const std::size_t count = deflate_->decompress(out, size);
    if (count > 0) {
      return count;
    }
    out = deflate_->input();
    size = std::min(size, deflate_->inputSize());
  }
  const std::optional<std::size_t> count = receive(out, size, false);
  if (!count) {
    fail(isCancelled() ? ErrorCancelled : ErrorConnection);
    return 0;
  }
  if (deflate_ != nullptr && *count > 0) {
    // Whoever asked gets it with the next read.
    deflate_->filled(*count);
    return 0;
  }
  return *count;
}

std::size_t Stream::read(char* out, std::size_t size) {
  if (deflate_ == nullptr) {
    return readRaw(out, size);
  }
  for (;;) {
    const std::size_t count = deflate_->decompress(out, size);
    if (count > 0) {
      return count;
    }
    if (deflate_->failed()) {
      fail(ErrorParse);
      return 0;
    }
    const std::size_t raw = readRaw(deflate_->input(), deflate_->inputSize());
    if (raw == 0) {
      return 0;
    }
    deflate_->filled(raw);
  }
}

bool Stream::write(std::string_view bytes) {
  readPace_.restart();
  if (deflate_ == nullptr) {
    return writeRaw(bytes);
  }
  std::string compressed;
  while (!bytes.empty()) {
    const std::string_view some = bytes.substr(0, kMaxCompressAtOnce);
    compressed.clear();
    if (!deflate_->compress(some, &compressed)) {
      fail(ErrorConnection);
      return false;
    }
    if (!writeRaw(compressed)) {
      return false;
    }
    bytes.remove_prefix(some.size());
  }
  return true;
}

bool Stream::startCompression(std::string_view pending) {
  deflate_ = Deflate::create();
  if (deflate_ == nullptr || pending.size() > deflate_->inputSize()) {
    fail(ErrorConnection);
    return false;
  }
  deflate_->feed(pending);
  return true;
}

}  // namespace brennox::net
