#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/Data.h>
#include <brennox/MessageHeader.h>
#include <brennox/POPMessageInfo.h>
#include <brennox/POPProgressCallback.h>
#include <brennox/POPSession.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "net/md5.h"
#include "net/scripted_server.h"

namespace brennox {
namespace {

using net::ScriptedServer;

// A small POP3 server: answers by command, and keeps what it heard.
class Mailbox {
 public:
  explicit Mailbox(std::string greeting = "+OK ready") : greeting_(std::move(greeting)) {
    answers = {{"CAPA", "+OK\r\nUSER\r\nTOP\r\nUIDL\r\nPIPELINING\r\n.\r\n"},
               {"USER alice", "+OK\r\n"},
               {"PASS secret", "+OK\r\n"},
               {"LIST", "+OK\r\n1 7\r\n2 11\r\n.\r\n"},
               {"UIDL", "+OK\r\n1 aa\r\n2 bb\r\n.\r\n"},
               {"RETR 1", "+OK\r\nA: b\r\n\r\nx\r\n.\r\n"},
               {"TOP 1 0", "+OK\r\nSubject: hello\r\n\r\n.\r\n"},
               {"DELE 1", "+OK\r\n"},
               {"NOOP", "+OK\r\n"},
               {"QUIT", "+OK bye\r\n"}};
  }

  void serve(ScriptedServer::Peer& peer) {
    peer.send(greeting_ + "\r\n");
    for (std::string line = peer.line(); !line.empty(); line = peer.line()) {
      std::string answer;
      {
        const std::lock_guard<std::mutex> guard(lock_);
        heard_.push_back(line);
        const auto found = answers.find(line);
        answer = found == answers.end() ? "-ERR what?\r\n" : found->second;
      }
      if (answer.empty()) {
        return;
      }
      peer.send(answer);
      if (line == "QUIT") {
        return;
      }
    }
  }

  bool heard(const std::string& line) {
    const std::lock_guard<std::mutex> guard(lock_);
    return std::find(heard_.begin(), heard_.end(), line) != heard_.end();
  }

  // Set before the first connection. An empty answer closes the connection.
  std::map<std::string, std::string> answers;

 private:
  std::string greeting_;
  std::mutex lock_;
  std::vector<std::string> heard_;
};

class PopSession : public testing::Test {
 protected:
  Ref<POPSession> sessionFor(ScriptedServer& server) {
    auto session = make<POPSession>();
    session->setHostname(String::stringWithText("127.0.0.1"));
    session->setPort(server.port());
    session->setConnectionType(ConnectionTypeClear);
    session->setUsername(String::stringWithText("alice"));
    session->setPassword(String::stringWithText("secret"));
    session->setTimeout(1);
    return session;
  }

