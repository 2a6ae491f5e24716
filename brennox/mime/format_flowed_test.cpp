#include "mime/format_flowed.h"

#include <gtest/gtest.h>

namespace brennox::mime {
namespace {

TEST(FormatFlowed, JoinsWhatFlows) {
  struct Case {
    const char* why;
    const char* text;
    bool deleteSpace;
    const char* result;
  };
  const Case cases[] = {
      {"joined", "one \r\ntwo \r\nthree\r\nfour\r\n", false, "one two three\nfour\n"},
      {"blank deleted", "\xE4\xB8\xAD \r\n\xE6\x96\x87\r\n", true, "\xE4\xB8\xAD\xE6\x96\x87\n"},
      {"bare line feeds", "one \ntwo\n", false, "one two\n"},
      {"stuffed blanks", " From here \r\n >there\r\n", false, "From here >there\n"},
      {"quotes", ">one \r\n>two\r\n>>three\r\nfour\r\n", false, "> one two\n>> three\nfour\n"},
      {"quote depth ends a paragraph", ">one \r\ntwo\r\n", false, "> one \ntwo\n"},
      {"signature separator stays", "one \r\n-- \r\nme\r\n", false, "one \n-- \nme\n"},
      {"empty lines", "one\r\n\r\ntwo\r\n", false, "one\n\ntwo\n"},
      {"empty quoted line", ">\r\n>a\r\n", false, ">\n> a\n"},
      {"no line end at the end", "one \r\ntwo ", false, "one two "},
      {"empty", "", false, ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(unflow(c.text, c.deleteSpace), c.result) << c.why;
  }
}

}  // namespace
}  // namespace brennox::mime
