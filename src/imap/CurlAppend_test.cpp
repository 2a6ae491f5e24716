#include "imap/CurlAppend.h"

#include <brennox/AutoreleasePool.h>
#include <brennox/Data.h>
#include <brennox/IMAPSession.h>
#include <brennox/String.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <thread>

#include "support/LineServer.h"

namespace velkor {
namespace {

using brennox::ErrorCode;
using brennox::String;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

// The library's session without a connection: selecting succeeds or fails as it is told.
class FakeSession : public brennox::IMAPSession {
 public:
  void selectIfNeeded(String* folder, ErrorCode* error) override {
    selected.emplace_back(folder->view());
    *error = selectError;
  }
  std::uint32_t uidNext() override { return 4294967295U; }
  std::uint32_t appended(String* folder, const char* answer) override {
    answers.push_back(std::string(folder->view()) + ": " + answer);
    return told;
  }

  ErrorCode selectError = brennox::ErrorNone;
  std::uint32_t told = 0;
  std::vector<std::string> selected;
  std::vector<std::string> answers;
};

// An IMAP server that takes one literal, whatever the folder.
void TakeAppend(LineServer::Connection& client) {
  client.send("* OK [CAPABILITY IMAP4rev1 AUTH=PLAIN AUTH=XOAUTH2 SASL-IR] ready\r\n");
  std::string line;
  while (client.readLine(line)) {
    const std::string tag = line.substr(0, line.find(' '));
    const std::size_t brace = line.find('{');
    if (line.find("CAPABILITY") != line.npos) {
      client.send("* CAPABILITY IMAP4rev1 AUTH=PLAIN AUTH=XOAUTH2 SASL-IR\r\n");
    } else if (brace != line.npos) {
      client.send("+ go on\r\n");
      std::string literal;
      if (!client.readBytes(static_cast<std::size_t>(std::stoul(line.substr(brace + 1))),
                            literal)) {
        return;
      }
      client.readLine(line);
      client.send("* OK untagged\r\n" + tag + " OK [APPENDUID 38505 17] done\r\n");
      continue;
    }
    client.send(tag + " OK done\r\n");
  }
}

class CurlAppendTest : public testing::Test {
 protected:
  CurlAppendTest() {
    session->setUsername(String::stringWithUTF8Characters("user"));
    session->setPassword(String::stringWithUTF8Characters("secret"));
    session->setConnectionType(brennox::ConnectionTypeClear);
    session->setTimeout(1);
  }

  void Use(const LineServer& server) {
    session->setHostname(String::stringWithUTF8Characters("127.0.0.1"));
    session->setPort(static_cast<unsigned int>(server.port()));
  }

  ErrorCode Append(const std::string& folder) {
    const std::string_view text = "Subject: x\r\n\r\nbody\r\n";
    brennox::Data message(text.data(), text.size());
    return CurlAppend(*session, folder, message, 5, &uid);
  }

