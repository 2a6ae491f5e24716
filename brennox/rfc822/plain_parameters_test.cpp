#include "rfc822/plain_parameters.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "rfc822/parameters.h"
#include "text/ascii.h"

namespace brennox::rfc822 {
namespace {

std::string listed(const PlainParameters& plain) {
  std::string out = plain.value;
  for (std::size_t i = 0; i < plain.count; ++i) {
    const PlainParameters::Parameter& parameter = plain.parameters[i];
    out += "|" + text::lowered(parameter.name) + "=" + std::string(parameter.value);
  }
  return out;
}

std::string listed(const ParameterizedValue& full) {
  std::string out = full.value;
  for (const Parameter& parameter : full.parameters) {
    out += "|" + parameter.name + "=" + parameter.value;
  }
  return out;
}

TEST(PlainParameters, AreReadWhereTheyStand) {
  constexpr const char* kRows[] = {
      "text/plain",
      " text/plain; charset=utf-8\r\n",
      " attachment;\r\n\tfilename=\"a (1), b's.txt\" ; size=12 ;\r\n",
      "multipart/related; type=\"text/html\"; boundary=\"----_b\"",
      "a; b=1; b=2",
      "TEXT/Plain; CHARSET=US-ASCII; charset=utf-8",
      "multipart/mixed; boundary=\"----=_Part_1?=\"",
      "multipart/mixed; boundary=\"=-a==\"",
      "text/plain; name=\"==\"",
  };
  for (const char* const row : kRows) {
    const auto plain = readPlainParameters(row);
    ASSERT_TRUE(plain) << row;
    EXPECT_EQ(listed(*plain), listed(parseParameterized(row)));
  }
  const auto type = readPlainParameters("application/x-a; name=\"b c\"; name=d");
  ASSERT_TRUE(type);
  EXPECT_EQ(type->type(), "application");
  EXPECT_EQ(type->subtype(), "x-a");
  EXPECT_EQ(type->get("name"), "b c");
  EXPECT_EQ(type->get("none"), "");
  const auto capitals = readPlainParameters("Text/HTML; CharSet=\"UTF-8\"");
  ASSERT_TRUE(capitals);
  EXPECT_EQ(capitals->value, "text/html");
  EXPECT_EQ(capitals->get("charset"), "UTF-8");
}

TEST(PlainParameters, AreNoneWhereMoreHasToBeDone) {
  constexpr std::string_view kRows[] = {
      "",
      "; a=b",
      "/plain",
      "text/",
      "text /plain",
      "text/plain (comment)",
      "text/plain charset=utf-8",
      "text/plain; charset = utf-8",
      "text/plain; charset=",
      "text/plain; charset",
      "text/plain; charset=\"utf-8",
      "text/plain; charset=\"utf-8\"junk",
      "text/plain; name=two words",
      "text/plain; name=\"a\\\"b\"",
      "text/plain; name=\"a\tb\"",
      "text/plain; name=\"=?utf-8?Q?a?=\"",
      "text/plain; name=\"utf-8''a%20b\"",
      "text/plain; name=\"\xC3\xA4\"",
      "text/plain; name*=utf-8''a",
      "text/plain; name*0=a",
      "text/plain; a=1; b=2; c=3; d=4; e=5; f=6; g=7",
  };
  for (const std::string_view row : kRows) {
    EXPECT_FALSE(readPlainParameters(row)) << row;
  }
}

TEST(PlainParameters, AgreeWithTheFullReading) {
  constexpr std::string_view kPieces[] = {
      "a", "text/plain", ";", "; ", "\r\n ", "name", "=", "\"", "b c", "(x",        ")",
      "*", "%20",        "'", "\\", "=?",    "?=",   "/", "A",  "x=y", "; n=\"v\"", "N="};
  std::mt19937 random(11);
  int found = 0;
  for (int round = 0; round < 200'000; ++round) {
    std::string raw = random() % 2 == 0 ? "a/b" : "";
    for (std::size_t count = random() % 8; count > 0; --count) {
      raw += kPieces[random() % std::size(kPieces)];
    }
    if (const auto plain = readPlainParameters(raw)) {
      ++found;
      ASSERT_EQ(listed(*plain), listed(parseParameterized(raw))) << raw;
    }
  }
  EXPECT_GT(found, 1000);
}

}  // namespace
}  // namespace brennox::rfc822
