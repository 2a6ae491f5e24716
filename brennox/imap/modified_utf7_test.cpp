#include "imap/modified_utf7.h"

#include <brennox/AutoreleasePool.h>
#include <brennox/IMAPFolder.h>
#include <gtest/gtest.h>

namespace brennox::imap {
namespace {

TEST(ModifiedUTF7, ConvertsBothWays) {
  const struct {
    const char* text;
    const char* wire;
  } kTable[] = {
      {"", ""},
      {"INBOX", "INBOX"},
      {"&", "&-"},
      {"a&b", "a&-b"},
      {"&&", "&-&-"},
      {"Sent/2024", "Sent/2024"},
      {"~peter/mail/台北/日本語", "~peter/mail/&U,BTFw-/&ZeVnLIqe-"},
      {"Входящие", "&BBIERQQ+BDQETwRJBDgENQ-"},
      {"Entwürfe", "Entw&APw-rfe"},
      {"\xF0\x9F\x98\x80", "&2D3eAA-"},
      {"tab\there", "tab&AAk-here"},
      {"quo\"te\\%", "quo\"te\\%"},
      {"a-é-b", "a-&AOk--b"},
  };
  for (const auto& row : kTable) {
    EXPECT_EQ(encodeModifiedUTF7(row.text), row.wire) << row.text;
    EXPECT_EQ(decodeModifiedUTF7(row.wire), row.text) << row.wire;
  }
}

TEST(ModifiedUTF7, LeavesWhatIsNotInTheEncodingAsItStands) {
  for (const char* name : {"a&b", "&", "&AOk", "&*-", "&2D0-", "&3gA-", "&AGE-", "Entwürfe", "&A-",
                           "&AOl-", "&AOkA-"}) {
    EXPECT_EQ(decodeModifiedUTF7(name), name);
  }
}

TEST(ModifiedUTF7, WritesBytesThatAreNoTextAsReplacement) {
  EXPECT_EQ(encodeModifiedUTF7("a\xFFz"), "a&,,0-z");
  EXPECT_EQ(encodeModifiedUTF7("\xC3"), "&,,0-");
  EXPECT_EQ(encodeModifiedUTF7("\xED\xA0\x80"), "&,,3,,f,9-");
}

TEST(IMAPFolder, ConvertsPaths) {
  AutoreleasePool pool;
  EXPECT_EQ(IMAPFolder::encodePath(String::stringWithUTF8Characters("ü"))->view(), "&APw-");
  EXPECT_EQ(IMAPFolder::decodePath(String::stringWithUTF8Characters("&APw-"))->view(), "ü");
  EXPECT_EQ(IMAPFolder::decodePath(nullptr)->view(), "");
}

}  // namespace
}  // namespace brennox::imap
