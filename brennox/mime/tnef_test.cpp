#include "mime/tnef.h"

#include <gtest/gtest.h>

#include "mime/rtf.h"

namespace brennox::mime {
namespace {

std::string number(std::size_t value, std::size_t size) {
  std::string bytes;
  for (; size > 0; --size, value >>= 8) {
    bytes += static_cast<char>(value);
  }
  return bytes;
}

std::string attribute(int level, std::size_t id, const std::string& value) {
  return number(static_cast<std::size_t>(level), 1) + number(id, 4) + number(value.size(), 4) +
         value + number(0, 2);
}

std::string property(std::size_t type, std::size_t id, const std::string& value) {
  return number(type, 2) + number(id, 2) + number(1, 4) + number(value.size(), 4) + value +
         std::string((4 - value.size() % 4) % 4, '\0');
}

std::string stream(const std::string& attributes) {
  return number(0x223E9F78, 4) + number(1, 2) + attributes;
}

std::string utf16(std::string_view ascii) {
  std::string bytes;
  for (const char c : ascii) {
    bytes += c;
    bytes += '\0';
  }
  return bytes + std::string(2, '\0');
}

// Parses bytes that it keeps, since what was read refers to them.
struct Parsed {
  explicit Parsed(std::string given) : bytes(std::move(given)), ok(parseTnef(bytes, tnef)) {}

