#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "net/sasl.h"

namespace brennox::net {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(SaslWithoutALibrary, OnlyTokensAreLeft) {
  Credentials credentials;
  credentials.username = "tim";
  credentials.password = "tanstaaftanstaaf";
  credentials.token = "t";
  const std::vector<std::string> all = {"LOGIN",         "PLAIN",       "CRAM-MD5", "DIGEST-MD5",
                                        "SCRAM-SHA-256", "SCRAM-SHA-1", "XOAUTH2",  "OAUTHBEARER"};
  for (const int type :
       {0, static_cast<int>(AuthTypeSASLPlain), ~static_cast<int>(AuthTypeXOAuth2)}) {
    EXPECT_THAT(saslMechanisms(static_cast<AuthType>(type), all, true, credentials), IsEmpty())
        << type;
  }
  EXPECT_THAT(saslMechanisms(AuthTypeXOAuth2, all, true, credentials), ElementsAre("OAUTHBEARER"));
  EXPECT_EQ(SaslClient::start("PLAIN", credentials), nullptr);
  EXPECT_NE(SaslClient::start("XOAUTH2", credentials), nullptr);
}

}  // namespace
}  // namespace brennox::net
