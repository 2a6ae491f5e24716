#include "imap/fetched_text.h"

#include <gtest/gtest.h>

namespace brennox::imap {
namespace {

TEST(FetchedText, ShortensListsAndGivesThemBack) {
  const std::string structure =
      "((\"text\" \"plain\" (\"charset\" \"utf-8\") NIL NIL \"7bit\" 7 1 NIL NIL NIL NIL)(\"text\" "
      "\"html\" (\"charset\" \"utf-8\") NIL NIL \"7bit\" 14 1 NIL NIL NIL NIL) \"alternative\" "
      "(\"boundary\" \"b1\") NIL NIL NIL)";
  for (const std::string& list :
       {structure, std::string(), std::string("("), std::string(" "), std::string(" NI"),
        std::string("(\"NIL NIL\" NILE)"), std::string("({3}\r\na\1b \"x\" NIL)"),
        std::string("({1}\r\n\0 NIL)", 11), std::string("\0", 1), std::string("(\"é\" NIL)")}) {
    std::string shortened;
    appendShort(list, &shortened);
    std::string again;
    appendLong(shortened, &again);
    EXPECT_EQ(again, list);
  }
  std::string shortened;
  appendShort(structure, &shortened);
  EXPECT_LT(shortened.size(), structure.size() / 3);
}

TEST(FetchedText, KeepsEachMessagesWords) {
  TextStore store;
  const std::string from = "((\"A\" NIL \"a\" \"x.org\"))";
  std::vector<std::pair<Ref<FetchedText>, std::uint32_t>> kept;
  for (int i = 0; i < 2000; ++i) {
    Ref<FetchedText> text;
    const std::string number = std::to_string(i);
    const std::uint32_t offset =
        store.add("(\"date\" \"" + number + "\" " + from + " " + from + " " + from +
                      " NIL NIL NIL NIL \"<" + number + "@x>\")",
                  "(\"text\" \"plain\" NIL)", i % 2 == 0 ? "Subject: long\r\n\r\n" : "", i, &text);
    kept.emplace_back(text, offset);
  }
  for (int i = 0; i < 2000; ++i) {
    const auto& [text, offset] = kept[static_cast<std::size_t>(i)];
    const FetchedText::Words words = text->wordsAt(offset);
    const std::string number = std::to_string(i);
    EXPECT_EQ(words.envelope, "(\"date\" " + (i % 2 == 0 ? "NIL" : "\"" + number + "\"") + " " +
                                  from + " NIL NIL NIL NIL NIL NIL \"<" + number + "@x>\")");
    EXPECT_EQ(words.structure, "(\"text\" \"plain\" NIL)");
    EXPECT_EQ(words.fields, i % 2 == 0 ? "Subject: long" : "");
    EXPECT_EQ(words.internalDate, i);
  }
  // One larger than any block, and one that is no envelope.
  Ref<FetchedText> text;
  const std::string large(200000, 'x');
  std::uint32_t offset = store.add("(broken", large, "", -1, &text);
  EXPECT_EQ(text->wordsAt(offset).structure, large);
  EXPECT_EQ(text->wordsAt(offset).envelope, "(broken");
  EXPECT_EQ(text->wordsAt(offset).internalDate, -1);
}

}  // namespace
}  // namespace brennox::imap
