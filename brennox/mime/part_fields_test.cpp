#include "mime/part_fields.h"

#include <gtest/gtest.h>

#include <string>

namespace brennox::mime {
namespace {

TEST(MediaType, IsReadWithItsParameters) {
  const auto type = parseMediaType("Text/Calendar; method=REQUEST; charset=utf-8; name=x");
  ASSERT_TRUE(type);
  EXPECT_EQ(type->essence, "text/calendar");
  ASSERT_EQ(type->parameters.size(), 1U);
  EXPECT_EQ(type->parameters[0].name, "method");
  EXPECT_EQ(type->parameters[0].value, "REQUEST");
}

TEST(MediaType, GarbageIsNone) {
  for (const char* const text :
       {"", "text", "/", "text/", "/plain", "te xt", "text/pl\xC3\xA9", "te\rxt/plain", "a/b/c",
        "text/\"plain\"", "text/plain\r\nX-Evil: 1", "\xFF/\xFF", "-a/b"}) {
    EXPECT_FALSE(parseMediaType(text)) << testing::PrintToString(text);
  }
  EXPECT_FALSE(parseMediaType(std::string(128, 'a') + "/b"));
  EXPECT_TRUE(parseMediaType(std::string(127, 'a') + "/b"));
}

TEST(MediaType, ParameterValuesStayOnTheirLine) {
  const auto type = parseMediaType("text/plain; x=\"a\r\nBcc: b\"");
  ASSERT_TRUE(type);
  for (const auto& parameter : type->parameters) {
    EXPECT_EQ(parameter.value.find_first_of("\r\n"), std::string::npos);
  }
}

TEST(Charset, IsATokenOrNothing) {
  EXPECT_EQ(usableCharset("koi8-r"), "koi8-r");
  EXPECT_EQ(usableCharset(" utf-8 "), "utf-8");
  EXPECT_EQ(usableCharset("utf-8\r\nX: y"), "");
  EXPECT_EQ(usableCharset("a b"), "");
  EXPECT_EQ(usableCharset("a;b"), "");
  EXPECT_EQ(usableCharset(std::string(65, 'a')), "");
}

TEST(Filename, IsOneLineOfUtf8) {
  EXPECT_EQ(writableFilename("a.txt"), "a.txt");
  EXPECT_EQ(writableFilename(" a\r\nb\t.txt "), "a  b .txt");
  EXPECT_EQ(writableFilename("a\xFF.txt"), "a\xEF\xBF\xBD.txt");
  EXPECT_EQ(writableFilename("\r\n"), "");
}

TEST(Filename, IsCutBetweenCharacters) {
  std::string name;
  for (int i = 0; i < 5000; ++i) {
    name += "\xE2\x82\xAC";
  }
  const std::string cut = writableFilename(name);
  EXPECT_LE(cut.size(), 1800U);
  EXPECT_GT(cut.size(), 1790U);
  EXPECT_EQ(cut.size() % 3, 0U);
}

TEST(ContentLocation, IsAUri) {
  const auto field = [](std::string_view location) {
    std::string out;
    appendContentLocation(location, out);
    return out;
  };
  EXPECT_EQ(field(""), "");
  EXPECT_EQ(field("\r\n"), "");
  EXPECT_EQ(field("http://a/b?c=d#e"), "Content-Location: http://a/b?c=d#e\r\n");
  EXPECT_EQ(field("a b\xC3\xA9"), "Content-Location: a%20b%C3%A9\r\n");
  EXPECT_EQ(field("a\r\nBcc: b"), "Content-Location: aBcc:%20b\r\n");
}

TEST(ContentLocation, FoldsWhatNoLineCanHold) {
  std::string out;
  appendContentLocation(std::string(900, 'x'), out);
  EXPECT_EQ(out.size(), 900 + 20U);
  out.clear();
  appendContentLocation(std::string(901, 'x'), out);
  std::size_t start = 0;
  std::size_t count = 0;
  while (start < out.size()) {
    const std::size_t end = out.find("\r\n", start);
    EXPECT_LE(end - start, 78U);
    count +=
        static_cast<std::size_t>(std::count(out.begin() + static_cast<std::ptrdiff_t>(start),
                                            out.begin() + static_cast<std::ptrdiff_t>(end), 'x'));
    start = end + 2;
  }
  EXPECT_EQ(count, 901U);
}

}  // namespace
}  // namespace brennox::mime
