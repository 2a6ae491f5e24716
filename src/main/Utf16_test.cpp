#include "main/Utf16.h"

#include <gtest/gtest.h>

#include <string>

namespace velkor {
namespace {

std::u16string Utf16Of(std::string_view text) {
  std::u16string units(text.size(), u'\0');
  const std::size_t length = ToUtf16(text, units.data());
  return length == kNotUtf8 ? std::u16string(u"none") : units.substr(0, length);
}

TEST(Utf16, HasTheSameText) {
  EXPECT_EQ(Utf16Of(""), u"");
  EXPECT_EQ(Utf16Of("plain text of ASCII"), u"plain text of ASCII");
  EXPECT_EQ(Utf16Of("eight in a row, \xD0\xB6 between, and eight again"),
            u"eight in a row, \u0436 between, and eight again");
  EXPECT_EQ(Utf16Of("\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"), u"\u0080\u07FF\u0800\uFFFF");
  EXPECT_EQ(Utf16Of("\xED\x9F\xBF\xEE\x80\x80"), u"\uD7FF\uE000");
  EXPECT_EQ(Utf16Of("\xF0\x90\x80\x80\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF"),
            u"\U00010000\U0001F600\U0010FFFF");
  EXPECT_EQ(Utf16Of(std::string_view("a\0b", 3)), std::u16string_view(u"a\0b", 3));
}

TEST(Utf16, RefusesWhatIsNoUtf8) {
  for (const char* const text : {"\x80",
                                 "\xBF",
                                 "\xC0\x80",
                                 "\xC1\xBF",
                                 "\xC2",
                                 "\xC2"
                                 "a",
                                 "\xC2\xC2",
                                 "\xE0\x9F\xBF",
                                 "\xE1\x80",
                                 "\xE1\x80"
                                 "a",
                                 "\xE1"
                                 "a\x80",
                                 "\xED\xA0\x80",
                                 "\xED\xBF\xBF",
                                 "\xF0\x8F\xBF\xBF",
                                 "\xF1\x80\x80",
                                 "\xF1\x80\x80"
                                 "a",
                                 "\xF4\x90\x80\x80",
                                 "\xF5\x80\x80\x80",
                                 "\xFF",
                                 "valid until here \xE1\x80"}) {
    EXPECT_EQ(Utf16Of(text), u"none") << text;
  }
}

// Cut anywhere, nothing behind the end is looked at.
TEST(Utf16, EndsWithTheText) {
  const std::string text = "\xF0\x9F\x98\x80";
  for (std::size_t length = 1; length < text.size(); ++length) {
    EXPECT_EQ(Utf16Of(std::string_view(text).substr(0, length)), u"none") << length;
  }
}

}  // namespace
}  // namespace velkor
