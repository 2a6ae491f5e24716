#include "text/charset.h"

#include <brennox/AutoreleasePool.h>
#include <brennox/String.h>
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "text/utf8.h"

namespace brennox::text {
namespace {

std::string inCharset(std::string_view bytes, std::string_view charset) {
  std::string out;
  EXPECT_TRUE(appendInCharset(bytes, charset, out)) << charset;
  return out;
}

struct Encoded {
  std::string_view charset;
  std::string_view bytes;
  std::string_view text;
};

TEST(Charset, ReadsTheNamesThatMailUses) {
  const Encoded cases[] = {
      {"utf-8", "\xC3\xA9", "é"},
      {"UTF8", "\xC3\xA9", "é"},
      {"unicode-1-1-utf-8", "\xC3\xA9", "é"},
      {"iso-8859-1", "\xE9\x80", "é€"},
      {"ISO_8859-1:1987", "\xE9", "é"},
      {"latin1", "\xE9", "é"},
      {"cp1252", "\x93x\x94", "“x”"},
      {"x-cp1252", "\x80", "€"},
      {"windows-1252", "\x80", "€"},
      {"iso-8859-15", "\xA4", "€"},
      {"iso-8859-9", "\xFD", "ı"},
      {"windows-1251", "\xCF\xF0\xE8", "При"},
      {"win-1251", "\xCF\xF0\xE8", "При"},
      {"cp-1251", "\xCF\xF0\xE8", "При"},
      {"koi8-r", "\xF0\xD2\xC9", "При"},
      {"koi8-t", "\x80\xC1", "қа"},
      {"iso-8859-16", "\xAA\xDE\xA4", "ȘȚ€"},
      {"latin10", "\xBA", "ș"},
      {"viscii", "Vi\xAEt\x02", "ViệtẲ"},
      {"KOI8_R", "\xF0\xD2\xC9", "При"},
      {"x-koi8-r", "\xF0\xD2\xC9", "При"},
      {"ibm866", "\x8F\xE0\xA8", "При"},
      {"cp866", "\x8F\xE0\xA8", "При"},
      {"x-mac-cyrillic", "\x8F\xF0\xE8", "При"},
      {"iso-8859-5", "\xBF\xE0\xD8", "При"},
      {"iso-8859-8-i", "\xF9\xEC\xE5\xED", "שלום"},
      {"iso-8859-8-e", "\xF9\xEC\xE5\xED", "שלום"},
      {"iso-8859-6", "\xE5\xD1\xCD\xC8\xC7", "مرحبا"},
      {"iso-8859-7", "\xC3\xE5\xE9\xDC", "Γειά"},
      {"tis-620", "\xA1", "ก"},
      {"gb2312", "\xC4\xE3\xBA\xC3", "你好"},
      {"GB_2312-80", "\xC4\xE3\xBA\xC3", "你好"},
      {"gbk", "\xE9\x46", "镕"},
      {"gb2312", "\xE9\x46", "镕"},
      {"x-gbk", "\xC4\xE3", "你"},
      {"big5", "\xA7\x41\xA6\x6E", "你好"},
      {"euc-kr", "\xBE\xC8\xB3\xE7", "안녕"},
      {"ks_c_5601-1987", "\xBE\xC8\x8C\x63", "안똠"},
      {"shift_jis", "\x82\xB1\x82\xF1", "こん"},
      {"x-sjis", "\x87\x40", "①"},
      {"euc-jp", "\xA4\xB3\xA4\xF3", "こん"},
      {"iso-2022-jp", "\x1B$B$3$s\x1B(B!", "こん!"},
      {"iso-2022-jp-ms", "\x1B$B$3$s\x1B(B!", "こん!"},
      {"utf-7", "+BBA-a+AGI-", "Аab"},
      {"unicode-1-1-utf-7", "Hi+ACE-", "Hi!"},
      {"utf-16", std::string_view("\xFE\xFF\x04\x10", 4), "А"},
      {"utf-16le", std::string_view("\x10\x04\x3D\xD8\x00\xDE", 6), "А😀"},
      {"hz-gb-2312", "~{<:Ky2;S{~}", "己所不欲"},
      {"us-ascii", "plain", "plain"},
      {"\"utf-8\"", "\xC3\xA9", "é"},
      {"utf-8*en", "\xC3\xA9", "é"},
  };
  for (const Encoded& c : cases) {
    EXPECT_EQ(inCharset(c.bytes, c.charset), c.text) << c.charset;
  }
}

TEST(Charset, InventedNamesLeaveRoomForOthers) {
  for (int i = 0; i < 2000; ++i) {
    EXPECT_FALSE(isKnownCharset("x-invented-" + std::to_string(i)));
  }
  std::string greek;
  EXPECT_TRUE(appendInCharset("\xE1\xE2", "wInDoWs-1253", greek));
  EXPECT_EQ(greek, "αβ");
  EXPECT_TRUE(isKnownCharset("eUC-tw"));
}

TEST(Charset, UnknownNamesAppendNothing) {
  for (const std::string_view name :
       {"", "x-unknown", "8bit", "../../etc/passwd", "utf-8,swaplfnl", "no such charset"}) {
    std::string out = "kept";
    EXPECT_FALSE(appendInCharset("a\xE9", name, out)) << name;
    EXPECT_EQ(out, "kept");
    EXPECT_FALSE(isKnownCharset(name)) << name;
  }
  EXPECT_FALSE(isKnownCharset(std::string(1000, 'a')));
}

TEST(Charset, EightBitTextDeclaredAsAsciiIsDetected) {
  EXPECT_EQ(inCharset("caf\xC3\xA9", "us-ascii"), "café");
  EXPECT_EQ(inCharset("caf\xE9", "us-ascii"), "café");
}

TEST(Charset, LongTextsInOneByteCharsetsAreWhole) {
  std::string bytes;
  std::string expected;
  for (int i = 0; i < 5000; ++i) {
    bytes += "\xF0\xD2\xC9 abc\x80";
    expected += "При abc─";
  }
  for (std::size_t cut = 0; cut < 9; ++cut) {
    EXPECT_EQ(inCharset(bytes.substr(0, bytes.size() - 8 * cut), "koi8-r"),
              expected.substr(0, expected.size() - 13 * cut));
  }
}

TEST(Charset, ConvertersAreSafeAcrossBufferEnds) {
  std::string bytes("\xFF\xFE", 2);
  std::string expected;
  for (int i = 0; i < 4999; ++i) {
    bytes += i % 2 == 0 ? std::string_view("\x3D\xD8\x00\xDE", 4) : std::string_view("a\0", 2);
    expected += i % 2 == 0 ? "😀" : "a";
  }
  EXPECT_EQ(inCharset(bytes, "utf-16"), expected);
}

TEST(Utf8, InvalidSequencesBecomeOneReplacementEach) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"a\xFFz", "a\uFFFDz"},
      {"\xC3", "\uFFFD"},
      {"\xE2\x82", "\uFFFD"},
      {"\xE2\x82z", "\uFFFDz"},
      {"\xC0\x80", "\uFFFD\uFFFD"},
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
      {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xF0\x9F\x98\x80", "😀"},
      {"\xF0\x9F\x98z", "\uFFFDz"},
  };
  for (const auto& [bytes, text] : cases) {
    std::string out;
    appendRepairedUtf8(bytes, out);
    EXPECT_EQ(out, text);
  }
}

