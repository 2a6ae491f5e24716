#include "net/sasl.h"

#include <gmock/gmock.h>
#include <gsasl.h>
#include <gtest/gtest.h>

namespace brennox::net {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

void fill(Credentials* credentials) {
  credentials->username = "tim";
  credentials->password = "tanstaaftanstaaf";
  credentials->service = "imap";
  credentials->hostname = "server.example.com";
  credentials->port = 143;
}

TEST(Sasl, PicksTheStrongestMechanismThatIsOffered) {
  Credentials credentials;
  fill(&credentials);
  const std::vector<std::string> all = {"LOGIN",         "plain",       "CRAM-MD5",
                                        "SCRAM-SHA-256", "SCRAM-SHA-1", "XOAUTH2"};
  EXPECT_THAT(saslMechanisms(AuthTypeSASLNone, all, true, credentials),
              ElementsAre("SCRAM-SHA-256", "SCRAM-SHA-1", "PLAIN", "LOGIN"));
  EXPECT_THAT(saslMechanisms(AuthTypeSASLNone, all, false, credentials),
              ElementsAre("SCRAM-SHA-256", "SCRAM-SHA-1", "CRAM-MD5"));
  EXPECT_THAT(saslMechanisms(AuthTypeSASLNone, {"PLAIN", "LOGIN"}, false, credentials),
              ElementsAre("PLAIN", "LOGIN"));
  EXPECT_THAT(saslMechanisms(AuthTypeSASLNone, {"CRAM-MD5"}, true, credentials),
              ElementsAre("CRAM-MD5"));
}

TEST(Sasl, KeepsToTheTypesThatAreAllowed) {
  Credentials credentials;
  fill(&credentials);
  const std::vector<std::string> all = {"LOGIN", "PLAIN", "CRAM-MD5", "DIGEST-MD5", "SCRAM-SHA-1"};
  const auto names = [&](int type) {
    return saslMechanisms(static_cast<AuthType>(type), all, true, credentials);
  };
  EXPECT_THAT(names(AuthTypeSASLPlain), ElementsAre("PLAIN"));
  EXPECT_THAT(names(AuthTypeSASLLogin | AuthTypeSASLPlain), ElementsAre("PLAIN", "LOGIN"));
  EXPECT_THAT(names(AuthTypeSASLCRAMMD5), ElementsAre("CRAM-MD5"));
  EXPECT_THAT(names(AuthTypeSASLDIGESTMD5), ElementsAre("DIGEST-MD5"));
  EXPECT_THAT(names(AuthTypeSASLSRP), IsEmpty());
  EXPECT_THAT(names(AuthTypeSASLKerberosV4), IsEmpty());
  EXPECT_THAT(names(AuthTypeXOAuth2), IsEmpty());
}

TEST(Sasl, TakesATokenWhenItIsAskedForOrThereIsNothingElse) {
  Credentials credentials;
  fill(&credentials);
  credentials.token = "t";
  const std::vector<std::string> offered = {"PLAIN", "XOAUTH2", "OAUTHBEARER"};
  EXPECT_THAT(saslMechanisms(AuthTypeXOAuth2, offered, true, credentials),
              ElementsAre("OAUTHBEARER"));
  EXPECT_THAT(saslMechanisms(AuthTypeXOAuth2, {"XOAUTH2"}, true, credentials),
              ElementsAre("XOAUTH2"));
  EXPECT_THAT(saslMechanisms(AuthTypeSASLNone, offered, true, credentials), ElementsAre("PLAIN"));
  credentials.password.clear();
  EXPECT_THAT(saslMechanisms(AuthTypeSASLNone, offered, true, credentials),
              ElementsAre("OAUTHBEARER", "PLAIN"));
}

TEST(Sasl, WritesTheMessagesOfTheMechanisms) {
  Credentials credentials;
  fill(&credentials);
  std::string answer;

  auto plain = SaslClient::start("PLAIN", credentials);
  ASSERT_NE(plain, nullptr);
  EXPECT_TRUE(plain->isClientFirst());
  EXPECT_EQ(plain->next("", &answer), SaslClient::Step::kDone);
  EXPECT_EQ(answer, "AHRpbQB0YW5zdGFhZnRhbnN0YWFm");

  // The example of RFC 2195.
  auto cram = SaslClient::start("CRAM-MD5", credentials);
  ASSERT_NE(cram, nullptr);
  EXPECT_FALSE(cram->isClientFirst());
  EXPECT_EQ(cram->next("PDE4OTYuNjk3MTcwOTUyQHBvc3RvZmZpY2UucmVzdG9uLm1jaS5uZXQ+", &answer),
            SaslClient::Step::kDone);
  EXPECT_EQ(answer, "dGltIGI5MTNhNjAyYzdlZGE3YTQ5NWI0ZTZlNzMzNGQzODkw");

  auto login = SaslClient::start("login", credentials);
  ASSERT_NE(login, nullptr);
  EXPECT_FALSE(login->isClientFirst());
  EXPECT_EQ(login->next("VXNlciBOYW1lAA==", &answer), SaslClient::Step::kContinue);
  EXPECT_EQ(answer, "dGlt");
  EXPECT_EQ(login->next("UGFzc3dvcmQA", &answer), SaslClient::Step::kDone);
  EXPECT_EQ(answer, "dGFuc3RhYWZ0YW5zdGFhZg==");
}

int serverProperty(Gsasl*, Gsasl_session* session, Gsasl_property property) {
  if (property == GSASL_PASSWORD) {
    return gsasl_property_set(session, property, "tanstaaftanstaaf");
  }
  return GSASL_NO_CALLBACK;
}

TEST(Sasl, ProvesThePasswordAndChecksTheServer) {
  Gsasl* context = nullptr;
  ASSERT_EQ(gsasl_init(&context), GSASL_OK);
  gsasl_callback_set(context, &serverProperty);
  for (const char* mechanism : {"SCRAM-SHA-1", "SCRAM-SHA-256"}) {
    for (const bool lying : {false, true}) {
      Credentials credentials;
      fill(&credentials);
      auto client = SaslClient::start(mechanism, credentials);
      ASSERT_NE(client, nullptr) << mechanism;
      Gsasl_session* server = nullptr;
      ASSERT_EQ(gsasl_server_start(context, mechanism, &server), GSASL_OK);
      std::string answer;
      ASSERT_EQ(client->next("", &answer), SaslClient::Step::kContinue);
      char* challenge = nullptr;
      ASSERT_EQ(gsasl_step64(server, answer.c_str(), &challenge), GSASL_NEEDS_MORE);
      ASSERT_EQ(client->next(challenge, &answer), SaslClient::Step::kContinue);
      gsasl_free(challenge);
      EXPECT_FALSE(client->isComplete());
      ASSERT_EQ(gsasl_step64(server, answer.c_str(), &challenge), GSASL_OK);
      if (lying) {
        EXPECT_EQ(client->next("dj1BQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUE9", &answer),
                  SaslClient::Step::kFailed);
        EXPECT_FALSE(client->isComplete());
      } else {
        EXPECT_EQ(client->next(challenge, &answer), SaslClient::Step::kDone);
        EXPECT_TRUE(client->isComplete());
      }
      gsasl_free(challenge);
      gsasl_finish(server);
    }
  }
  gsasl_done(context);
}

TEST(Sasl, RefusesAChallengeThatOnlyServesToStall) {
  Credentials credentials;
  fill(&credentials);
  auto client = SaslClient::start("SCRAM-SHA-256", credentials);
  std::string answer;
  ASSERT_EQ(client->next("", &answer), SaslClient::Step::kContinue);
  // r=x,s=QUFBQQ==,i=4000000000
  EXPECT_EQ(client->next("cj14LHM9UVVGQlFRPT0saT00MDAwMDAwMDAw", &answer),
            SaslClient::Step::kFailed);
  EXPECT_EQ(SaslClient::start("NONSENSE", credentials), nullptr);
}

}  // namespace
}  // namespace brennox::net
