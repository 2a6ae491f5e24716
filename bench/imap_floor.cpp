// The floor of an IMAP client: a bare socket, or bare OpenSSL, that sends the command and throws
// the answer away; and bare libcurl for appends.
//   imap_floor fetch PORT USER PASSWORD TLS FOLDER COMMAND...   COMMAND is "UID FETCH 1:* (...)"
//   imap_floor keep  PORT USER PASSWORD TLS FOLDER COMMAND...   the same, and keeps the first
//   literal of each
//                                                               answer in a block of its own until
//                                                               the end
//   imap_floor append PORT USER PASSWORD COUNT FILE URLPATH     a connection each, as the sessions
//   do
// Prints the milliseconds of the commands alone.
#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

int g_socket = -1;
SSL* g_tls = nullptr;
char g_buffer[262144];
std::vector<char*> g_kept;

std::size_t readSome(char* out, std::size_t size) {
  const long got =
      g_tls != nullptr ? SSL_read(g_tls, out, static_cast<int>(size)) : ::read(g_socket, out, size);
  if (got <= 0) {
    std::exit(1);
  }
  return static_cast<std::size_t>(got);
}

void sendAll(const std::string& text) {
  const long put = g_tls != nullptr ? SSL_write(g_tls, text.data(), static_cast<int>(text.size()))
                                    : ::write(g_socket, text.data(), text.size());
  if (put != static_cast<long>(text.size())) {
    std::exit(1);
  }
}

// What a client does at least that hands the literal of an answer to somebody: memory of the right
// size, and the bytes that are not in hand yet read straight into it.
void keepLiteral() {
  std::size_t got = 0;
  const char* open = nullptr;
  const char* end = nullptr;
  while (end == nullptr) {
    if (got == sizeof g_buffer) {
      std::exit(1);
    }
    got += readSome(g_buffer + got, sizeof g_buffer - got);
    open = static_cast<const char*>(std::memchr(g_buffer, '{', got));
    end = open == nullptr ? nullptr
                          : static_cast<const char*>(std::memchr(
                                open, '\n', got - static_cast<std::size_t>(open - g_buffer)));
  }
  const std::size_t size = std::strtoul(open + 1, nullptr, 10);
  const std::size_t head = static_cast<std::size_t>(end + 1 - g_buffer);
  char* const kept = static_cast<char*>(std::malloc(size + 1));
  std::size_t done = std::min(size, got - head);
  std::memcpy(kept, g_buffer + head, done);
  while (done < size) {
    done += readSome(kept + done, size - done);
  }
  g_kept.push_back(kept);
}

// A status line may carry all capabilities.
constexpr std::size_t kTail = 4096;

// Throws everything away until a line "<tag> OK..." ends the bytes that have come.
void discardThrough(const std::string& tag) {
  std::string tail;
  const std::string start = "\n" + tag + " ";
  for (;;) {
    const std::size_t got = readSome(g_buffer, sizeof g_buffer);
    const std::size_t kept = std::min<std::size_t>(got, kTail);
    tail.append(g_buffer + got - kept, kept);
    tail.erase(0, tail.size() > 2 * kTail ? tail.size() - 2 * kTail : 0);
    const std::size_t at = tail.rfind(start);
    if (at != std::string::npos && tail.find("\r\n", at) == tail.size() - 2) {
      return;
    }
    if (tail.compare(0, tag.size() + 1, tag + " ") == 0 && tail.back() == '\n') {
      return;
    }
  }
}

void command(const std::string& text, bool keep = false) {
  static int number = 0;
  const std::string tag = "f" + std::to_string(++number);
  sendAll(tag + " " + text + "\r\n");
  if (keep) {
    keepLiteral();
  }
  discardThrough(tag);
}

void connectTo(int port, bool tls) {
  g_socket = ::socket(AF_INET, SOCK_STREAM, 0);
  const int on = 1;
  ::setsockopt(g_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<unsigned short>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(g_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    std::exit(1);
  }
  if (tls) {
    SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
    g_tls = SSL_new(context);
    SSL_set_fd(g_tls, g_socket);
    if (SSL_connect(g_tls) != 1) {
      std::exit(1);
    }
  }
  readSome(g_buffer, sizeof g_buffer);
}

double since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
      .count();
}

int fetch(int argc, char** argv, bool keep) {
  connectTo(std::atoi(argv[2]), std::atoi(argv[5]) != 0);
  command(std::string("LOGIN \"") + argv[3] + "\" \"" + argv[4] + "\"");
  command(std::string("SELECT ") + argv[6]);
  const auto start = std::chrono::steady_clock::now();
  for (int i = 7; i < argc; ++i) {
    command(argv[i], keep);
  }
  std::printf("%.3f\n", since(start));
  return 0;
}

struct Upload {
  const std::string* bytes;
  std::size_t position;
};

std::size_t give(char* out, std::size_t size, std::size_t count, void* state) {
  auto* const upload = static_cast<Upload*>(state);
  const std::size_t some = std::min(size * count, upload->bytes->size() - upload->position);
  std::memcpy(out, upload->bytes->data() + upload->position, some);
  upload->position += some;
  return some;
}

int append(char** argv) {
  std::ifstream file(argv[6], std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const std::string url = std::string("imap://127.0.0.1:") + argv[2] + "/" + argv[7];
  curl_global_init(CURL_GLOBAL_ALL);
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < std::atoi(argv[5]); ++i) {
    CURL* const curl = curl_easy_init();
    Upload upload{&bytes, 0};
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_USERNAME, argv[3]);
    curl_easy_setopt(curl, CURLOPT_PASSWORD, argv[4]);
    curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl, CURLOPT_INFILESIZE, static_cast<long>(bytes.size()));
    curl_easy_setopt(curl, CURLOPT_READFUNCTION, &give);
    curl_easy_setopt(curl, CURLOPT_READDATA, &upload);
    if (curl_easy_perform(curl) != CURLE_OK) {
      return 1;
    }
    curl_easy_cleanup(curl);
  }
  std::printf("%.3f\n", since(start));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const bool keep = argc >= 8 && std::strcmp(argv[1], "keep") == 0;
  if (keep || (argc >= 8 && std::strcmp(argv[1], "fetch") == 0)) {
    return fetch(argc, argv, keep);
  }
  return argc == 8 && std::strcmp(argv[1], "append") == 0 ? append(argv) : 2;
}