// The vector code and the plain code have to agree on every kind of error at every place.
TEST(Utf8, LongAndShortTextsAreJudgedAlike) {
  std::mt19937 random(7);
  const std::string_view pieces[] = {"a",
                                     "é",
                                     "€",
                                     "😀",
                                     "\x80",
                                     "\xC3",
                                     "\xE2\x82",
                                     "\xC0\xAF",
                                     "\xED\xA0\x80",
                                     "\xF4\x90\x80\x80",
                                     "\xF5",
                                     "\xE0\x80\x80",
                                     "\xF0\x80\x80\x80",
                                     "\xED\x9F\xBF",
                                     "\xEE\x80\x80",
                                     "\xF4\x8F\xBF\xBF",
                                     "\xF8\x88\x80\x80\x80"};
  int invalid = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    const bool clean = round % 2 == 0;
    const std::size_t target = 64 + random() % 100;
    while (text.size() < target) {
      text += pieces[random() % 4];
    }
    if (!clean) {
      text.insert(random() % text.size(), pieces[random() % std::size(pieces)]);
    }
    bool expected = true;
    for (std::size_t i = 0; i < text.size();) {
      const Utf8Step step = utf8Step(text.data() + i, text.data() + text.size());
      expected = expected && step.valid;
      i += step.length;
    }
    invalid += expected ? 0 : 1;
    ASSERT_EQ(isValidUtf8(text), expected) << testing::PrintToString(text);
  }
  EXPECT_GT(invalid, 1000);
}

