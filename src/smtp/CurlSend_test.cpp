#include "smtp/CurlSend.h"

#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/Data.h>
#include <brennox/String.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <map>
#include <thread>

#include "support/LineServer.h"

namespace velkor {
namespace {

using brennox::Address;
using brennox::Array;
using brennox::ErrorCode;
using brennox::String;

constexpr std::string_view kMessage = "Subject: test\r\n\r\nbody\r\n";

Address* AddressOf(std::string_view mailbox) {
  return Address::addressWithMailbox(String::stringWithText(mailbox));
}

class CurlSend : public testing::Test {
 protected:
  CURLcode Send(std::string_view from, const std::vector<std::string>& to,
                const RetryPolicy& policy = {}) {
    Array* const recipients = Array::array();
    for (const std::string& mailbox : to) {
      recipients->addObject(AddressOf(mailbox));
    }
    const brennox::Data message(kMessage.data(), kMessage.size());
    return SendMessageWithRetries(session, AddressOf(from), recipients, message, &error, policy);
  }

  void Use(const LineServer& server) {
    session.with([&server](SMTPFields& fields) {
      fields.hostname = "127.0.0.1";
      fields.port = server.port();
      fields.connectionType = 1;
    });
  }

  brennox::AutoreleasePool pool;
  SMTPSettings session;
  ErrorCode error = brennox::ErrorNone;
};

TEST_F(CurlSend, IsNotTriedAgainOnceItIsToStop) {
  const LineServer silent([](LineServer::Connection& client) { client.staySilent(); });
  Use(silent);
  std::atomic<bool> giveUp = false;
  std::thread telling([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    giveUp = true;
  });
  const cpcurl::StopWhen stop(giveUp);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Send("me@example.test", {"you@example.test"}), CURLE_ABORTED_BY_CALLBACK);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
  EXPECT_EQ(error, brennox::ErrorConnection);
  EXPECT_EQ(silent.connections(), 1);
  telling.join();
}

TEST_F(CurlSend, SendsTheMessageAsItIs) {
  const LineServer server(TakeMail());
  Use(server);
  EXPECT_EQ(Send("me@example.test", {"you@example.test"}), CURLE_OK);
  EXPECT_EQ(error, brennox::ErrorNone);
  EXPECT_TRUE(server.saw("MAIL FROM:<me@example.test>"));
  EXPECT_TRUE(server.saw("RCPT TO:<you@example.test>"));
  EXPECT_TRUE(server.saw("Subject: test\r\n\r\nbody"));
}

TEST_F(CurlSend, RecipientsOfEarlierSendsStay) {
  const LineServer server(TakeMail());
  Use(server);
  Send("me@example.test", {"one@example.test"});
  Send("me@example.test", {"two@example.test"});
  std::vector<std::string> recipients;
  for (const std::string& line : server.lines()) {
    if (line.starts_with("RCPT")) {
      recipients.push_back(line);
    }
  }
  EXPECT_EQ(recipients,
            (std::vector<std::string>{"RCPT TO:<one@example.test>", "RCPT TO:<one@example.test>",
                                      "RCPT TO:<two@example.test>"}));
}

TEST_F(CurlSend, TimeOutsGrowFromAttemptToAttempt) {
  const RetryPolicy policy;
  EXPECT_EQ(policy.firstTimeout, 300);
  EXPECT_EQ(policy.timeoutStep, 240);
  EXPECT_EQ(policy.attempts, 5);

  const LineServer server([](LineServer::Connection& client) { client.staySilent(); });
  Use(server);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Send("me@example.test", {"you@example.test"}, {1, 1, 2}), CURLE_OPERATION_TIMEDOUT);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(error, brennox::ErrorConnection);
  EXPECT_EQ(server.connections(), 2);
  // 1 + 2 seconds.
  EXPECT_GE(took.count(), 2.5);
  EXPECT_LE(took.count(), 10);
}

