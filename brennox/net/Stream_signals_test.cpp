// What signals do to a connection; systems without signals have no such tests.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "net/endpoint_for_test.h"

namespace brennox::net {
namespace {

using namespace std::chrono_literals;

TEST(Stream, WaitsOnWhenASignalComes) {
  ScriptedServer server([](ScriptedServer::Peer& peer) {
    peer.greet("IMAP4rev1");
    std::this_thread::sleep_for(300ms);
    peer.send("x");
    peer.line();
  });
  struct sigaction ignored {};
  ignored.sa_handler = [](int) {};
  struct sigaction before {};
  sigaction(SIGUSR1, &ignored, &before);
  Stream stream;
  ASSERT_EQ(stream.open(endpointOf(server)), ErrorNone);
  std::atomic<bool> over{false};
  std::thread other([&over, reader = pthread_self()] {
    while (!over.load()) {
      pthread_kill(reader, SIGUSR1);
      std::this_thread::sleep_for(20ms);
    }
  });
  char byte;
  EXPECT_EQ(stream.read(&byte, 1), 1U);
  // Signals do not keep a silent server alive, either.
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(stream.read(&byte, 1), 0U);
  EXPECT_EQ(stream.error(), ErrorConnection);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
  over.store(true);
  other.join();
  sigaction(SIGUSR1, &before, nullptr);
}

TEST(Stream, WritesToAServerThatIsGoneWithoutASignal) {
  ScriptedServer server([](ScriptedServer::Peer& peer) { peer.greet("IMAP4rev1"); });
  Stream stream;
  ASSERT_EQ(stream.open(endpointOf(server)), ErrorNone);
  struct sigaction deadly {};
  deadly.sa_handler = SIG_DFL;
  struct sigaction before {};
  sigaction(SIGPIPE, &deadly, &before);
  const auto start = std::chrono::steady_clock::now();
  while (stream.write("anybody there?\r\n") && std::chrono::steady_clock::now() - start < 5s) {
    std::this_thread::sleep_for(10ms);
  }
  EXPECT_EQ(stream.error(), ErrorConnection);
  sigaction(SIGPIPE, &before, nullptr);
}

}  // namespace
}  // namespace brennox::net