TEST(DetectCharset, FindsWhatTheBytesShow) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"plain", "us-ascii"},
      {"caf\xC3\xA9", "utf-8"},
      {"\xEF\xBB\xBFx", "utf-8"},
      {"\xD0\x9F\xD1\x80\xD0", "utf-8"},
      {"\xD0\x9F \xF0\x9F\x98", "utf-8"},
      {"caf\xC3", "windows-1252"},
      {"\xFF\xFEx", "utf-16le"},
      {"\x1B$B$3$s\x1B(B", "iso-2022-jp"},
      {"caf\xE9", "windows-1252"},
      {"Gr\xFC\xDF"
       "e aus M\xFCnchen, sch\xF6nes Wochenende!",
       "windows-1252"},
      {"\xF0\xD2\xC9\xD7\xC5\xD4", "KOI8-R"},
      {"\xCF\xF0\xE8\xE2\xE5\xF2", "windows-1251"},
      {"\xBE\xC8\xB3\xE7\xC7\xCF\xBC\xBC\xBF\xE4 \xB0\xA8\xBB\xE7", "EUC-KR"},
      {"\xCA\xE1\xEB\xE7\xEC\xDD\xF1\xE1 \xEA\xFC\xF3\xEC\xE5, \xF4\xDF \xEA\xDC\xED\xE5\xF4\xE5;",
       "windows-1253"},
  };
  for (const auto& [bytes, charset] : cases) {
    EXPECT_EQ(detectCharset(bytes), charset) << testing::PrintToString(bytes);
  }
}

struct Language {
  std::string_view charset;
  std::string_view text;
};

TEST(DetectCharset, ReadsParagraphsInTheirOwnCharset) {
  const Language cases[] = {
      {"koi8-r",
       "Добрый день! Высылаю вам отчёт за прошлый месяц, посмотрите, пожалуйста, все "
       "цифры. С уважением, Иван Петров, главный бухгалтер."},
      {"windows-1251",
       "Добрый день! Высылаю вам отчёт за прошлый месяц, посмотрите, пожалуйста, "
       "все цифры. С уважением, Иван Петров, главный бухгалтер."},
      {"shift_jis",
       "お世話になっております。先日ご依頼いただきました資料をお送りいたします。ご確認のほど"
       "よろしくお願いいたします。"},
      {"euc-jp",
       "お世話になっております。先日ご依頼いただきました資料をお送りいたします。ご確認のほど"
       "よろしくお願いいたします。"},
      {"gb18030", "您好！附件是上个月的报告，请您查收。如果有任何问题，请随时与我联系。谢谢！"},
      {"big5", "您好！附件是上個月的報告，請您查收。如果有任何問題，請隨時與我聯繫。謝謝！"},
      {"euc-kr", "안녕하세요. 지난달 보고서를 첨부하였으니 확인해 주시기 바랍니다. 감사합니다."},
      {"windows-1253", "Καλημέρα σας, σας στέλνω την αναφορά του προηγούμενου μήνα. Με εκτίμηση"},
      {"windows-1255", "שלום רב, מצורף הדוח של החודש שעבר. בברכה, דוד כהן, מנהל החשבונות הראשי"},
      {"windows-1252",
       "Sehr geehrte Damen und Herren, für Rückfragen stehen wir natürlich gerne "
       "zur Verfügung. Mit freundlichen Grüßen, Jürgen Müller"},
      {"windows-1252",
       "Bonjour, veuillez trouver ci-joint le relevé du mois passé. À bientôt, "
       "Hélène Lefèvre, responsable de la comptabilité générale"},
      {"iso-8859-2",
       "Dzień dobry, w załączeniu przesyłam raport za ubiegły miesiąc. Proszę o "
       "sprawdzenie wszystkich liczb. Z poważaniem, Łukasz Żółkiewski, księgowość"},
  };
  for (const Language& c : cases) {
    std::string bytes;
    ASSERT_TRUE(appendEncoded(c.text, c.charset, bytes)) << c.charset;
    EXPECT_EQ(decodeText(bytes, ""), c.text) << c.charset << " read as " << detectCharset(bytes);
  }
}

