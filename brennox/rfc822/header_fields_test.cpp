#include "rfc822/header_fields.h"

#include <gtest/gtest.h>

#include <string>

namespace brennox::rfc822 {
namespace {

// "name=value;" of each field, and the body after a bar.
std::string scanned(std::string_view bytes, bool partHeader = false) {
  FieldScanner scanner(bytes, partHeader);
  HeaderField field;
  std::string out;
  while (scanner.next(field)) {
    out += std::string(field.name) + "=" + std::string(field.value) + ";";
  }
  return out + "|" + std::string(bytes.substr(scanner.bodyOffset()));
}

struct Case {
  std::string_view bytes;
  std::string_view result;
};

TEST(HeaderFields, AreDividedAtLineEnds) {
  const Case cases[] = {
      {"", "|"},
      {"A: 1\r\nB: 2\r\n\r\nbody", "A= 1;B= 2;|body"},
      {"A: 1\nB: 2\n\nbody", "A= 1;B= 2;|body"},
      {"A: 1\rB: 2\r\rbody", "A= 1;B= 2;|body"},
      {"A: 1\r\r\nB: 2\r\r\n\r\r\nbody", "A= 1;B= 2;|body"},
      {"A: 1\r\nB: 2", "A= 1;B= 2;|"},
      {"A: 1\r\n", "A= 1;|"},
      {"A:1\r\n\r\n", "A=1;|"},
      {"A:\r\n\r\nbody", "A=;|body"},
      {"A: 1\r\n 2\r\n\t3\r\nB: 4\r\n\r\n", "A= 1\r\n 2\r\n\t3;B= 4;|"},
      {"A : 1\r\n\r\n", "A= 1;|"},
      {"A: x\ry\r\nB: 2\r\n\r\nbody", "A= x\ry;B= 2;|body"},
      {"A: 1:2\r\n\r\n", "A= 1:2;|"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(scanned(c.bytes), c.result) << testing::PrintToString(c.bytes);
  }
}

TEST(HeaderFields, MayHaveRubbishAroundThem) {
  const Case cases[] = {
      {"\xEF\xBB\xBF"
       "A: 1\r\n\r\nbody",
       "A= 1;|body"},
      {"\r\n\r\nA: 1\r\n\r\nbody", "A= 1;|body"},
      {"From me@x Sat Nov 21 13:51:05 2026\nA: 1\n\nbody", "A= 1;|body"},
      {">From me@x Sat Nov 21 13:51:05 2026\nA: 1\n\nbody", "A= 1;|body"},
      {"\nFrom me@x Sat Nov 21 13:51:05 2026\nA: 1\n\nbody", "A= 1;|body"},
      {"From: me@x\nA: 1\n\nbody", "From= me@x;A= 1;|body"},
      {"A: 1\r\nstray line\r\nB: 2\r\n\r\nbody", "A= 1;B= 2;|body"},
      {"A: 1\r\n \r\nbody", "A= 1;|body"},
      {"A: 1\r\n \r\n 2\r\nB: 3\r\n\r\nbody", "A= 1\r\n \r\n 2;B= 3;|body"},
      {" stray\r\nA: 1\r\n\r\nbody", "A= 1;|body"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(scanned(c.bytes), c.result) << testing::PrintToString(c.bytes);
  }
}

TEST(HeaderFields, ABodyWithoutAnEmptyLineIsNotLost) {
  const Case cases[] = {
      {"just text\r\nand more\r\n\r\nend", "|just text\r\nand more\r\n\r\nend"},
      {"A: 1\r\nHello,\r\nthis is text.\r\n", "A= 1;|Hello,\r\nthis is text.\r\n"},
      {"\r\nbody", "|body"},
      {"text\r\n", "|text\r\n"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(scanned(c.bytes), c.result) << testing::PrintToString(c.bytes);
  }
}

TEST(HeaderFields, APartWithoutFieldsBeginsWithAnEmptyLine) {
  EXPECT_EQ(scanned("\r\nA: 1\r\n\r\nbody", true), "|A: 1\r\n\r\nbody");
  EXPECT_EQ(scanned("A: 1\r\n\r\nbody", true), "A= 1;|body");
}

TEST(HeaderFields, AreKnownByNameInAnyCase) {
  EXPECT_EQ(fieldId("Subject"), FieldId::kSubject);
  EXPECT_EQ(fieldId("SUBJECT"), FieldId::kSubject);
  EXPECT_EQ(fieldId("content-TYPE"), FieldId::kContentType);
  EXPECT_EQ(fieldId("Subjec"), FieldId::kOther);
  EXPECT_EQ(fieldId("X-Subject"), FieldId::kOther);
  EXPECT_EQ(fieldId(""), FieldId::kOther);
}

TEST(HeaderFields, HostileShapesTakeLinearTime) {
  for (const std::string_view piece : {"a:\n", "\n", " \n", "a\n", "a: b\n \n", "\r", "a:\r",
                                       "From \n", ":\n", "a b\n c\n", "a\r"}) {
    std::string bytes = "A: 1\n";
    while (bytes.size() < 1 << 18) {
      bytes += piece;
    }
    scanned(bytes);
  }
}

}  // namespace
}  // namespace brennox::rfc822
