#include "pop/responses.h"

#include <gtest/gtest.h>

namespace brennox::pop {
namespace {

TEST(PopResponses, CapabilitiesIgnoreCaseAndUnknownWords) {
  Capabilities capabilities;
  for (const char* line : {"TOP", "uidl", "SASL PLAIN  LOGIN CRAM-MD5", "PIPELINING", "X-NEW 1", "",
                           "USER", "UTF8 USER", "RESP-CODES"}) {
    addCapability(line, &capabilities);
  }
  EXPECT_TRUE(capabilities.top && capabilities.uidl && capabilities.pipelining);
  EXPECT_TRUE(capabilities.user && capabilities.utf8);
  EXPECT_EQ(capabilities.sasl, (std::vector<std::string>{"PLAIN", "LOGIN", "CRAM-MD5"}));
}

TEST(PopResponses, FindsTheTimestampOfAGreeting) {
  struct Case {
    const char* greeting;
    const char* timestamp;
  };
  for (const Case& c :
       {Case{"+OK ready <1896.697170952@dbc.example>", "<1896.697170952@dbc.example>"},
        Case{"+OK <not one> <1@a> bye", "<1@a>"}, Case{"+OK ready", ""}, Case{"+OK <1.2>", ""},
        Case{"+OK <1@a", ""}, Case{"+OK <1 @a>", ""}, Case{"+OK <1@\x80>", ""}}) {
    EXPECT_EQ(apopTimestamp(c.greeting), c.timestamp) << c.greeting;
  }
}

TEST(PopResponses, ReadsListingLines) {
  const auto line = listLine("12 345 extra");
  ASSERT_TRUE(line);
  EXPECT_EQ(line->index, 12U);
  EXPECT_EQ(line->value, "345");
  EXPECT_EQ(listLine("99999999999999999999 x")->index, 4294967295U);
  for (const char* broken : {"", "1", "0 5", "a 5", "-1 5", " "}) {
    EXPECT_FALSE(listLine(broken)) << broken;
  }
  EXPECT_EQ(number("120 octets"), 120U);
  EXPECT_FALSE(number("octets"));
}

TEST(PopResponses, ResponseCodesDecideTheError) {
  EXPECT_EQ(errorOf("[IN-USE] locked", ErrorAuthentication), ErrorMailboxInUse);
  EXPECT_EQ(errorOf("[in-use] locked", ErrorAuthentication), ErrorMailboxInUse);
  EXPECT_EQ(errorOf("[SYS/TEMP] later", ErrorAuthentication), ErrorAccountUnavailable);
  EXPECT_EQ(errorOf("[LOGIN-DELAY] later", ErrorAuthentication), ErrorAccountUnavailable);
  EXPECT_EQ(errorOf("[AUTH] wrong", ErrorFetch), ErrorAuthentication);
  EXPECT_EQ(errorOf("[X] ?", ErrorFetch), ErrorFetch);
  EXPECT_EQ(errorOf("no [AUTH]", ErrorFetch), ErrorFetch);
  EXPECT_EQ(errorOf("", ErrorFetch), ErrorFetch);
}

}  // namespace
}  // namespace brennox::pop