TEST_F(CurlSend, ATimeOutIsFollowedByASuccess) {
  int connection = 0;
  const auto take = TakeMail();
  const LineServer server([&connection, &take](LineServer::Connection& client) {
    if (connection++ == 0) {
      client.staySilent();
    } else {
      take(client);
    }
  });
  Use(server);
  EXPECT_EQ(Send("me@example.test", {"you@example.test"}, {1, 9, 5}), CURLE_OK);
  EXPECT_EQ(server.connections(), 2);
  // The whole message again, not what the first attempt left.
  EXPECT_TRUE(server.saw("Subject: test\r\n\r\nbody"));
}

TEST_F(CurlSend, ARefusedRecipientIsTriedFiveTimes) {
  const LineServer server([](LineServer::Connection& client) {
    client.send("220 ready\r\n");
    std::string line;
    while (client.readLine(line)) {
      client.send(line.starts_with("RCPT") ? "550 no such user\r\n" : "250 fine\r\n");
    }
  });
  Use(server);
  EXPECT_EQ(Send("me@example.test", {"nobody@example.test"}), CURLE_SEND_ERROR);
  EXPECT_EQ(error, brennox::ErrorConnection);
  EXPECT_EQ(server.connections(), 5);
}

TEST_F(CurlSend, OtherFailuresAreTriedOnce) {
  const LineServer server([](LineServer::Connection& client) { client.send("554 go away\r\n"); });
  Use(server);
  EXPECT_NE(Send("me@example.test", {"you@example.test"}), CURLE_OK);
  EXPECT_EQ(error, brennox::ErrorConnection);
  EXPECT_EQ(server.connections(), 1);
}

TEST_F(CurlSend, LineBreaksInAddressesChangeNothingAndSendNothing) {
  const LineServer server(TakeMail());
  Use(server);
  const std::string zero("you@example.test\0x", 18);
  const std::string evil = "you@example.test>\r\nRCPT TO:<evil@example.test";
  for (const std::string& bad : {zero, evil, std::string("a\n"), std::string("a\r")}) {
    error = brennox::ErrorNone;
    Send(bad, {"you@example.test"});
    EXPECT_EQ(error, brennox::ErrorSendMessage);
    error = brennox::ErrorNone;
    Send("me@example.test", {"you@example.test", bad});
    EXPECT_EQ(error, brennox::ErrorSendMessage);
  }
  EXPECT_TRUE(session.snapshot().recipients.empty());
  EXPECT_EQ(session.snapshot().from, "");
  EXPECT_EQ(server.connections(), 0);
}

TEST_F(CurlSend, LineBreaksInSettingsSendNothing) {
  const LineServer server(TakeMail({"AUTH PLAIN"}));
  for (std::string SMTPFields::*field : {&SMTPFields::hostname, &SMTPFields::username,
                                         &SMTPFields::password, &SMTPFields::OAuth2Token}) {
    for (const std::string& bad :
         {std::string("127.0.0.1\r\nx"), std::string("127.0.0.1\0x", 11)}) {
      Use(server);
      const std::string kept =
          session.with([&](SMTPFields& fields) { return std::exchange(fields.*field, bad); });
      error = brennox::ErrorNone;
      Send("me@example.test", {"you@example.test"});
      EXPECT_EQ(error, brennox::ErrorSendMessage);
      session.with([&](SMTPFields& fields) {
        fields.*field = kept;
        return 0;
      });
    }
  }
  EXPECT_EQ(server.connections(), 0);
}

TEST_F(CurlSend, BearerWithAnEmptyTokenSendsNameAndPassword) {
  const LineServer server(TakeMail({"AUTH PLAIN XOAUTH2"}));
  Use(server);
  session.with([](SMTPFields& fields) {
    fields.authType = 64;
    fields.username = "user";
    fields.password = "secret";
  });
  EXPECT_EQ(Send("me@example.test", {"you@example.test"}), CURLE_OK);
  EXPECT_TRUE(server.saw("AHVzZXIAc2VjcmV0"));
  session.with([](SMTPFields& fields) { fields.OAuth2Token = "token"; });
  EXPECT_EQ(Send("me@example.test", {"you@example.test"}), CURLE_OK);
  EXPECT_TRUE(server.saw("AUTH XOAUTH2"));
}

