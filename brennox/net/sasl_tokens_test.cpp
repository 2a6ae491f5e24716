// What needs no SASL library.
#include <gtest/gtest.h>

#include "net/sasl.h"

namespace brennox::net {
namespace {

void fill(Credentials* credentials) {
  credentials->username = "tim";
  credentials->password = "tanstaaftanstaaf";
  credentials->service = "imap";
  credentials->hostname = "server.example.com";
  credentials->port = 143;
}

TEST(Sasl, WritesTokens) {
  Credentials credentials;
  credentials.username = "user@example.com";
  credentials.token = "vF9dft4qmTc2Nvb3RlckBhbHRhdmlzdGEuY29tCg==";
  credentials.hostname = "server.example.com";
  credentials.port = 143;
  std::string answer;

  // The example of RFC 7628 section 4.1.
  auto bearer = SaslClient::start("OAUTHBEARER", credentials);
  EXPECT_EQ(bearer->next("", &answer), SaslClient::Step::kDone);
  EXPECT_EQ(
      answer,
      "bixhPXVzZXJAZXhhbXBsZS5jb20sAWhvc3Q9c2VydmVyLmV4YW1wbGUuY29tAXBvcnQ9MTQzAWF1dGg9QmVhcmVy"
      "IHZGOWRmdDRxbVRjMk52YjNSbGNrQmhiSFJoZG1semRHRXVZMjl0Q2c9PQEB");
  EXPECT_EQ(bearer->next("eyJzdGF0dXMiOiI0MDEifQ==", &answer), SaslClient::Step::kDone);
  EXPECT_EQ(answer, "AQ==");

  auto xoauth = SaslClient::start("XOAUTH2", credentials);
  EXPECT_EQ(xoauth->next("", &answer), SaslClient::Step::kDone);
  EXPECT_EQ(
      answer,
      "dXNlcj11c2VyQGV4YW1wbGUuY29tAWF1dGg9QmVhcmVyIHZGOWRmdDRxbVRjMk52YjNSbGNrQmhiSFJoZG1semRH"
      "RXVZMjl0Q2c9PQEB");
  EXPECT_EQ(xoauth->next("eyJzdGF0dXMiOiI0MDEifQ==", &answer), SaslClient::Step::kDone);
  EXPECT_EQ(answer, "");
}

TEST(Sasl, RefusesCredentialsThatWouldBeCutShort) {
  Credentials credentials;
  fill(&credentials);
  EXPECT_TRUE(credentials.areValid());
  credentials.username = std::string("tim\0root", 8);
  EXPECT_FALSE(credentials.areValid());
}

}  // namespace
}  // namespace brennox::net