  AutoreleasePool pool_;
  Mailbox mailbox_;
  ErrorCode error_ = ErrorNone;
};

TEST_F(PopSession, HasTheLibraryDefaults) {
  const auto session = make<POPSession>();
  EXPECT_EQ(session->port(), 0U);
  EXPECT_EQ(session->connectionType(), ConnectionTypeTLS);
  EXPECT_TRUE(session->isCheckCertificateEnabled());
  EXPECT_EQ(session->timeout(), 30);
  EXPECT_EQ(session->hostname(), nullptr);
}

TEST_F(PopSession, LoginConnectsByItselfAndConnectDoesNotLogIn) {
  ScriptedServer server([this](auto& peer) { mailbox_.serve(peer); });
  const auto session = sessionFor(server);
  session->connect(&error_);
  EXPECT_EQ(error_, ErrorNone);
  EXPECT_FALSE(mailbox_.heard("USER alice"));
  session->login(&error_);
  EXPECT_EQ(error_, ErrorNone);
  EXPECT_TRUE(mailbox_.heard("PASS secret"));
  EXPECT_EQ(server.connections(), 1);
  session->disconnect();
  EXPECT_TRUE(mailbox_.heard("QUIT"));
  session->login(&error_);
  EXPECT_EQ(error_, ErrorNone);
  EXPECT_EQ(server.connections(), 2);
}

TEST_F(PopSession, ListsFetchesAndDeletes) {
  ScriptedServer server([this](auto& peer) { mailbox_.serve(peer); });
  const auto session = sessionFor(server);
  Array* const messages = session->fetchMessages(&error_);
  ASSERT_EQ(error_, ErrorNone);
  ASSERT_EQ(messages->count(), 2U);
  auto* const first = messages->at<POPMessageInfo>(0);
  EXPECT_EQ(first->index(), 1U);
  EXPECT_EQ(first->uid()->view(), "aa");
  EXPECT_EQ(messages->at<POPMessageInfo>(1)->size(), 11U);
  Data* const data = session->fetchMessage(first, nullptr, &error_);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->view(), "A: b\r\n\r\nx\r\n");
  MessageHeader* const header = session->fetchHeader(first, &error_);
  ASSERT_NE(header, nullptr);
  EXPECT_EQ(header->subject()->view(), "hello");
  session->deleteMessage(first, &error_);
  EXPECT_EQ(error_, ErrorNone);
  EXPECT_EQ(session->fetchMessage(7, nullptr, &error_), nullptr);
  EXPECT_EQ(error_, ErrorFetch);
}

TEST_F(PopSession, ListsWithOnlyOneOfListAndUidl) {
  mailbox_.answers.erase("UIDL");
  ScriptedServer server([this](auto& peer) { mailbox_.serve(peer); });
  const auto session = sessionFor(server);
  Array* const messages = session->fetchMessages(&error_);
  ASSERT_NE(messages, nullptr);
  EXPECT_EQ(messages->at<POPMessageInfo>(0)->uid(), nullptr);
  EXPECT_EQ(messages->at<POPMessageInfo>(1)->size(), 11U);
}

TEST_F(PopSession, AServerWithoutCapaIsAskedOneByOne) {
  mailbox_.answers.erase("CAPA");
  mailbox_.answers.erase("TOP 1 0");
  ScriptedServer server([this](auto& peer) { mailbox_.serve(peer); });
  const auto session = sessionFor(server);
  ASSERT_NE(session->fetchMessages(&error_), nullptr);
  ASSERT_NE(session->fetchHeader(1, &error_), nullptr);
  EXPECT_TRUE(mailbox_.heard("TOP 1 0"));
  EXPECT_TRUE(mailbox_.heard("RETR 1"));
}

TEST_F(PopSession, AnEntryOfAnotherMessageIsNotTouched) {
  mailbox_.answers["UIDL 1"] = "+OK 1 other\r\n";
  ScriptedServer server([this](auto& peer) { mailbox_.serve(peer); });
  const auto session = sessionFor(server);
  const auto info = make<POPMessageInfo>();
  info->setIndex(1);
  info->setUid(String::stringWithText("aa"));
  session->deleteMessage(info.get(), &error_);
  EXPECT_EQ(error_, ErrorDeleteMessage);
  EXPECT_FALSE(mailbox_.heard("DELE 1"));
}

TEST_F(PopSession, ApopIsUsedWhereItIsOffered) {
  Mailbox mailbox("+OK ready <1@a>");
  mailbox.answers["APOP alice " + net::md5Hex("<1@a>secret")] = "+OK\r\n";
  ScriptedServer server([&](auto& peer) { mailbox.serve(peer); });
  const auto session = sessionFor(server);
  session->login(&error_);
  EXPECT_EQ(error_, ErrorNone);
  EXPECT_FALSE(mailbox.heard("PASS secret"));
}

TEST_F(PopSession, RefusalsHaveTheirOwnErrors) {
  struct Case {
    const char* answer;
    ErrorCode error;
  };
  for (const Case& c :
       {Case{"-ERR no\r\n", ErrorAuthentication}, Case{"-ERR [IN-USE] x\r\n", ErrorMailboxInUse},
        Case{"-ERR [SYS/TEMP] x\r\n", ErrorAccountUnavailable}, Case{"hello\r\n", ErrorParse},
        Case{"", ErrorConnection}}) {
    Mailbox mailbox;
    mailbox.answers["PASS secret"] = c.answer;
    ScriptedServer server([&](auto& peer) { mailbox.serve(peer); });
    const auto session = sessionFor(server);
    session->login(&error_);
    EXPECT_EQ(error_, c.error) << c.answer;
  }
}

TEST_F(PopSession, ARefusedLoginLeavesNoDeadConnection) {
  // This server hangs up after a refusal without a word, as many do.
  for (const char* answer : {"-ERR no\r\n", "-ERR [IN-USE] held\r\n"}) {
    bool refuse = true;
    ScriptedServer server([&](auto& peer) {
      Mailbox mailbox;
      if (refuse) {
        mailbox.answers["PASS secret"] = answer;
        peer.send("+OK ready\r\n");
        for (std::string line = peer.line(); !line.empty(); line = peer.line()) {
          peer.send(mailbox.answers[line]);
          if (line == "PASS secret") {
            return;
          }
        }
      }
      mailbox.serve(peer);
    });
    const auto session = sessionFor(server);
    const ErrorCode expected = std::string_view(answer).find('[') == std::string_view::npos
                                   ? ErrorAuthentication
                                   : ErrorMailboxInUse;
    for (int i = 0; i < 3; ++i) {
      session->login(&error_);
      EXPECT_EQ(error_, expected);
    }
    refuse = false;
    session->login(&error_);
    EXPECT_EQ(error_, ErrorNone);
  }
}

TEST_F(PopSession, CapabilitiesThatAreToldAfterTheLoginAreUsed) {
  std::atomic<bool> loggedIn{false};
  ScriptedServer server([&](auto& peer) {
    peer.send("+OK ready\r\n");
    for (std::string line = peer.line(); !line.empty(); line = peer.line()) {
      if (line == "CAPA" && !loggedIn) {
        peer.send("+OK\r\nUSER\r\n.\r\n");
        continue;
      }
      loggedIn = loggedIn || line == "PASS secret";
      peer.send(mailbox_.answers[line]);
    }
  });
  const auto session = sessionFor(server);
  Array* const messages = session->fetchMessages(&error_);
  ASSERT_NE(messages, nullptr);
  EXPECT_EQ(messages->at<POPMessageInfo>(0)->uid()->view(), "aa");
  EXPECT_EQ(session->fetchHeader(1, &error_)->subject()->view(), "hello");
}

TEST_F(PopSession, CapabilitiesThatAreRefusedAfterTheLoginStayAsTheyWere) {
  bool told = false;
  ScriptedServer server([&](auto& peer) {
    peer.send("+OK ready\r\n");
    for (std::string line = peer.line(); !line.empty(); line = peer.line()) {
      if (line == "CAPA") {
        peer.send(told ? "-ERR not now\r\n" : "+OK\r\nUSER\r\nUIDL\r\n.\r\n");
        told = true;
        continue;
      }
      EXPECT_NE(line, "TOP 1 0");
      peer.send(mailbox_.answers[line]);
    }
  });
  const auto session = sessionFor(server);
  EXPECT_NE(session->fetchHeader(1, &error_), nullptr);
  EXPECT_EQ(error_, ErrorNone);
}

TEST_F(PopSession, ALostConnectionHealsWithTheNextCall) {
  mailbox_.answers["NOOP"] = "";
  ScriptedServer server([this](auto& peer) { mailbox_.serve(peer); });
  const auto session = sessionFor(server);
  session->noop(&error_);
  EXPECT_EQ(error_, ErrorConnection);
  EXPECT_NE(session->fetchMessages(&error_), nullptr);
  EXPECT_EQ(server.connections(), 2);
}

TEST_F(PopSession, CheckAccountLeavesNoConnection) {
  ScriptedServer server([this](auto& peer) { mailbox_.serve(peer); });
  const auto session = sessionFor(server);
  session->checkAccount(&error_);
  EXPECT_EQ(error_, ErrorNone);
  EXPECT_TRUE(mailbox_.heard("QUIT"));
  session->noop(&error_);
  EXPECT_EQ(server.connections(), 2);
}

TEST_F(PopSession, LineBreaksInCredentialsAreNeverSent) {
  ScriptedServer server([this](auto& peer) { mailbox_.serve(peer); });
  const auto session = sessionFor(server);
  session->setUsername(String::stringWithText("alice\r\nDELE 1"));
  session->login(&error_);
  EXPECT_EQ(error_, ErrorInvalidArgument);
  EXPECT_FALSE(mailbox_.heard("DELE 1"));
}

TEST_F(PopSession, ASilentServerEndsTheCallWithinTheTimeout) {
  ScriptedServer server([](auto& peer) { peer.line(); });
  const auto session = sessionFor(server);
  session->connect(&error_);
  EXPECT_EQ(error_, ErrorConnection);
}

TEST_F(PopSession, TellsProgress) {
  struct Progress : POPProgressCallback {
    void bodyProgress(POPSession*, unsigned int current, unsigned int maximum) override {
      EXPECT_LE(current, maximum);
      last = current;
    }
    unsigned int last = 0;
  };
  ScriptedServer server([this](auto& peer) { mailbox_.serve(peer); });
  const auto session = sessionFor(server);
  Progress progress;
  ASSERT_NE(session->fetchMessage(1, &progress, &error_), nullptr);
  EXPECT_EQ(progress.last, 11U);
}

}  // namespace
}  // namespace brennox
