#include "smtp/CurlUrl.h"

#include <gtest/gtest.h>

namespace velkor {
namespace {

// What stands in the handle after the call.
std::string UrlFor(std::string_view hostname, std::int32_t connectionType, const char* scheme) {
  const EasyHandle handle(cpcurl::easy_init());
  EXPECT_EQ(ApplyCurlUrl(hostname, connectionType, scheme, handle.get()), CURLE_OK);
  return cpcurl::urlOf(handle.get());
}

TEST(CurlUrl, FollowsTheConnectionType) {
  const struct {
    const char* hostname;
    std::int32_t type;
    const char* url;
  } rows[] = {
      {"mail.example.test", 1, "smtp://mail.example.test"},
      {"mail.example.test", 2, "smtp://mail.example.test"},
      {"mail.example.test", 4, "smtps://mail.example.test"},
      {"mail.example.test", 0, "://mail.example.test"},
      {"mail.example.test", 3, "://mail.example.test"},
      {"mail.example.test", -1, "://mail.example.test"},
      {"smtps://mail.example.test", 1, "smtp://mail.example.test"},
      {"smtp://mail.example.test", 4, "smtps://mail.example.test"},
      {"http://mail.example.test", 3, "://mail.example.test"},
      {"mail.example.test:2525/me", 1, "smtp://mail.example.test:2525/me"},
      {"smtp://mail.example.test:2525/me", 4, "smtps://mail.example.test:2525/me"},
      {"://", 1, "smtp://"},
      {"", 1, "smtp://"},
      {"a:/", 1, "smtp://a:/"},
      {":/", 1, "smtp://:/"},
      {"a://b://c", 1, "smtp://b://c"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(UrlFor(row.hostname, row.type, "smtp"), row.url) << row.hostname;
  }
  EXPECT_EQ(UrlFor("host/Sent/;UID=7", 4, "imap"), "imaps://host/Sent/;UID=7");
}

TEST(CurlUrl, ReadCallbackGivesEachByteOnce) {
  TransferSource source = {"abcdefg", 7, 0};
  char buffer[4] = {};
  EXPECT_EQ(ReadFromSource(buffer, 1, 3, &source), 3U);
  EXPECT_EQ(std::string(buffer, 3), "abc");
  EXPECT_EQ(ReadFromSource(buffer, 2, 2, &source), 4U);
  EXPECT_EQ(std::string(buffer, 4), "defg");
  EXPECT_EQ(ReadFromSource(buffer, 1, 4, &source), 0U);
  TransferSource empty = {nullptr, 0, 0};
  EXPECT_EQ(ReadFromSource(buffer, 1, 4, &empty), 0U);
}

TEST(CurlUrl, OneLineTexts) {
  EXPECT_TRUE(FitsOnOneLine(""));
  EXPECT_TRUE(FitsOnOneLine("юзер@example.test"));
  EXPECT_FALSE(FitsOnOneLine("a\rb"));
  EXPECT_FALSE(FitsOnOneLine("a\nb"));
  EXPECT_FALSE(FitsOnOneLine(std::string_view("a\0b", 3)));
}

}  // namespace
}  // namespace velkor
