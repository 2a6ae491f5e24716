#include "mime/filename.h"

#include <gtest/gtest.h>

#include "mime/html_charset.h"

namespace brennox::mime {
namespace {

TEST(Filename, IsCleaned) {
  struct Case {
    const char* name;
    const char* clean;
  };
  const Case cases[] = {
      {"report.pdf", "report.pdf"},
      {"C:\\Users\\me\\report.pdf", "report.pdf"},
      {"/etc/passwd", "passwd"},
      {"../../.bashrc", ".bashrc"},
      {"..\\..\\evil.exe", "evil.exe"},
      {"Re: 10/11 costs.xls", "Re: 10_11 costs.xls"},
      {"a\\b.txt", "a_b.txt"},
      {"a\r\n b.txt", "a  b.txt"},
      {"tab\there.txt", "tab here.txt"},
      {"x\x01\x7f.txt", "x.txt"},
      {"gpj.\xE2\x80\xAE"
       "fdp.exe",
       "gpj.fdp.exe"},
      {"c1\xC2\x85.txt", "c1.txt"},
      {"  spaced.txt . ", "spaced.txt"},
      {"..", ""},
      {"...", ""},
      {"/", ""},
      {"", ""},
      {"\xD0\xBE\xD1\x82\xD1\x87\xD1\x91\xD1\x82.doc",
       "\xD0\xBE\xD1\x82\xD1\x87\xD1\x91\xD1\x82.doc"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(cleanFilename(c.name), c.clean) << c.name;
  }
  EXPECT_EQ(cleanFilename(std::string_view("a\0b.txt", 7)), "ab.txt");
}

TEST(Filename, IsShortenedBetweenCharactersAndKeepsItsExtension) {
  std::string name;
  for (int i = 0; i < 200; ++i) {
    name += "\xD0\xB4";
  }
  const std::string clean = cleanFilename(name + ".docx");
  EXPECT_LE(clean.size(), 255U);
  EXPECT_EQ(clean.substr(clean.size() - 6), "\xB4.docx");
  EXPECT_EQ(cleanFilename(std::string(255, 'a')).size(), 255U);
  EXPECT_EQ(cleanFilename(std::string(256, 'a')).size(), 255U);
}

TEST(Filename, IsMadeFromTheType) {
  EXPECT_EQ(makeFilename("image-1", "image/png"), "image-1.png");
  EXPECT_EQ(makeFilename("image-1", "image/jpeg"), "image-1.jpg");
  EXPECT_EQ(makeFilename("x", "message/rfc822"), "x.eml");
  EXPECT_EQ(makeFilename("x", "application/vnd.ms-excel"), "x.xls");
  EXPECT_EQ(makeFilename("x", "application/vnd.oasis.opendocument.text"), "x.odt");
  EXPECT_EQ(
      makeFilename("x", "application/vnd.openxmlformats-officedocument.wordprocessingml.document"),
      "x.docx");
  EXPECT_EQ(makeFilename("x", "video/quicktime"), "x.mov");
  EXPECT_EQ(makeFilename("x", "text/x-unheard-of"), "x.txt");
  EXPECT_EQ(makeFilename("x", "application/x-unheard-of"), "x.bin");
  EXPECT_EQ(makeFilename("x", "image/../../x"), "x.bin");
  EXPECT_EQ(makeFilename("x", ""), "x.bin");
}

TEST(HtmlCharset, IsFoundWhereHtmlDeclaresIt) {
  struct Case {
    const char* html;
    const char* charset;
  };
  const Case cases[] = {
      {"<meta charset=KOI8-R>", "koi8-r"},
      {"<html><head><META http-equiv=\"Content-Type\" content=\"text/html; charset=windows-1251\">",
       "windows-1251"},
      {"<meta http-equiv='content-type' content='text/html; charset = \"utf-8\"'>", "utf-8"},
      {"<?xml version='1.0' encoding='iso-8859-2'?><html>", "iso-8859-2"},
      {"<meta name=viewport><meta charset=\"x\">", "x"},
      {"<p>charset=koi8-r</p>", ""},
      {"<meta charset", ""},
      {"<meta charset=", ""},
      {"", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(charsetInHtml(c.html), c.charset) << c.html;
  }
}

}  // namespace
}  // namespace brennox::mime
