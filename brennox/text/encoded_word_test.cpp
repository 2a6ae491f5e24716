#include "text/encoded_word.h"

#include <gtest/gtest.h>

#include <random>

#include "text/charset.h"

namespace brennox::text {
namespace {

struct Case {
  std::string_view raw;
  std::string_view text;
};

TEST(EncodedWord, DecodesTheExamplesOfItsDefinition) {
  const Case cases[] = {
      {"=?US-ASCII?Q?Keith_Moore?=", "Keith Moore"},
      {"=?ISO-8859-1?Q?Keld_J=F8rn_Simonsen?=", "Keld Jørn Simonsen"},
      {"=?ISO-8859-1?Q?Andr=E9?= Pirard", "André Pirard"},
      {"=?ISO-8859-1?B?SWYgeW91IGNhbiByZWFkIHRoaXMgeW8=?=\r\n "
       "=?ISO-8859-2?B?dSB1bmRlcnN0YW5kIHRoZSBleGFtcGxlLg==?=",
       "If you can read this you understand the example."},
      {"(=?ISO-8859-1?Q?a?=)", "(a)"},
      {"(=?ISO-8859-1?Q?a?= b)", "(a b)"},
      {"(=?ISO-8859-1?Q?a?= =?ISO-8859-1?Q?b?=)", "(ab)"},
      {"(=?ISO-8859-1?Q?a?=  =?ISO-8859-1?Q?b?=)", "(ab)"},
      {"(=?ISO-8859-1?Q?a?=\r\n    =?ISO-8859-1?Q?b?=)", "(ab)"},
      {"(=?ISO-8859-1?Q?a_b?=)", "(a b)"},
      {"(=?ISO-8859-1?Q?a?= =?ISO-8859-2?Q?_b?=)", "(a b)"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(decodeWords(c.raw), c.text) << c.raw;
  }
}

TEST(EncodedWord, JoinsCharactersSplitOverWords) {
  const Case cases[] = {
      {"=?utf-8?Q?=D0?= =?utf-8?Q?=9F?=", "П"},
      {"=?utf-8?B?0A==?= =?UTF-8?B?nw==?=", "П"},
      {"=?utf-8?B?0A?=\r\n =?utf-8?B?nw?=", "П"},
      {"=?utf-8?Q?=D0?= =?utf-8?B?nw==?=", "П"},
      {"=?gb2312?B?xOM=?= =?gb2312?B?usM=?=", "你好"},
      {"=?gb2312?B?xA==?= =?gb2312?B?4w==?=", "你"},
      {"=?utf-8?B?0J/R?= =?utf-8?B?gNC40LLQtdGC?=", "Привет"},
      // The base64 text itself was cut, not the bytes.
      {"=?utf-8?B?0J/RgNC4?= =?utf-8?B?0LLQtdGC?=", "Привет"},
      {"=?utf-8?B?0J/RgNC40?= =?utf-8?B?LLQtdGC?=", "Привет"},
      {"=?utf-8?B?0J/RgNC40L?= =?utf-8?B?LQtdGC?=", "Привет"},
      {"=?iso-2022-jp?B?GyRCJDMbKEI=?= =?iso-2022-jp?B?GyRCJHMbKEI=?=", "こん"},
      // Cut without regard to the state of the charset.
      {"=?iso-2022-jp?B?GyRCJDMkcw==?= =?iso-2022-jp?B?JEskQSRPGyhC?=", "こんにちは"},
      {"=?iso-2022-jp?B?GyRCJDM=?= =?iso-2022-jp?B?JHMkSyRB?= =?iso-2022-jp?B?JE8bKEI=?= x",
       "こんにちは x"},
      // Not ended, and not cut.
      {"=?iso-2022-jp?B?GyRCJDMkcw==?= =?iso-2022-jp?Q?Hello?=", "こんHello"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(decodeWords(c.raw), c.text) << c.raw;
  }
}

TEST(EncodedWord, ForgivesWhatSendersDo) {
  const Case cases[] = {
      {"=?utf-8?Q?a b c?=", "a b c"},
      {"=?utf-8?Q?Hello\n _there!?=", "Hello there!"},
      {"[SUSPECTED SPAM]=?utf-8?B?VGhpcyBpcyB0aGUgb\n 3JpZ2luYWwgc3ViamVjdA==?=",
       "[SUSPECTED SPAM] This is the original subject"},
      {"Re:=?utf-8?Q?_a?=b", "Re: ab"},
      {"=?utf-8?Q?a?==?utf-8?Q?b?=", "ab"},
      {"=?utf-8?b?Yg?=", "b"},
      {"=?utf-8*en?Q?a?=", "a"},
      {"=?utf-8?Q?what?=3F=20yes?=", "what?? yes"},
      {"=?utf-8?Q?one?two?=", "one?two"},
      {"=?utf-8?Q?"
       "?=x",
       "x"},
      {"=?utf-8?Q?=4?=", "=4"},
      {"=?utf-8?Q?caf=E9?=", "café"},
      {"=?iso-8859-1?Q?caf\xE9?=", "café"},
      {"=?koi8-r?Q?\xF0\xD2\xC9?=", "При"},
      {"=?x-unknown?Q?caf=C3=A9?=", "café"},
      {"=?x-unknown?Q?caf=E9?=", "café"},
      {"=?us-ascii?Q?caf=C3=A9?=", "café"},
      {"=?utf-8?Q?a=0D=0ABcc:_x?=", "a  Bcc: x"},
      {"=?utf-8?Q?a=00b?=", "ab"},
      {"=?utf-8?Q?=EF=BB=BFa?=", "\uFEFFa"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(decodeWords(c.raw), c.text) << c.raw;
  }
}

TEST(EncodedWord, WhatIsNoneStandsForItself) {
  for (const std::string_view text :
       {"=?utf-8?", "=?", "=", "=?utf-8?Q?never ends",
        "=?utf-8?X?a?=", "=??Q?a?=", "=?utf 8?Q?a?=", "a=?b", "=?=?=?", "?="}) {
    EXPECT_EQ(decodeWords(text), text);
  }
}

TEST(EncodedWord, FoldingBecomesOneBlank) {
  EXPECT_EQ(decodeWords(" FWD: \n Saying Hello "), "FWD: Saying Hello");
  EXPECT_EQ(decodeWords("a\r\n\tb"), "a b");
  EXPECT_EQ(decodeWords("a  b"), "a  b");
  EXPECT_EQ(decodeWords("a\r\n =?utf-8?Q?b?=\r\n c"), "a b c");
  // Amid a character there was none.
  EXPECT_EQ(decodeWords("\xD0\x9F\xD1\r\n \x80\xD0\xB8 x"), "При x");
  EXPECT_EQ(decodeWords("\xD0\x9F\xD1\x80\xD0"), "Пр\uFFFD");
}

TEST(RawText, IsUtf8ElseTheGivenCharsetElseWindows) {
  EXPECT_EQ(decodeWords("caf\xC3\xA9", "koi8-r"), "café");
  EXPECT_EQ(decodeWords("\xF0\xD2\xC9", "koi8-r"), "При");
  EXPECT_EQ(decodeWords("caf\xE9", ""), "café");
  EXPECT_EQ(decodeWords("caf\xE9 \x80", "utf-8"), "café €");
  EXPECT_EQ(decodeWords("\xF0\xD2\xC9 =?utf-8?Q?x?=", "koi8-r"), "При x");
  EXPECT_EQ(decodeWords("\x1B$B$3$s\x1B(B"), "こん");
  EXPECT_EQ(decodeRawText("=?utf-8?Q?x?= \xF0\xD2\xC9", "koi8-r"), "=?utf-8?Q?x?= При");
}

std::string encoded(std::string_view text, std::size_t column = 9) {
  std::string out;
  appendEncodedWords(text, column, out);
  return out;
}

TEST(EncodedWord, EncodesReadablyUnlessThatIsMuchLonger) {
  EXPECT_EQ(encoded("café"), "=?utf-8?Q?caf=C3=A9?=");
  EXPECT_EQ(encoded("Привет"), "=?utf-8?B?0J/RgNC40LLQtdGC?=");
  EXPECT_EQ(encoded("a b"), "=?utf-8?Q?a_b?=");
}

void expectWellFormed(std::string_view words) {
  std::size_t start = 0;
  while (start < words.size()) {
    const std::size_t end = std::min(words.find("\r\n ", start), words.size());
    const std::string_view line = words.substr(start, end - start);
    ASSERT_LE(line.size() + 1, 78U) << words;
    ASSERT_LE(line.size(), 75U) << words;
    ASSERT_EQ(line.substr(0, 2), "=?");
    std::string alone;
    appendDecodedWords(line, "", alone);
    ASSERT_TRUE(isValidUtf8(alone) && alone.find("\xEF\xBF\xBD") == std::string::npos) << line;
    start = end + 3;
  }
}

TEST(EncodedWord, WordsAreWholeAndComeBack) {
  std::mt19937 random(5);
  const std::string_view pieces[] = {"a",  " ",  "é", "П", "€",  "😀",
                                     "=?", "?=", "_", "=", "\"", "你"};
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    const std::size_t count = 1 + random() % 120;
    const std::size_t kinds = 1 + random() % std::size(pieces);
    for (std::size_t i = 0; i < count; ++i) {
      text += pieces[random() % kinds];
    }
    const std::string words = encoded(text, random() % 78);
    std::string decoded;
    appendDecodedWords(words.substr(0, 3) == "\r\n " ? std::string_view(words).substr(3) : words,
                       "", decoded);
    ASSERT_EQ(decoded, text) << words;
    expectWellFormed(words.substr(0, 3) == "\r\n " ? std::string_view(words).substr(3) : words);
  }
}

}  // namespace
}  // namespace brennox::text
