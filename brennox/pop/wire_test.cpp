#include "pop/wire.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace brennox::pop {
namespace {

// Gives a prepared text in pieces of one size, then the end.
class Script final : public net::ByteStream {
 public:
  Script(std::string text, std::size_t piece) : text_(std::move(text)), piece_(piece) {}
  std::size_t read(char* out, std::size_t size) override {
    if (error_ != ErrorNone) {
      return 0;
    }
    const std::size_t count = std::min({size, piece_, text_.size() - at_});
    if (count == 0) {
      fail(ErrorConnection);
      return 0;
    }
    text_.copy(out, count, at_);
    at_ += count;
    return count;
  }
  bool write(std::string_view bytes) override {
    written += bytes;
    return true;
  }
  std::string written;

 private:
  std::string text_;
  std::size_t piece_;
  std::size_t at_ = 0;
};

TEST(PopWire, RefusesToSendLineBreaks) {
  Script script("", 1);
  Wire wire(script);
  EXPECT_FALSE(wire.send({"NOOP", "USER a\r\nQUIT"}));
  EXPECT_FALSE(wire.send({std::string_view("USER a\0b", 8)}));
  EXPECT_EQ(script.written, "");
  EXPECT_TRUE(wire.send({"NOOP", "QUIT"}));
  EXPECT_EQ(script.written, "NOOP\r\nQUIT\r\n");
}

TEST(PopWire, TellsOkFromError) {
  Script script("+OK  fine\r\n-ERR [AUTH] no\r\n+OK\n+ Y2hhbGxlbmdl\r\n* OK imap\r\n", 3);
  Wire wire(script);
  EXPECT_EQ(wire.status(), Wire::Status::kOk);
  EXPECT_EQ(wire.text(), "fine");
  EXPECT_EQ(wire.status(), Wire::Status::kError);
  EXPECT_EQ(wire.text(), "[AUTH] no");
  EXPECT_EQ(wire.status(), Wire::Status::kOk);
  EXPECT_EQ(wire.text(), "");
  EXPECT_EQ(wire.status(), Wire::Status::kContinue);
  EXPECT_EQ(wire.text(), "Y2hhbGxlbmdl");
  EXPECT_EQ(wire.status(), Wire::Status::kFailed);
  EXPECT_EQ(script.error(), ErrorParse);
}

struct MultiLineCase {
  const char* name;
  std::string wire;
  const char* message;  // null: fails
};

TEST(PopWire, ReadsMultiLineResponsesHoweverTheyAreCut) {
  const std::vector<MultiLineCase> cases = {
      {"empty", "+OK\r\n.\r\n", ""},
      {"one line", "+OK\r\na\r\n.\r\n", "a\r\n"},
      {"stuffed", "+OK\r\n..a\r\n...\r\n..\r\n.\r\n", ".a\r\n..\r\n.\r\n"},
      {"a dot in a line", "+OK\r\na.b\r\n.\r\n", "a.b\r\n"},
      {"a stuffed dot before CR", "+OK\r\n..\rx\r\n.\r\n", ".\rx\r\n"},
      {"dots within a line", "+OK\r\na. . .\r\nb....\n.c\r.d\r\n.\r\n",
       "a. . .\r\nb....\n.c\r.d\r\n"},
      {"dots behind a stuffed one", "+OK\r\n....\r\n...\r\n.\r\n", "...\r\n..\r\n"},
      {"an unstuffed dot", "+OK\r\n.a\r\n.\r\n", "a\r\n"},
      {"a bare LF is content", "+OK\r\na\n.\nb\r\n.\r\n", "a\n.\nb\r\n"},
      {"CR runs", "+OK\r\na\r\r\n.\r\n", "a\r\r\n"},
      {"a server of bare LF", "+OK\n..a\nb\n.\n", ".a\nb\n"},
      {"dots and CR of a server of bare LF", "+OK\n..a.\nb\r.\n\r\n..\n.\n", ".a.\nb\r.\n\r\n.\n"},
      {"missing final dot", "+OK\r\na\r\n", nullptr},
      {"cut in the final dot", "+OK\r\na\r\n.\r", nullptr},
      {"cut before anything", "+OK\r\n", nullptr},
  };
  for (const MultiLineCase& c : cases) {
    for (std::size_t piece = 1; piece < 12; ++piece) {
      for (const std::size_t expected : {std::size_t{0}, std::size_t{2}, std::size_t{100000}}) {
        SCOPED_TRACE(std::string(c.name) + " in pieces of " + std::to_string(piece));
        Script script(c.wire + (c.message == nullptr ? "" : "+OK next\r\n"), piece);
        Wire wire(script);
        ASSERT_EQ(wire.status(), Wire::Status::kOk);
        const Ref<Data> data = wire.multiLine(expected, 1000, nullptr);
        if (c.message == nullptr) {
          EXPECT_FALSE(data);
          EXPECT_EQ(script.error(), ErrorConnection);
          continue;
        }
        ASSERT_TRUE(data);
        EXPECT_EQ(data->view(), c.message);
        ASSERT_EQ(wire.status(), Wire::Status::kOk);
        EXPECT_EQ(wire.text(), "next");
      }
    }
  }
}

TEST(PopWire, BoundsMessagesAndLines) {
  Script atBound("+OK\r\n12345678\r\n.\r\n", 7);
  Wire wire(atBound);
  ASSERT_EQ(wire.status(), Wire::Status::kOk);
  EXPECT_TRUE(wire.multiLine(0, 10, nullptr));

  Script beyond("+OK\r\n123456789\r\n.\r\n", 7);
  Wire beyondWire(beyond);
  ASSERT_EQ(beyondWire.status(), Wire::Status::kOk);
  EXPECT_FALSE(beyondWire.multiLine(0, 10, nullptr));
  EXPECT_EQ(beyond.error(), ErrorLimitExceeded);

  Script endless(std::string(2 * kMaxLine, 'a'), 4096);
  Wire endlessWire(endless);
  EXPECT_EQ(endlessWire.status(), Wire::Status::kFailed);
  EXPECT_EQ(endless.error(), ErrorLimitExceeded);
}

TEST(PopWire, ReadsLargeMessagesAcrossBuffers) {
  std::string message;
  while (message.size() < 3000000) {
    message += "." + std::string(message.size() % 97, 'x') + "\r\n";
  }
  std::string stuffed;
  for (std::size_t i = 0; i < message.size(); ++i) {
    if (message[i] == '.' && (i == 0 || message[i - 1] == '\n')) {
      stuffed += '.';
    }
    stuffed += message[i];
  }
  Script script("+OK\r\n" + stuffed + ".\r\n", 65521);
  Wire wire(script);
  ASSERT_EQ(wire.status(), Wire::Status::kOk);
  std::size_t last = 0;
  const Ref<Data> data =
      wire.multiLine(message.size(), kMaxMessage, [&](std::size_t size) { last = size; });
  ASSERT_TRUE(data);
  EXPECT_TRUE(data->view() == message);
  EXPECT_GT(last, std::size_t{1000000});
}

TEST(PopWire, ListsLines) {
  Script script("+OK\r\n1 120\r\n..x\r\n.\r\n", 5);
  Wire wire(script);
  ASSERT_EQ(wire.status(), Wire::Status::kOk);
  std::vector<std::string> lines;
  EXPECT_TRUE(wire.lines([&](std::string_view line) {
    lines.emplace_back(line);
    return true;
  }));
  EXPECT_EQ(lines, (std::vector<std::string>{"1 120", ".x"}));
}

TEST(PopWire, LinesEndTheStreamWhenTheReaderHasHadEnough) {
  Script script("+OK\r\n1\r\n2\r\n3\r\n.\r\n", 5);
  Wire wire(script);
  ASSERT_EQ(wire.status(), Wire::Status::kOk);
  int seen = 0;
  EXPECT_FALSE(wire.lines([&](std::string_view) { return ++seen < 2; }));
  EXPECT_EQ(seen, 2);
  EXPECT_EQ(script.error(), ErrorLimitExceeded);
}

}  // namespace
}  // namespace brennox::pop
