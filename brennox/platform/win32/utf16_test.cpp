#include "platform/win32/utf16.h"

#include <gtest/gtest.h>

namespace brennox::platform {
namespace {

TEST(Utf16, IsThereAndBackTheSame) {
  for (const char* text : {"", "a", "C:\\Почта\\письмо.eml", "\xF0\x9F\x93\xA7 mail",
                           "\xE2\x82\xAC", "\xEF\xBF\xBD", "\xF4\x8F\xBF\xBF"}) {
    const auto wide = toUtf16(text);
    ASSERT_TRUE(wide) << text;
    EXPECT_EQ(toUtf8(*wide), text);
  }
  EXPECT_EQ(toUtf16("\xF0\x9F\x93\xA7"), L"\xD83D\xDCE7");
}

TEST(Utf16, RefusesWhatIsNotValid) {
  for (const char* text : {"\xFF", "a\xC3", "\xED\xA0\x80", "\xC0\xAF", "\xF4\x90\x80\x80"}) {
    EXPECT_FALSE(toUtf16(text)) << text;
  }
  EXPECT_FALSE(toUtf8(L"\xD800"));
  EXPECT_FALSE(toUtf8(L"a\xDC00z"));
}

TEST(Utf16, IsBounded) {
  EXPECT_TRUE(toUtf16(std::string(32767, 'a')));
  EXPECT_FALSE(toUtf16(std::string(32768, 'a')));
  EXPECT_TRUE(toUtf8(std::wstring(32767, L'\x20AC')));
  EXPECT_FALSE(toUtf8(std::wstring(32768, L'a')));
}

TEST(SystemPath, IsAbsoluteWhereItIsLong) {
  EXPECT_EQ(systemPath("a/b"), L"a/b");
  const std::string name(200, 'n');
  EXPECT_EQ(systemPath("C:/x/./" + name + "/../" + name + "/" + name),
            L"\\\\?\\C:\\x\\" + std::wstring(200, L'n') + L"\\" + std::wstring(200, L'n'));
  EXPECT_EQ(
      systemPath("//server/share/" + name + "/" + name),
      L"\\\\?\\UNC\\server\\share\\" + std::wstring(200, L'n') + L"\\" + std::wstring(200, L'n'));
  EXPECT_FALSE(systemPath(""));
  EXPECT_FALSE(systemPath(std::string_view("a\0b", 3)));
}

}  // namespace
}  // namespace brennox::platform
