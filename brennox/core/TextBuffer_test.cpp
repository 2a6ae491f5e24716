#include "core/TextBuffer.h"

#include <brennox/AutoreleasePool.h>
#include <brennox/String.h>
#include <gtest/gtest.h>

#include <string>

#include "core/block_storage.h"

namespace brennox {
namespace {

TEST(TextBuffer, BecomesAStringOfAllThatWasAppended) {
  const AutoreleasePool pool;
  std::string wanted;
  TextBuffer buffer;
  // From small storage into large.
  while (wanted.size() < 3 * kLargeBlock) {
    buffer += "some ";
    buffer += 't';
    buffer.append("ext", 3);
    wanted += "some text";
  }
  EXPECT_EQ(buffer.size(), wanted.size());
  String* const text = buffer.string();
  EXPECT_EQ(text->view(), wanted);
  EXPECT_EQ(text->UTF8Characters()[text->length()], '\0');
  EXPECT_TRUE(buffer.empty());
}

TEST(TextBuffer, IsWrittenInto) {
  const AutoreleasePool pool;
  TextBuffer buffer(10);
  char* const room = buffer.room(5);
  std::memcpy(room, "abcde", 5);
  EXPECT_EQ(buffer.size(), 0U);
  buffer.wrote(4);
  EXPECT_EQ(buffer.view(), "abcd");
  buffer.removePrefix(1);
  EXPECT_EQ(buffer.view(), "bcd");
  buffer.truncate(2);
  buffer += 'x';
  EXPECT_EQ(buffer.string()->view(), "bcx");
}

TEST(TextBuffer, EmptyIsTheEmptyText) {
  const AutoreleasePool pool;
  TextBuffer buffer;
  buffer += "";
  EXPECT_TRUE(buffer.empty());
  EXPECT_STREQ(buffer.string()->UTF8Characters(), "");
  EXPECT_STREQ(TextBuffer(100).string()->UTF8Characters(), "");
  // Again after it was taken.
  buffer += "b";
  EXPECT_EQ(buffer.string()->view(), "b");
}

// Strings that stand in a block are like any other.
TEST(TextBuffer, StringsOfBlocksAreEqualToOthers) {
  const AutoreleasePool pool;
  const std::string text(kLargeBlock, 'x');
  TextBuffer buffer;
  buffer += text;
  String* const inBlock = buffer.string();
  String* const other = String::stringWithText(text);
  EXPECT_TRUE(inBlock->isEqual(other));
  EXPECT_TRUE(other->isEqual(inBlock));
  EXPECT_EQ(inBlock->hash(), other->hash());
  EXPECT_EQ(inBlock->dataUsingUTF8()->view(), text);
  EXPECT_FALSE(inBlock->isEmpty());
}

}  // namespace
}  // namespace brennox