TEST(DecodeText, PrefersTheDeclaredCharsetAndMendsWrongOnes) {
  const Encoded cases[] = {
      {"utf-8", "caf\xC3\xA9", "café"},
      {"utf-8", "caf\xE9", "café"},
      {"utf-8", "\xC3\xA9\xC3\xA9\xFF", "éé\uFFFD"},
      {"iso-8859-1", "caf\xE9", "café"},
      {"iso-8859-1", "caf\xC3\xA9", "café"},
      {"x-unknown", "caf\xE9", "café"},
      {"x-unknown", "caf\xC3\xA9", "café"},
      {"", "\xEF\xBB\xBFx", "x"},
      {"iso-8859-1", "\xEF\xBB\xBFx", "x"},
      {"", std::string_view("\xFF\xFEx\0", 4), "x"},
      {"us-ascii", "\x1B$B$3$s\x1B(B", "こん"},
      // Without a mark, in either order; and what is none.
      {"utf-16", std::string_view("H\0i\0 \0\x1F\x04", 8), "Hi П"},
      {"utf-16", std::string_view("\0H\0i\0 \x04\x1F", 8), "Hi П"},
      {"UTF16", std::string_view("\x04\x1F", 2), "П"},
      {"utf-16", "plain", "plain"},
  };
  for (const Encoded& c : cases) {
    EXPECT_EQ(decodeText(c.bytes, c.charset), c.text) << c.charset;
  }
}

// Long texts go another way, to the same result.
TEST(DecodeText, LengthChangesNothing) {
  const AutoreleasePool pool;
  const Encoded cases[] = {{"utf-8", "é€😀 a\r\n", ""},
                           {"koi8-r", "\xF0\xD2\xC9 \x80\xA5 abcdefghi\n", ""},
                           {"iso-8859-1", "na\xEFve\n", ""},
                           {"shift_jis", "\x93\xFA\x96{ a\n", ""},
                           {"utf-16le",
                            std::string_view("\x3D\xD8\x00\xDE"
                                             "a\0",
                                             6),
                            ""},
                           {"iso-2022-jp", "\x1B$BF|K\\\x1B(B\n", ""},
                           {"us-ascii", "caf\xC3\xA9 ", ""},
                           {"utf-8", "a\xFFz \xC3\xA9 ", ""},
                           {"", "gr\xFC\xDF ", ""},
                           {"nonsense", "gr\xFC\xDF ", ""},
                           {"tis-620", "\xA1\xD2\xC3", ""},
                           {"utf-7", "a+AOk-b ", ""}};
  for (const Encoded& c : cases) {
    std::string bytes;
    while (bytes.size() < 300'000) {
      bytes += c.bytes;
    }
    for (const std::string_view mark : {"", "\xEF\xBB\xBF"}) {
      const std::string all = std::string(mark) + bytes;
      const std::string expected = decodeText(all, c.charset);
      EXPECT_TRUE(isValidUtf8(expected));
      EXPECT_TRUE(decodedText(all, c.charset)->view() == expected) << c.charset;
    }
  }
}

TEST(Charset, EncodesOnlyWhatFits) {
  std::string out;
  EXPECT_TRUE(appendEncoded("При", "koi8-r", out));
  EXPECT_EQ(out, "\xF0\xD2\xC9");
  EXPECT_FALSE(appendEncoded("你", "koi8-r", out));
  EXPECT_FALSE(appendEncoded("é", "us-ascii", out));
  EXPECT_EQ(out, "\xF0\xD2\xC9");
}

}  // namespace
}  // namespace brennox::text