  brennox::AutoreleasePool pool;
  brennox::Ref<FakeSession> session = brennox::make<FakeSession>();
  std::uint32_t uid = 0;
};

TEST(FolderName, IsPercentEncodedByteByByte) {
  const struct {
    const char* name;
    const char* encoded;
  } rows[] = {
      {"Sent Items", "Sent%20Items"},      {"&BB4EQgQ,-/Az09", "&BB4EQgQ%2C-/Az09"},
      {"\xD0\x9E", "%FFFFFFD0%FFFFFF9E"},  {"a.b_c~", "a%2Eb%5Fc%7E"},
      {"\x7F\x80\x01", "%7F%FFFFFF80%01"}, {"", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(EncodedFolderName(row.name), row.encoded);
  }
}

TEST(AppendPlace, NamesHostFolderAndUid) {
  EXPECT_EQ(AppendPlace("mail.example.test", "Sent Items", 4294967295U),
            "mail.example.test/Sent%20Items/;UID=4294967295");
  EXPECT_EQ(AppendPlace("127.0.0.1", "a/b&-\xD0", 7), "127.0.0.1/a/b&-%FFFFFFD0/;UID=7");
}

TEST(ErrorOfAppend, FollowsFromTheResult) {
  const std::map<int, ErrorCode> codes = {
      {0, brennox::ErrorNone},         {25, brennox::ErrorAppend},
      {28, brennox::ErrorAppend},      {58, brennox::ErrorCertificate},
      {60, brennox::ErrorCertificate}, {67, brennox::ErrorAuthentication},
      {77, brennox::ErrorCertificate}, {91, brennox::ErrorCertificate}};
  for (int result = 0; result < 200; ++result) {
    const auto known = codes.find(result);
    EXPECT_EQ(ErrorOfAppend(static_cast<CURLcode>(result)),
              known == codes.end() ? brennox::ErrorConnection : known->second)
        << "result " << result;
  }
}

TEST_F(CurlAppendTest, UploadsAndReportsTheNextUid) {
  const LineServer server(TakeAppend);
  Use(server);
  EXPECT_EQ(Append("Sent Items"), brennox::ErrorNone);
  EXPECT_EQ(uid, 4294967295U);
  EXPECT_TRUE(server.saw("APPEND \"Sent Items\"") || server.saw("APPEND Sent Items"))
      << server.lines().back();
  EXPECT_TRUE(server.saw("AUTHENTICATE PLAIN AHVzZXIAc2VjcmV0"));
  EXPECT_EQ(session->selected, std::vector<std::string>{"Sent Items"});
}

TEST_F(CurlAppendTest, ReportsTheUidThatTheServerTells) {
  const LineServer server(TakeAppend);
  Use(server);
  session->told = 17;
  EXPECT_EQ(Append("INBOX"), brennox::ErrorNone);
  EXPECT_EQ(uid, 17U);
  // What the session hears is the answer to the upload, not one of those before it.
  ASSERT_EQ(session->answers.size(), 1U);
  const std::string& answer = session->answers.front();
  EXPECT_EQ(answer.substr(0, 7), "INBOX: ");
  EXPECT_EQ(answer.substr(answer.find(" OK")), " OK [APPENDUID 38505 17] done");
}

TEST_F(CurlAppendTest, AFailedUploadTellsTheSessionNothing) {
  const LineServer server([](LineServer::Connection& client) {
    client.send("* PREAUTH [CAPABILITY IMAP4rev1] ready\r\n");
    std::string line;
    while (client.readLine(line)) {
      const std::string tag = line.substr(0, line.find(' '));
      client.send(
          tag + (line.find("APPEND") != line.npos ? " NO [APPENDUID 1 2] no\r\n" : " OK done\r\n"));
    }
  });
  Use(server);
  EXPECT_EQ(Append("INBOX"), brennox::ErrorAppend);
  EXPECT_TRUE(session->answers.empty());
}

TEST_F(CurlAppendTest, DoesNotWaitLongForTheAnswerToLogout) {
  std::atomic<bool> over = false;
  const LineServer server([&over](LineServer::Connection& client) {
    client.send("* PREAUTH [CAPABILITY IMAP4rev1] ready\r\n");
    std::string line;
    while (client.readLine(line)) {
      const std::string tag = line.substr(0, line.find(' '));
      if (line.find("LOGOUT") != line.npos) {
        while (!over) {
          std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return;
      }
      if (line.find("APPEND") != line.npos) {
        client.send("+ go on\r\n");
        client.readLine(line);
        client.readLine(line);
        client.readLine(line);
        client.readLine(line);
      }
      client.send(tag + " OK done\r\n");
    }
  });
  Use(server);
  session->setTimeout(30);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Append("INBOX"), brennox::ErrorNone);
  EXPECT_TRUE(server.saw("LOGOUT"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  over = true;
}

TEST_F(CurlAppendTest, ARefusedSelectIsTheResult) {
  const LineServer server(TakeAppend);
  Use(server);
  session->selectError = brennox::ErrorFolderNotFound;
  uid = 77;
  EXPECT_EQ(Append("Nowhere"), brennox::ErrorFolderNotFound);
  EXPECT_EQ(uid, 77U);
  EXPECT_EQ(server.connections(), 0);
}

TEST_F(CurlAppendTest, AMissingHostNameIsThrown) {
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    session->setHostname(name ? String::stringWithUTF8Characters(name) : nullptr);
    try {
      Append("INBOX");
      FAIL();
    } catch (const std::runtime_error& failure) {
      EXPECT_STREQ(failure.what(), "Eror append message: hostname is not specified!");
    }
  }
  // Selecting comes first, and its failure is the result then.
  EXPECT_EQ(session->selected.size(), 2U);
  session->selectError = brennox::ErrorConnection;
  EXPECT_EQ(Append("INBOX"), brennox::ErrorConnection);
}

TEST_F(CurlAppendTest, TimesOutThreeTimesAndGivesUp) {
  const LineServer server([](LineServer::Connection& client) { client.staySilent(); });
  Use(server);
  EXPECT_EQ(Append("INBOX"), brennox::ErrorAppend);
  EXPECT_EQ(server.connections(), 3);
  EXPECT_EQ(session->selected.size(), 3U);
}

TEST_F(CurlAppendTest, AStalledUploadTimesOut) {
  if (std::getenv("BRENNOX_SLOW_TESTS") == nullptr) {
    GTEST_SKIP()
        << "takes 10 s: curl looks at the speed of some seconds; set BRENNOX_SLOW_TESTS to run it";
  }
  // Never reads the literal that it asks for.
  std::atomic<bool> over = false;
  const LineServer server([&over](LineServer::Connection& client) {
    client.send("* PREAUTH [CAPABILITY IMAP4rev1] ready\r\n");
    std::string line;
    while (client.readLine(line)) {
      const std::string tag = line.substr(0, line.find(' '));
      if (line.find("APPEND") != line.npos) {
        client.send("+ go on\r\n");
        while (!over) {
          std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return;
      }
      client.send(tag + " OK done\r\n");
    }
  });
  Use(server);
  brennox::Data message(brennox::Block::allocate(std::size_t{16} << 20));
  EXPECT_EQ(CurlAppend(*session, "INBOX", message, 0, &uid), brennox::ErrorAppend);
  over = true;
  // The later connections wait for the first; the selects count the attempts.
  EXPECT_EQ(session->selected.size(), 3U);
}

TEST_F(CurlAppendTest, MapsRefusals) {
  const struct {
    const char* command;
    ErrorCode error;
  } rows[] = {{"APPEND", brennox::ErrorAppend}, {"AUTHENTICATE", brennox::ErrorAuthentication}};
  for (const auto& row : rows) {
    const LineServer server([&row](LineServer::Connection& client) {
      client.send("* OK [CAPABILITY IMAP4rev1 AUTH=PLAIN SASL-IR] ready\r\n");
      std::string line;
      while (client.readLine(line)) {
        const std::string tag = line.substr(0, line.find(' '));
        if (line.find("CAPABILITY") != line.npos) {
          client.send("* CAPABILITY IMAP4rev1 AUTH=PLAIN SASL-IR\r\n");
        }
        client.send(tag +
                    (line.find(row.command) != line.npos ? " NO refused\r\n" : " OK done\r\n"));
      }
    });
    Use(server);
    EXPECT_EQ(Append("INBOX"), row.error) << row.command;
  }
}

TEST_F(CurlAppendTest, NobodyListeningIsAConnectionError) {
  int port = 0;
  {
    const LineServer server(TakeAppend);
    Use(server);
    port = server.port();
  }
  ASSERT_NE(port, 0);
  EXPECT_EQ(Append("INBOX"), brennox::ErrorConnection);
}

TEST_F(CurlAppendTest, TheTokenGoesWithNumber64Only) {
  const LineServer server(TakeAppend);
  Use(server);
  session->setOAuth2Token(String::stringWithUTF8Characters("token"));
  session->setAuthType(brennox::AuthTypeXOAuth2);
  EXPECT_EQ(Append("INBOX"), brennox::ErrorNone);
  EXPECT_FALSE(server.saw("XOAUTH2 "));
  EXPECT_TRUE(server.saw("AUTHENTICATE PLAIN AHVzZXIAc2VjcmV0"));

  session->setAuthType(brennox::AuthTypeSASLNTLM);
  EXPECT_EQ(Append("INBOX"), brennox::ErrorNone);
  EXPECT_TRUE(server.saw("AUTHENTICATE XOAUTH2 "));
}

TEST_F(CurlAppendTest, Number64WithoutATokenSendsNameAndPassword) {
  const LineServer server(TakeAppend);
  Use(server);
  session->setAuthType(brennox::AuthTypeSASLNTLM);
  session->setOAuth2Token(String::stringWithUTF8Characters(""));
  EXPECT_EQ(Append("INBOX"), brennox::ErrorNone);
  EXPECT_TRUE(server.saw("AUTHENTICATE PLAIN AHVzZXIAc2VjcmV0"));
}

TEST_F(CurlAppendTest, OnlyTheCredentialsThatAreThereAreSent) {
  const LineServer server(TakeAppend);
  Use(server);
  // The name with an empty password.
  session->setPassword(nullptr);
  EXPECT_EQ(Append("INBOX"), brennox::ErrorNone);
  EXPECT_THAT(server.lines(), Contains(EndsWith("AUTHENTICATE PLAIN AHVzZXIA")));
  const LineServer other(TakeAppend);
  Use(other);
  session->setUsername(nullptr);
  EXPECT_EQ(Append("INBOX"), brennox::ErrorNone);
  EXPECT_THAT(other.lines(), Contains(HasSubstr("APPEND")));
  EXPECT_THAT(other.lines(), Not(Contains(HasSubstr("AUTHENTICATE"))));
  EXPECT_THAT(other.lines(), Not(Contains(HasSubstr("LOGIN"))));
}

TEST_F(CurlAppendTest, LineBreaksAreRefused) {
  const LineServer server(TakeAppend);
  Use(server);
  EXPECT_EQ(Append("INBOX\r\na LOGOUT"), brennox::ErrorAppend);
  EXPECT_EQ(Append(std::string("INBOX\0x", 7)), brennox::ErrorAppend);
  session->setPassword(String::stringWithUTF8Characters("x\r\ny"));
  EXPECT_EQ(Append("INBOX"), brennox::ErrorAppend);
  EXPECT_TRUE(session->selected.empty());
  EXPECT_EQ(server.connections(), 0);
}

TEST_F(CurlAppendTest, StrictGostWithoutTlsDoesNotConnect) {
  const LineServer server(TakeAppend);
  Use(server);
  session->setStrictGost(true);
  testing::internal::CaptureStderr();
  EXPECT_EQ(Append("INBOX"), brennox::ErrorConnection);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("strict gost for append\n"),
            std::string::npos);
  EXPECT_EQ(server.connections(), 0);
}

}  // namespace
}  // namespace velkor
