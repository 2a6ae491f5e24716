#include "net/LineReader.h"

#include <gtest/gtest.h>

#include <cstring>

#include "net/memory_stream.h"

namespace brennox::net {
namespace {

TEST(LineReader, TakesLinesHoweverTheyArrive) {
  for (const std::size_t step : {1U, 2U, 3U, 100U}) {
    MemoryStream stream("one\r\ntwo\n\r\nfour\r\nfi", step);
    LineReader reader(stream);
    for (const char* expected : {"one", "two", "", "four"}) {
      std::string line;
      ASSERT_TRUE(reader.line(&line, 10));
      EXPECT_EQ(line, expected);
    }
    std::string line;
    EXPECT_FALSE(reader.line(&line, 10));
    EXPECT_EQ(stream.error(), ErrorConnection);
  }
}

TEST(LineReader, RefusesALineBeyondItsBound) {
  for (const std::size_t step : {1U, 100U}) {
    MemoryStream atBound("0123456789\n", step);
    LineReader reader(atBound);
    std::string line;
    EXPECT_TRUE(reader.line(&line, 10));

    MemoryStream beyond("01234567890\n", step);
    LineReader other(beyond);
    line.clear();
    EXPECT_FALSE(other.line(&line, 10));
    EXPECT_EQ(beyond.error(), ErrorLimitExceeded);
  }
}

TEST(LineReader, ReadsBytesIntoABlockOfTheirSize) {
  std::string body(1000000, 'x');
  for (std::size_t i = 0; i < body.size(); ++i) {
    body[i] = static_cast<char>(i * 7);
  }
  for (const std::size_t step : {1000U, 5000000U}) {
    MemoryStream stream("head\r\n" + body + "tail\r\n", step);
    LineReader reader(stream);
    std::string line;
    ASSERT_TRUE(reader.line(&line, 100));
    Ref<Block> block;
    std::size_t last = 0;
    ASSERT_TRUE(reader.block(body.size(), &block, [&](std::size_t current, std::size_t maximum) {
      EXPECT_GT(current, last);
      EXPECT_EQ(maximum, body.size());
      last = current;
    }));
    EXPECT_EQ(last, body.size());
    EXPECT_EQ(std::string(block->bytes(), block->size()), body);
    line.clear();
    ASSERT_TRUE(reader.line(&line, 100));
    EXPECT_EQ(line, "tail");
  }
}

TEST(LineReader, NoticesAConnectionThatEndsInsideABlock) {
  MemoryStream stream("abc", 1);
  LineReader reader(stream);
  Ref<Block> block;
  EXPECT_FALSE(reader.block(4, &block));
  EXPECT_FALSE(block);
  EXPECT_EQ(stream.error(), ErrorConnection);
}

}  // namespace
}  // namespace brennox::net