TEST_F(CurlSend, NoSchemeIsAConnectionError) {
  for (const int type : {0, 3, 5}) {
    session.with([type](SMTPFields& fields) {
      fields.hostname = "127.0.0.1";
      fields.connectionType = type;
    });
    EXPECT_NE(Send("me@example.test", {"you@example.test"}), CURLE_OK);
    EXPECT_EQ(error, brennox::ErrorConnection);
  }
}

TEST(CurlSendError, FollowsFromTheResultAndTheConnectionType) {
  std::map<int, ErrorCode> codes = {
      {0, brennox::ErrorNone}, {56, brennox::ErrorSendMessage}, {67, brennox::ErrorAuthentication}};
  for (const int result : {53, 54, 66}) {
    codes[result] = brennox::ErrorTLSNotAvailable;
  }
  for (const int result : {58, 59, 60, 77, 82, 83, 90, 91}) {
    codes[result] = brennox::ErrorCertificate;
  }
  for (const int type : {0, 1, 2, 3, 4}) {
    codes[64] = type == 4 ? brennox::ErrorTLSNotAvailable : brennox::ErrorStartTLSNotAvailable;
    for (int result = 0; result < 200; ++result) {
      const auto known = codes.find(result);
      EXPECT_EQ(ErrorOfSend(static_cast<CURLcode>(result), type),
                known == codes.end() ? brennox::ErrorConnection : known->second)
          << "result " << result << ", connection type " << type;
    }
  }
}

TEST_F(CurlSend, MissingStartTlsHasItsOwnCode) {
  const LineServer server(TakeMail());
  Use(server);
  session.with([](SMTPFields& fields) { fields.connectionType = 2; });
  EXPECT_EQ(Send("me@example.test", {"you@example.test"}), CURLE_USE_SSL_FAILED);
  EXPECT_EQ(error, brennox::ErrorStartTLSNotAvailable);
  EXPECT_FALSE(server.saw("MAIL"));
}

TEST_F(CurlSend, StrictGostNeedsTls) {
  const LineServer server(TakeMail());
  Use(server);
  session.with([](SMTPFields& fields) { fields.strictGost = true; });
  EXPECT_EQ(Send("me@example.test", {"you@example.test"}), CURLE_SSL_ENGINE_NOTFOUND);
  EXPECT_EQ(error, brennox::ErrorTLSNotAvailable);
  EXPECT_EQ(server.connections(), 0);
}

TEST_F(CurlSend, DotsAtLineStartsAreStuffed) {
  const LineServer server(TakeMail());
  Use(server);
  const std::string_view text = "Subject: dots\r\n\r\n.\r\n..x\r\n.end\r\n";
  session.with([](SMTPFields& fields) { fields.recipients = {"you@example.test"}; });
  EXPECT_EQ(SendWithCurl(session, text.data(), text.size(), &error, 5), CURLE_OK);
  EXPECT_TRUE(server.saw("Subject: dots\r\n\r\n..\r\n...x\r\n..end"));
}

TEST_F(CurlSend, WithoutRecipientsTheResultIsWhatCurlMakesOfIt) {
  // libcurl then asks for help instead of sending.
  const LineServer server(TakeMail());
  Use(server);
  const CURLcode result = Send("me@example.test", {});
  EXPECT_EQ(error == brennox::ErrorNone, result == CURLE_OK);
  EXPECT_FALSE(server.saw("MAIL"));
  EXPECT_FALSE(server.saw("DATA"));
}

TEST_F(CurlSend, SettingsMayChangeWhileASendRuns) {
  const LineServer server(TakeMail());
  Use(server);
  std::atomic<bool> done = false;
  std::thread script([this, &done] {
    while (!done) {
      session.with([](SMTPFields& fields) {
        fields.username = fields.username.empty() ? std::string(100, 'x') : "";
      });
    }
  });
  for (int i = 0; i < 20; i++) {
    Send("me@example.test", {"you@example.test"});
  }
  done = true;
  script.join();
  EXPECT_EQ(session.snapshot().recipients.size(), 20U);
}

}  // namespace
}  // namespace velkor
