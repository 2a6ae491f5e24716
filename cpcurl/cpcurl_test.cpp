#include "cpcurl.h"

#include <gtest/gtest.h>
#include <openssl/x509_vfy.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "gost_engine.h"
#include "strict_gost.h"
#include "support/LineServer.h"
#include "support/environment.h"
#include "trust_store.h"

namespace {

struct Cleanup {
  void operator()(cpcurl::Easy* handle) const { cpcurl::easy_cleanup(handle); }
};
using Handle = std::unique_ptr<cpcurl::Easy, Cleanup>;

struct Upload {
  const char* text;
  bool done = false;
};

std::size_t readUpload(char* buffer, std::size_t, std::size_t, void* user) {
  auto* const upload = static_cast<Upload*>(user);
  if (upload->done) {
    return 0;
  }
  upload->done = true;
  const std::size_t length = std::strlen(upload->text);
  std::memcpy(buffer, upload->text, length);
  return length;
}

// A handle that is ready to send a small mail to the server.
class Sending {
 public:
  explicit Sending(const LineServer& server) : handle(cpcurl::easy_init()) {
    cpcurl::easy_setopt(handle.get(), CURLOPT_URL,
                        ("smtp://127.0.0.1:" + std::to_string(server.port())).c_str());
    cpcurl::easy_setopt(handle.get(), CURLOPT_MAIL_FROM, "a@example.test");
    recipients = cpcurl::slist_append(nullptr, "b@example.test");
    cpcurl::easy_setopt(handle.get(), CURLOPT_MAIL_RCPT, recipients);
    cpcurl::easy_setopt(handle.get(), CURLOPT_READFUNCTION, readUpload);
    cpcurl::easy_setopt(handle.get(), CURLOPT_READDATA, &upload);
    cpcurl::easy_setopt(handle.get(), CURLOPT_UPLOAD, 1);
    cpcurl::easy_setopt(handle.get(), CURLOPT_TIMEOUT, 10);
  }
  ~Sending() { cpcurl::slist_free_all(recipients); }

  void login(const char* username, const char* password) {
    cpcurl::easy_setopt(handle.get(), CURLOPT_USERNAME, username);
    cpcurl::easy_setopt(handle.get(), CURLOPT_PASSWORD, password);
  }
  CURLcode perform() { return cpcurl::easy_perform(handle.get()); }