  const std::string bytes;
  Tnef tnef;
  const bool ok;
};

TEST(Tnef, ReadsAttachments) {
  const std::string long16 = property(0x1F, 0x3707, utf16("long name.txt"));
  const std::string id = property(0x1E, 0x3712, std::string("id@x\0", 5));
  const std::string named = number(0x0003, 2) + number(0x8001, 2) + std::string(16, 'g') +
                            number(1, 4) + number(4, 4) + utf16("n") + number(7, 4);
  const std::string mime = property(0x1E, 0x370E, std::string("text/plain\0", 11));
  const std::string properties = number(4, 4) + named + long16 + id + mime;
  const Parsed parsed(stream(
      attribute(2, 0x00069002, std::string(14, '\0')) +
      attribute(2, 0x00018010, std::string("SHORT.TXT\0", 10)) +
      attribute(2, 0x0006800F, "content") + attribute(2, 0x00069005, properties) +
      attribute(2, 0x00069002, std::string(14, '\0')) +
      attribute(2, 0x00018010, std::string("b.bin\0", 6)) + attribute(2, 0x0006800F, "more")));
  const Tnef& tnef = parsed.tnef;
  ASSERT_TRUE(parsed.ok);
  ASSERT_EQ(tnef.attachments.size(), 2U);
  EXPECT_EQ(tnef.attachments[0].filename, "long name.txt");
  EXPECT_EQ(tnef.attachments[0].content, "content");
  EXPECT_EQ(tnef.attachments[0].contentID, "id@x");
  EXPECT_EQ(tnef.attachments[0].mimeType, "text/plain");
  EXPECT_EQ(tnef.attachments[1].filename, "b.bin");
  EXPECT_EQ(tnef.attachments[1].content, "more");
}

TEST(Tnef, ReadsBodies) {
  const Parsed parsed(
      stream(attribute(1, 0x00069007, number(1251, 4) + number(0, 4)) +
             attribute(1, 0x00069003,
                       number(3, 4) + property(0x102, 0x1013, "<p>x</p>") +
                           property(0x1F, 0x0037, utf16("Subject")) +
                           property(0x1E, 0x1000, std::string("\xCF\xF0\xE8\0", 4)))));
  const Tnef& tnef = parsed.tnef;
  ASSERT_TRUE(parsed.ok);
  EXPECT_EQ(tnef.html, "<p>x</p>");
  EXPECT_EQ(tnef.subject, "Subject");
  EXPECT_EQ(tnef.plain, "\xD0\x9F\xD1\x80\xD0\xB8");
}

TEST(Tnef, KnowsEmbeddedMessages) {
  const std::string inner = stream("");
  const Parsed parsed(
      stream(attribute(2, 0x00069002, "") +
             attribute(2, 0x00069005,
                       number(1, 4) + property(0x0D, 0x3701, std::string(16, 'i') + inner))));
  const Tnef& tnef = parsed.tnef;
  ASSERT_TRUE(parsed.ok);
  ASSERT_EQ(tnef.attachments.size(), 1U);
  EXPECT_TRUE(tnef.attachments[0].isMessage);
  EXPECT_EQ(tnef.attachments[0].content, inner);
}

TEST(Tnef, KeepsWhatWasReadOfABrokenStream) {
  const std::string whole = stream(attribute(2, 0x00069002, std::string(14, '\0')) +
                                   attribute(2, 0x00018010, std::string("a.txt\0", 6)) +
                                   attribute(2, 0x0006800F, "content"));
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    Tnef tnef;
    EXPECT_EQ(parseTnef(std::string_view(whole).substr(0, length), tnef), length >= 4) << length;
  }
  Tnef tnef;
  ASSERT_TRUE(parseTnef(std::string_view(whole).substr(0, whole.size() - 5), tnef));
  EXPECT_EQ(tnef.attachments.at(0).filename, "a.txt");
  // Two bytes of the checksum and three of the content are gone.
  EXPECT_EQ(tnef.attachments.at(0).content, "cont");
}

TEST(Tnef, BoundsCounts) {
  // A property list that announces four thousand million values.
  const Parsed parsed(stream(
      attribute(1, 0x00069003,
                number(0xFFFFFFFF, 4) + number(0x1003, 2) + number(1, 2) + number(0xFFFFFFFF, 4))));
  ASSERT_TRUE(parsed.ok);
}

TEST(Rtf, IsDecompressed) {
  // The example of the format's description: 0x2d bytes that become 0x2b.
  const std::string packed =
      std::string("\x2d\x00\x00\x00\x2b\x00\x00\x00", 8) + "LZFu" +
      std::string("\xf1\xc5\xc7\xa7\x03\x00\x0a\x00", 8) +
      std::string(
          "rcpg125\x42\x32\x0a\xf3\x20hel\x09\x00\x20\x62\x77\x05\xb0\x6c\x64\x7d\x0a\x80\x0f\xa0",
          29);
  EXPECT_EQ(decompressRtf(packed), "{\\rtf1\\ansi\\ansicpg1252\\pard hello world}\r\n");
  EXPECT_EQ(decompressRtf(number(16, 4) + number(4, 4) + "MELA" + number(0, 4) + "text"), "text");
  EXPECT_EQ(decompressRtf("short"), "");
  EXPECT_EQ(decompressRtf(packed.substr(0, 30)).substr(0, 5), "{\\rtf");
}

TEST(Rtf, GivesItsText) {
  struct Case {
    const char* rtf;
    const char* plain;
    const char* html;
  };
  const Case cases[] = {
      {"{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\pard one\\par two\\tab three\\line}",
       "one\ntwo\tthree\n", ""},
      {"{\\rtf1\\ansicpg1251 \\'cf\\'f0}", "\xD0\x9F\xD1\x80", ""},
      {"{\\rtf1\\u1055?\\uc0\\u1088 x\\u-10179\\u-8704}", "\xD0\x9F\xD1\x80x\xF0\x9F\x98\x80", ""},
      {"{\\rtf1 a{\\*\\generator secret;}b\\{\\}\\\\}", "ab{}\\", ""},
      {"{\\rtf1\\fromhtml1{\\*\\htmltag64 <p>}\\htmlrtf{\\b\\htmlrtf0 "
       "hi\\htmlrtf\\b0}\\htmlrtf0{\\*\\htmltag72 </p>}}",
       "", "<p>hi</p>"},
      {"no rtf", "", ""},
      {"{\\rtf1 unclosed", "unclosed", ""},
      {"{\\rtf1 x}}}}y", "xy", ""},
  };
  for (const Case& c : cases) {
    const RtfContent content = readRtf(c.rtf);
    EXPECT_EQ(content.plain, c.plain) << c.rtf;
    EXPECT_EQ(content.html, c.html) << c.rtf;
  }
}

TEST(Rtf, BoundsItsGroups) {
  EXPECT_EQ(
      readRtf("{\\rtf1 " + std::string(100'000, '{') + "deep" + std::string(100'000, '}') + "out}")
          .plain,
      "deepout");
}

}  // namespace
}  // namespace brennox::mime
