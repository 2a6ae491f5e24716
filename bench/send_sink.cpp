// A mail server that takes every mail and keeps none, for measuring clients. Prints the ports that
// it listens on (clear, then TLS) and ends with its standard input.
//   send_sink CERTIFICATE KEY
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

namespace {

// The clear or encrypted end of one connection.
class Peer {
 public:
  Peer(int socket, SSL* ssl) : socket_(socket), ssl_(ssl) {}
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer() {
    if (ssl_ != nullptr) {
      SSL_shutdown(ssl_);
      SSL_free(ssl_);
    }
    close(socket_);
  }

  bool say(std::string_view text) {
    const auto length = static_cast<int>(text.size());
    return ssl_ != nullptr ? SSL_write(ssl_, text.data(), length) == length
                           : send(socket_, text.data(), text.size(), MSG_NOSIGNAL) == length;
  }

  // Up to and with the mark; false when the client has gone.
  bool readThrough(std::string_view mark, std::string& text) {
    std::size_t from = 0;
    std::size_t at;
    while ((at = pending_.find(mark, from)) == pending_.npos) {
      from = pending_.size() < mark.size() ? 0 : pending_.size() - mark.size() + 1;
      char buffer[65536];
      const ssize_t got = ssl_ != nullptr ? SSL_read(ssl_, buffer, sizeof buffer)
                                          : recv(socket_, buffer, sizeof buffer, 0);
      if (got <= 0) {
        return false;
      }
      pending_.append(buffer, static_cast<std::size_t>(got));
    }
    text = pending_.substr(0, at + mark.size());
    pending_.erase(0, at + mark.size());
    return true;
  }

 private:
  const int socket_;
  SSL* const ssl_;
  std::string pending_;
};

void serve(int socket, SSL_CTX* context) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  SSL* ssl = nullptr;
  if (context != nullptr) {
    ssl = SSL_new(context);
    SSL_set_fd(ssl, socket);
    if (SSL_accept(ssl) != 1) {
      SSL_free(ssl);
      close(socket);
      return;
    }
  }
  Peer peer(socket, ssl);
  peer.say("220 sink ESMTP\r\n");
  std::string line;
  while (peer.readThrough("\r\n", line)) {
    const std::string_view command = std::string_view(line).substr(0, 4);
    if (command == "DATA") {
      peer.say("354 go on\r\n");
      if (!peer.readThrough("\r\n.\r\n", line)) {
        return;
      }
      peer.say("250 taken\r\n");
    } else if (command == "QUIT") {
      peer.say("221 bye\r\n");
      return;
    } else {
      peer.say("250 fine\r\n");
    }
  }
}

int listenSomewhere(int& port) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  bind(listener, reinterpret_cast<sockaddr*>(&address), length);
  listen(listener, 128);
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
  port = ntohs(address.sin_port);
  return listener;
}

void acceptForever(int listener, SSL_CTX* context) {
  for (;;) {
    const int client = accept(listener, nullptr, nullptr);
    if (client >= 0) {
      std::thread(serve, client, context).detach();
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: send_sink CERTIFICATE KEY\n");
    return 2;
  }
  std::signal(SIGPIPE, SIG_IGN);
  SSL_CTX* const context = SSL_CTX_new(TLS_server_method());
  if (SSL_CTX_use_certificate_chain_file(context, argv[1]) != 1 ||
      SSL_CTX_use_PrivateKey_file(context, argv[2], SSL_FILETYPE_PEM) != 1) {
    std::fprintf(stderr, "cannot read the certificate or its key\n");
    return 1;
  }
  int clearPort = 0;
  int tlsPort = 0;
  const int clear = listenSomewhere(clearPort);
  const int tls = listenSomewhere(tlsPort);
  std::thread(acceptForever, clear, nullptr).detach();
  std::thread(acceptForever, tls, context).detach();
  std::printf("%d %d\n", clearPort, tlsPort);
  std::fflush(stdout);
  while (std::getchar() != EOF) {
  }
  std::_Exit(0);
}
