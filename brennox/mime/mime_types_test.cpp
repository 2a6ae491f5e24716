#include "mime/mime_types.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

namespace brennox::mime {
namespace {

struct Case {
  const char* filename;
  const char* type;
};

TEST(MimeTypes, FollowTheFileName) {
  const Case cases[] = {
      {"a.txt", "text/plain"},
      {"a.pdf", "application/pdf"},
      {"photo.JPG", "image/jpeg"},
      {"photo.jpeg", "image/jpeg"},
      {"logo.png", "image/png"},
      {"page.html", "text/html"},
      {"page.HTM", "text/html"},
      {"letter.doc", "application/msword"},
      {"letter.docx", "application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
      {"table.xlsx", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
      {"text.odt", "application/vnd.oasis.opendocument.text"},
      {"mail.eml", "message/rfc822"},
      {"smime.p7m", "application/pkcs7-mime"},
      {"smime.p7s", "application/pkcs7-signature"},
      {"event.ics", "text/calendar"},
      {"person.vcf", "text/vcard"},
      {"data.json", "application/json"},
      {"data.xml", "application/xml"},
      {"data.csv", "text/csv"},
      {"song.mp3", "audio/mpeg"},
      {"film.mp4", "video/mp4"},
      {"film.webm", "video/webm"},
      {"module.wasm", "application/wasm"},
      {"winmail.dat", "application/vnd.ms-tnef"},
      {"Makefile", "text/x-makefile"},
      {"README", "text/x-readme"},
      {"README.md", "text/markdown"},
      {"libfoo.so.1.2", "application/x-sharedlib"},
      {"ls.1", "application/x-troff-man"},
      {"a.txt~", "application/x-trash"},
  };
  for (const Case& c : cases) {
    EXPECT_STREQ(mimeTypeForFilename(c.filename), c.type) << c.filename;
  }
}

TEST(MimeTypes, TheLongestKnownEndingDecides) {
  EXPECT_STREQ(mimeTypeForFilename("a.tar.gz"), "application/x-compressed-tar");
  EXPECT_STREQ(mimeTypeForFilename("a.gz"), "application/gzip");
  EXPECT_STREQ(mimeTypeForFilename("a.b.tar.gz"), "application/x-compressed-tar");
  EXPECT_STREQ(mimeTypeForFilename("a.pdf.zip"), "application/zip");
  EXPECT_STREQ(mimeTypeForFilename("invoice.pdf.exe"), "application/x-ms-dos-executable");
}

TEST(MimeTypes, OnlyTheLastPathComponentCounts) {
  EXPECT_STREQ(mimeTypeForFilename("/tmp/x.png/file"), "application/octet-stream");
  EXPECT_STREQ(mimeTypeForFilename("C:\\x\\y.png"), "image/png");
}

TEST(MimeTypes, UnknownNamesAreOctetStreams) {
  for (const char* const name : {"", ".", "..", "file", "a.", "a.nosuchending", "png", "a.p ng"}) {
    EXPECT_STREQ(mimeTypeForFilename(name), "application/octet-stream") << name;
  }
  EXPECT_STREQ(mimeTypeForFilename(std::string(100000, '.')), "application/octet-stream");
  EXPECT_STREQ(mimeTypeForFilename(std::string(100000, 'a') + ".png"), "image/png");
}

TEST(MimeTypes, TheTableHasEachEndingOnceAndOnlyTypes) {
  std::set<std::string> seen;
  for (std::size_t i = 0; i < kMimeTypesByExtensionCount; ++i) {
    const std::string type = kMimeTypesByExtension[i].type;
    EXPECT_EQ(std::count(type.begin(), type.end(), '/'), 1) << type;
    std::string ending;
    for (const char c : std::string(kMimeTypesByExtension[i].endings) + ' ') {
      if (c != ' ') {
        EXPECT_FALSE(c >= 'A' && c <= 'Z') << kMimeTypesByExtension[i].endings;
        ending += c;
        continue;
      }
      EXPECT_FALSE(ending.empty()) << type;
      EXPECT_LE(ending.size(), 63U);
      EXPECT_TRUE(seen.insert(ending).second) << ending;
      EXPECT_EQ(mimeTypeForFilename("x." + ending), type) << ending;
      ending.clear();
    }
  }
  EXPECT_GT(seen.size(), 2000U);
}

}  // namespace
}  // namespace brennox::mime
