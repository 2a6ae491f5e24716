#include "main/Utf16.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace velkor {
namespace {

std::u16string Utf16Of(std::string_view text) {
  std::u16string units(text.size(), u'\0');
  const std::size_t length = ToUtf16(text, units.data());
  // Again with as little room as allowed, which the end of a vector shows under a sanitizer.
  std::vector<char16_t> exact(Utf16Length(text) + kUtf16Overhang);
  EXPECT_EQ(ToUtf16(text, exact.data()), length);
  EXPECT_LE(Utf16Length(text), text.size());
  if (length == kNotUtf8) {
    return u"none";
  }
  EXPECT_EQ(length, Utf16Length(text));
  units.resize(length);
  EXPECT_TRUE(std::equal(units.begin(), units.end(), exact.begin()));
  return units;
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

// One character at a time, as it stands in RFC 3629.
std::u16string Expected(std::string_view text) {
  std::u16string units;
  for (std::size_t at = 0; at < text.size();) {
    const auto lead = static_cast<unsigned char>(text[at]);
    const std::size_t length = lead < 0x80   ? 1
                               : lead < 0xC2 ? 0
                               : lead < 0xE0 ? 2
                               : lead < 0xF0 ? 3
                               : lead < 0xF5 ? 4
                                             : 0;
    if (length == 0 || text.size() - at < length) {
      return u"none";
    }
    char32_t code = length == 1 ? lead : lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
      const auto byte = static_cast<unsigned char>(text[at + i]);
      if (byte < 0x80 || byte > 0xBF) {
        return u"none";
      }
      code = code << 6 | (byte & 0x3F);
    }
    const char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < least[length] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) {
      return u"none";
    }
    if (code >= 0x10000) {
      units += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
      code = 0xDC00 + ((code - 0x10000) & 0x3FF);
    }
    units += static_cast<char16_t>(code);
    at += length;
  }
  return units;
}

// Vectors and single steps have to agree wherever a character stands.
TEST(Utf16, LongTextsAreReadAlike) {
  std::mt19937 random(5);
  const std::string_view pieces[] = {"a",
                                     " ",
                                     "\r\n",
                                     "\xD0\xB6",
                                     "\xDF\xBF",
                                     "\xC2\x80",
                                     "\xE0\xA0\x80",
                                     "\xED\x9F\xBF",
                                     "\xEE\x80\x80",
                                     "\xEF\xBF\xBF",
                                     "\xE6\x97\xA5",
                                     "\xF0\x9F\x98\x80",
                                     "\xF4\x8F\xBF\xBF",
                                     "\x80",
                                     "\xBF",
                                     "\xC0\x80",
                                     "\xC1\xBF",
                                     "\xC2",
                                     "\xE1\x80",
                                     "\xE0\x9F\xBF",
                                     "\xED\xA0\x80",
                                     "\xF0\x8F\xBF\xBF",
                                     "\xF4\x90\x80\x80",
                                     "\xF5\x80\x80\x80",
                                     "\xFF"};
  constexpr std::size_t kValid = 13;
  int refused = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    const std::size_t kinds = 1 + random() % kValid;
    const std::size_t length = random() % 100;
    while (text.size() < length) {
      text += pieces[random() % kinds];
    }
    if (round % 2 == 0) {
      text.insert(random() % (text.size() + 1), pieces[random() % std::size(pieces)]);
    }
    const std::u16string expected = Expected(text);
    refused += expected == u"none" ? 1 : 0;
    ASSERT_TRUE(Utf16Of(text) == expected) << testing::PrintToString(text);
  }
  EXPECT_GT(refused, 1000);
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