  Handle handle;
  curl_slist* recipients = nullptr;
  Upload upload = {"Subject: x\r\n\r\nbody\r\n"};
};

const std::vector<std::string> kPlain = {"AUTH PLAIN LOGIN"};

TEST(Cpcurl, LogsInWhateverHttpAuthSays) {
  for (const long mask : {-17L, 0L, 1L, 2L, 4L, 8L, 16L, 64L, 256L}) {
    const LineServer server(TakeMail(kPlain));
    Sending sending(server);
    cpcurl::easy_setopt(sending.handle.get(), CURLOPT_HTTPAUTH, mask);
    sending.login("user", "secret");
    EXPECT_EQ(sending.perform(), CURLE_OK) << mask;
    // base64 of \0user\0secret
    EXPECT_TRUE(server.saw("AHVzZXIAc2VjcmV0")) << mask;
  }
}

TEST(Cpcurl, DoesNotLogInWithoutNameAndPassword) {
  const LineServer server(TakeMail(kPlain));
  Sending sending(server);
  sending.login("", "");
  EXPECT_EQ(sending.perform(), CURLE_OK);
  EXPECT_FALSE(server.saw("AUTH"));
}

TEST(Cpcurl, PassesOverMechanismsThatNeedMoreThanAPassword) {
  const LineServer server(TakeMail({"AUTH GSSAPI NTLM DIGEST-MD5 EXTERNAL PLAIN"}));
  Sending sending(server);
  sending.login("user@example.test", "secret");
  EXPECT_EQ(sending.perform(), CURLE_OK);
  EXPECT_TRUE(server.saw("AUTH PLAIN"));
  EXPECT_EQ(server.connections(), 1);
}

TEST(Cpcurl, TriesTheOthersWhereNoUsualMechanismIsOffered) {
  const LineServer server([](LineServer::Connection& client) {
    client.send("220 ready\r\n");
    std::string line;
    while (client.readLine(line)) {
      client.send(line.starts_with("EHLO")   ? "250-ready\r\n250 AUTH DIGEST-MD5\r\n"
                  : line.starts_with("AUTH") ? "535 no\r\n"
                                             : "221 bye\r\n");
    }
  });
  Sending sending(server);
  sending.login("user", "secret");
  EXPECT_EQ(sending.perform(), CURLE_LOGIN_DENIED);
  EXPECT_TRUE(server.saw("AUTH DIGEST-MD5"));
  EXPECT_EQ(server.connections(), 2);
}

TEST(Cpcurl, TriesARefusedPasswordOnce) {
  const LineServer server([](LineServer::Connection& client) {
    client.send("220 ready\r\n");
    std::string line;
    while (client.readLine(line)) {
      client.send(line.starts_with("EHLO")   ? "250-ready\r\n250 AUTH PLAIN\r\n"
                  : line.starts_with("AUTH") ? "535 no\r\n"
                                             : "221 bye\r\n");
    }
  });
  Sending sending(server);
  sending.login("user", "wrong");
  EXPECT_EQ(sending.perform(), CURLE_LOGIN_DENIED);
  EXPECT_EQ(server.connections(), 1);
}

TEST(Cpcurl, ATransferEndsSoonWhenItsThreadIsToStop) {
  const LineServer server([](LineServer::Connection& client) { client.staySilent(); });
  Sending sending(server);
  std::atomic<bool> stop{false};
  std::thread other([&stop] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    stop = true;
  });
  const auto start = std::chrono::steady_clock::now();
  {
    const cpcurl::StopWhen scope(stop);
    EXPECT_EQ(sending.perform(), CURLE_ABORTED_BY_CALLBACK);
  }
  other.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(Cpcurl, BearerTokenNeedsNoUserName) {
  {
    const LineServer server(TakeMail({"AUTH PLAIN XOAUTH2"}));
    Sending sending(server);
    cpcurl::easy_setopt(sending.handle.get(), CURLOPT_XOAUTH2_BEARER, "token");
    EXPECT_EQ(sending.perform(), CURLE_OK);
    // base64 of user=\1auth=Bearer token\1\1
    EXPECT_TRUE(server.saw("dXNlcj0BYXV0aD1CZWFyZXIgdG9rZW4BAQ=="));
  }
  {
    const LineServer server(TakeMail({"AUTH OAUTHBEARER XOAUTH2 PLAIN"}));
    Sending sending(server);
    cpcurl::easy_setopt(sending.handle.get(), CURLOPT_XOAUTH2_BEARER, "token");
    EXPECT_EQ(sending.perform(), CURLE_OK);
    EXPECT_TRUE(server.saw("AUTH OAUTHBEARER"));
  }
}

TEST(Cpcurl, BearerTokenCarriesItsIdentity) {
  const LineServer server(TakeMail({"AUTH XOAUTH2"}));
  Sending sending(server);
  cpcurl::easy_setopt(sending.handle.get(), CURLOPT_XOAUTH2_BEARER, "token");
  cpcurl::easy_setopt(sending.handle.get(), cpcurl::kOptionBearerIdentity, "u@x");
  EXPECT_EQ(sending.perform(), CURLE_OK);
  // base64 of user=u@x\1auth=Bearer token\1\1
  EXPECT_TRUE(server.saw("dXNlcj11QHgBYXV0aD1CZWFyZXIgdG9rZW4BAQ=="));
}

TEST(Cpcurl, BearerTokenIsNotReplacedByAnEmptyPassword) {
  const LineServer server(TakeMail(kPlain));
  Sending sending(server);
  cpcurl::easy_setopt(sending.handle.get(), CURLOPT_XOAUTH2_BEARER, "token");
  cpcurl::easy_setopt(sending.handle.get(), cpcurl::kOptionBearerIdentity, "u@x");
  EXPECT_EQ(sending.perform(), CURLE_LOGIN_DENIED);
  EXPECT_FALSE(server.saw("AUTH"));
}

TEST(Cpcurl, RefusesLineBreaksInWhatGoesOntoTheWire) {
  const LineServer server(TakeMail(kPlain));
  for (const int option :
       {static_cast<int>(CURLOPT_URL), static_cast<int>(CURLOPT_MAIL_FROM),
        static_cast<int>(CURLOPT_USERNAME), static_cast<int>(CURLOPT_PASSWORD),
        static_cast<int>(CURLOPT_XOAUTH2_BEARER), cpcurl::kOptionBearerIdentity}) {
    for (const char* text : {"a\rb", "a\nb", "a\r\nRCPT TO:<c@example.test>"}) {
      Sending sending(server);
      EXPECT_EQ(cpcurl::easy_setopt(sending.handle.get(), option, text),
                CURLE_BAD_FUNCTION_ARGUMENT);
      EXPECT_EQ(sending.perform(), CURLE_BAD_FUNCTION_ARGUMENT);
    }
  }
  Sending sending(server);
  curl_slist* const list =
      cpcurl::slist_append(nullptr, "b@example.test>\r\nRCPT TO:<c@example.test");
  EXPECT_EQ(cpcurl::easy_setopt(sending.handle.get(), CURLOPT_MAIL_RCPT, list),
            CURLE_BAD_FUNCTION_ARGUMENT);
  EXPECT_EQ(sending.perform(), CURLE_BAD_FUNCTION_ARGUMENT);
  cpcurl::slist_free_all(list);
  EXPECT_EQ(server.connections(), 0);
}

TEST(Cpcurl, SpeaksMailProtocolsOnly) {
  for (const char* url : {"http://127.0.0.1:1/", "ftp://127.0.0.1:1/", "file:///etc/hostname"}) {
    const Handle handle(cpcurl::easy_init());
    cpcurl::easy_setopt(handle.get(), CURLOPT_URL, url);
    EXPECT_EQ(cpcurl::easy_perform(handle.get()), CURLE_UNSUPPORTED_PROTOCOL) << url;
  }
}

TEST(Cpcurl, TakesNoProxyFromTheEnvironment) {
  const LineServer server(TakeMail());
  setEnvironment("ALL_PROXY", "socks5://127.0.0.1:1");
  setEnvironment("smtp_proxy", "http://127.0.0.1:1");
  Sending sending(server);
  EXPECT_EQ(sending.perform(), CURLE_OK);
  unsetEnvironment("ALL_PROXY");
  unsetEnvironment("smtp_proxy");
}

TEST(StrictGost, RefusesClearConnectionsBeforeConnecting) {
  const LineServer server(TakeMail());
  for (const long ssl : {static_cast<long>(CURLUSESSL_NONE), static_cast<long>(CURLUSESSL_TRY),
                         static_cast<long>(CURLUSESSL_CONTROL)}) {
    Sending sending(server);
    cpcurl::easy_setopt(sending.handle.get(), CURLOPT_USE_SSL, ssl);
    EXPECT_EQ(cpcurl::easy_setopt(sending.handle.get(), cpcurl::kOptionStrictGost, 1), CURLE_OK);
    EXPECT_EQ(sending.perform(), CURLE_SSL_ENGINE_NOTFOUND);
  }
  EXPECT_EQ(server.connections(), 0);
}

TEST(StrictGost, CanBeSwitchedOffAgain) {
  const LineServer server(TakeMail());
  Sending sending(server);
  cpcurl::easy_setopt(sending.handle.get(), cpcurl::kOptionStrictGost, 1);
  cpcurl::easy_setopt(sending.handle.get(), cpcurl::kOptionStrictGost, 0);
  EXPECT_EQ(sending.perform(), CURLE_OK);
}

TEST(StrictGost, IsAvailableWithTheEngine) {
  if (!cpcurl::loadGostEngine()) {
    GTEST_SKIP() << "libengine-gost-openssl is not installed";
  }
  EXPECT_TRUE(cpcurl::strictGostAvailable());
}

TEST(GostEngine, LoadsOnceFromManyThreads) {
  const bool loaded = cpcurl::loadGostEngine();
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; i++) {
    threads.emplace_back([loaded] { EXPECT_EQ(cpcurl::loadGostEngine(), loaded); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(TrustStore, IsSharedWhileTheBundleStaysTheSame) {
  X509_STORE* const first = cpcurl::acquireTrustStore();
  X509_STORE* const second = cpcurl::acquireTrustStore();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first, second);
  X509_STORE_free(first);
  X509_STORE_free(second);
}

}  // namespace
