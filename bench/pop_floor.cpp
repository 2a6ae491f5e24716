// The floor of a POP3 client: a bare socket that sends the commands and throws the messages away.
//   pop_floor PORT USER PASSWORD COUNT DEPTH     fetches, DEPTH commands are on the way at a time
//   pop_floor PORT USER PASSWORD                 lists: LIST and UIDL at once
// Prints the milliseconds of that alone.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

int g_socket;
char g_buffer[262144];
std::size_t g_begin = 0;
std::size_t g_end = 0;

void sendAll(const std::string& text) {
  if (write(g_socket, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    std::exit(1);
  }
}

void fill() {
  if (g_begin == g_end) {
    g_begin = g_end = 0;
  } else if (g_end == sizeof g_buffer) {
    std::memmove(g_buffer, g_buffer + g_begin, g_end - g_begin);
    g_end -= g_begin;
    g_begin = 0;
  }
  const ssize_t got = read(g_socket, g_buffer + g_end, sizeof g_buffer - g_end);
  if (got <= 0) {
    std::exit(1);
  }
  g_end += static_cast<std::size_t>(got);
}

void line() {
  for (;;) {
    if (void* end = std::memchr(g_buffer + g_begin, '\n', g_end - g_begin)) {
      if (g_buffer[g_begin] != '+') {
        std::exit(1);
      }
      g_begin = static_cast<std::size_t>(static_cast<char*>(end) - g_buffer) + 1;
      return;
    }
    fill();
  }
}

// Throws away everything up to and with CRLF . CRLF.
void message() {
  line();
  for (;;) {
    if (void* end = memmem(g_buffer + g_begin, g_end - g_begin, "\r\n.\r\n", 5)) {
      g_begin = static_cast<std::size_t>(static_cast<char*>(end) - g_buffer) + 5;
      return;
    }
    if (g_end - g_begin > 4) {
      g_begin = g_end - 4;
    }
    fill();
  }
}

void fetch(int count, int depth) {
  int sent = 0;
  for (int received = 0; received < count; ++received) {
    std::string commands;
    while (sent < count && sent < received + depth) {
      commands += "RETR " + std::to_string(++sent) + "\r\n";
    }
    if (!commands.empty()) {
      sendAll(commands);
    }
    message();
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6 && argc != 4) {
    return 2;
  }
  g_socket = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(argv[1])));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(g_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    return 1;
  }
  const int yes = 1;
  setsockopt(g_socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  line();
  sendAll(std::string("USER ") + argv[2] + "\r\n");
  line();
  sendAll(std::string("PASS ") + argv[3] + "\r\n");
  line();
  const auto start = std::chrono::steady_clock::now();
  if (argc == 6) {
    fetch(std::atoi(argv[4]), std::atoi(argv[5]));
  } else {
    sendAll("LIST\r\nUIDL\r\n");
    message();
    message();
  }
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
  std::printf("%f\n", took.count());
  return 0;
}
