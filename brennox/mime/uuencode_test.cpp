#include "mime/uuencode.h"

#include <gtest/gtest.h>

#include "mime/yenc.h"

namespace brennox::mime {
namespace {

std::string uudecode(std::string_view lines) {
  std::string out(uudecodedBound(lines.size()), '\0');
  out.resize(uudecodeLines(lines, out.data()));
  return out;
}

std::string ydecode(std::string_view lines) {
  std::string out(lines.size(), '\0');
  out.resize(ydecodeLines(lines, out.data()));
  return out;
}

TEST(Uuencode, DecodesLines) {
  struct Case {
    const char* why;
    std::string lines;
    std::string bytes;
  };
  const Case cases[] = {
      {"one line", "#0V%T\n", "Cat"},
      {"CRLF", "#0V%T\r\n`\r\n", "Cat"},
      {"two lines", "#0V%T\n#0V%T\n`\n", "CatCat"},
      {"backquote for a blank", "#````\n", std::string(3, '\0')},
      {"lost blanks at the end", "#0\n", std::string("@\0\0", 3)},
      {"checksum character", "#0V%T!\n", "Cat"},
      {"two bytes in a cut group", "\"0V$\n", "Ca"},
      {"nothing behind a line that is none", "#0V%T\n\x7fxx\n#0V%T\n", "Cat"},
      {"empty", "", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(uudecode(c.lines), c.bytes) << c.why;
  }
}

TEST(Uuencode, NeverWritesMoreThanItsBound) {
  // Each line has the least characters that make three bytes.
  std::string lines;
  for (int i = 0; i < 100; ++i) {
    lines += "#0\n";
  }
  EXPECT_EQ(uudecode(lines).size(), 300U);
  EXPECT_EQ(uudecode("#0").size(), 3U);
}

TEST(Uuencode, FindsFilesInText) {
  const std::string text =
      "Hello\n\nbegin 644 cat.txt\n#0V%T\n`\nend\nBye\nbegin 755 a b.bin\r\n#0V%T\r\n \r\nend\r\n";
  const std::vector<EmbeddedFile> files = findUuencodedFiles(text);
  ASSERT_EQ(files.size(), 2U);
  EXPECT_EQ(files[0].name, "cat.txt");
  EXPECT_EQ(text.substr(0, files[0].begin), "Hello\n\n");
  EXPECT_EQ(text.substr(files[0].end, 4), "Bye\n");
  EXPECT_EQ(uudecode(files[0].lines), "Cat");
  EXPECT_EQ(files[1].name, "a b.bin");
  EXPECT_EQ(uudecode(files[1].lines), "Cat");
  EXPECT_EQ(files[1].end, text.size());
}

TEST(Uuencode, LeavesProseAlone) {
  for (const char* text :
       {"begin 644 the report\nas soon as you can\n", "we begin 644 x\n#0V%T\nend\n",
        "begin 99 x\n#0V%T\nend\n", "begin 644 \n#0V%T\nend\n", "begin 644 x"}) {
    EXPECT_TRUE(findUuencodedFiles(text).empty()) << text;
  }
}

TEST(Uuencode, ForgivesAMissingEnd) {
  const std::string text = "begin 644 x\n#0V%T\n#0V%T\nand so on, said he\n";
  const std::vector<EmbeddedFile> files = findUuencodedFiles(text);
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(uudecode(files[0].lines), "CatCat");
  EXPECT_EQ(text.substr(files[0].end), "and so on, said he\n");
}

TEST(Yenc, FindsAndDecodesFiles) {
  const std::string text =
      "see below\r\n=ybegin line=128 size=5 name=a file.bin\r\n=ypart begin=1 end=5\r\n"
      "\x6d\x8b\x9e=\x6a=\x7d\r\n=yend size=5 part=1\r\nbye\r\n";
  const std::vector<EmbeddedFile> files = findYencFiles(text);
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(files[0].name, "a file.bin");
  EXPECT_EQ(ydecode(files[0].lines), std::string("Cat\0\x13", 5));
  EXPECT_EQ(text.substr(files[0].end), "bye\r\n");
  EXPECT_EQ(text.substr(0, files[0].begin), "see below\r\n");
}

TEST(Yenc, ForgivesAMissingEndAndEmptyContent) {
  EXPECT_EQ(ydecode(findYencFiles("=ybegin line=128 size=3 name=x\n\x6d\x8b\x9e").at(0).lines),
            "Cat");
  EXPECT_EQ(ydecode(findYencFiles("=ybegin line=128 size=0 name=x\n=yend size=0\n").at(0).lines),
            "");
  EXPECT_TRUE(findYencFiles("=ybegin of the end\n").empty());
}

}  // namespace
}  // namespace brennox::mime
