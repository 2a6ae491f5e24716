#include "mime/body_encoding.h"

#include <gtest/gtest.h>

#include <string>

namespace brennox::mime {
namespace {

using std::string;
using namespace std::string_literals;

TEST(BodyProfile, SaysWhatTheBytesHold) {
  EXPECT_TRUE(profileOf("").isAscii);
  EXPECT_TRUE(profileOf("").endsWithLine);
  EXPECT_TRUE(profileOf("a\r\n").endsWithLine);
  EXPECT_FALSE(profileOf("a\n").endsWithLine);
  EXPECT_FALSE(profileOf("\xC3\xA9").isAscii);
  EXPECT_TRUE(profileOf("\xC3\xA9").isUtf8);
  EXPECT_FALSE(profileOf("\xE9").isUtf8);
  EXPECT_TRUE(profileOf("a\0b"s).hasNul);
  EXPECT_TRUE(profileOf("\x1B$B").hasControls);
  EXPECT_TRUE(profileOf("\x7F").hasControls);
  EXPECT_FALSE(profileOf("a\tb\r\n").hasControls);
}

TEST(BodyProfile, FindsLineEndsOfTheirOwn) {
  for (const char* const bare : {"\n", "\r", "a\nb", "a\rb", "\r\n\n", "\n\r", "\r\r\n", "a\r"}) {
    EXPECT_TRUE(profileOf(bare).hasBareLineEnds) << testing::PrintToString(bare);
  }
  for (const char* const clean : {"", "a", "\r\n", "a\r\nb", "a\r\n\r\n"}) {
    EXPECT_FALSE(profileOf(clean).hasBareLineEnds) << testing::PrintToString(clean);
  }
}

TEST(BodyProfile, CountsTheLineEndOutOfTheLine) {
  EXPECT_FALSE(profileOf(string(998, 'x')).hasLongLines);
  EXPECT_FALSE(profileOf(string(998, 'x') + "\r\n").hasLongLines);
  EXPECT_TRUE(profileOf(string(999, 'x')).hasLongLines);
  EXPECT_TRUE(profileOf("a\r\n" + string(999, 'x') + "\r\n").hasLongLines);
}

TEST(BodyProfile, FindsLinesThatRelaysChange) {
  EXPECT_TRUE(profileOf("a \r\nb").hasFragileLines);
  EXPECT_TRUE(profileOf("a\r\nb\t").hasFragileLines);
  EXPECT_TRUE(profileOf("a\r\nFrom b").hasFragileLines);
  EXPECT_FALSE(profileOf("a\r\n From b\r\nFromage").hasFragileLines);
}

TEST(BodyProfile, OnlyWholeShortLinesStandAsTheyAre) {
  EXPECT_TRUE(canStandAsIs(profileOf("a\r\n\xE9")));
  EXPECT_FALSE(canStandAsIs(profileOf("a\nb")));
  EXPECT_FALSE(canStandAsIs(profileOf("a\0"s)));
  EXPECT_FALSE(canStandAsIs(profileOf(string(999, 'x'))));
}

TEST(BodyEncoding, TakesTheShorterOne) {
  EXPECT_EQ(shorterEncoding("caf\xC3\xA9 and a long text in plain letters"),
            BodyEncoding::QuotedPrintable);
  EXPECT_EQ(shorterEncoding("\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82"),
            BodyEncoding::Base64);
  EXPECT_EQ(shorterEncoding(string(2000, 'x')), BodyEncoding::QuotedPrintable);
}

TEST(BodyEncoding, LongBodiesAreNeverQuotedPrintable) {
  EXPECT_EQ(shorterEncoding(string(std::size_t{4} << 20, 'x')), BodyEncoding::QuotedPrintable);
  EXPECT_EQ(shorterEncoding(string((std::size_t{4} << 20) + 1, 'x')), BodyEncoding::Base64);
}

TEST(LineEnds, BecomeCrlf) {
  struct Case {
    const char* text;
    const char* canonical;
  };
  const Case cases[] = {
      {"", ""},
      {"a", "a"},
      {"a\nb", "a\r\nb"},
      {"a\rb", "a\r\nb"},
      {"a\r\nb", "a\r\nb"},
      {"\n\r\n\r", "\r\n\r\n\r\n"},
      {"\r\r\n", "\r\n\r\n"},
      {"a\n\nb\n", "a\r\n\r\nb\r\n"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(withCanonicalLineEnds(c.text), c.canonical) << testing::PrintToString(c.text);
  }
}

}  // namespace
}  // namespace brennox::mime
