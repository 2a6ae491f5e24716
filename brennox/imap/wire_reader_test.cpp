#include "imap/wire_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "imap/sexpr.h"
#include "net/memory_stream.h"

namespace brennox::imap {
namespace {

using ::testing::ElementsAre;

constexpr ResponseLimits kLimits = {1000, SIZE_MAX, 0};

TEST(ReadResponse, FollowsLiterals) {
  const struct {
    const char* wire;
    const char* text;
  } kTable[] = {
      {"* OK fine\r\nrest", "* OK fine"},
      {"* 1 FETCH (BODY[] {3}\r\nabc)\r\nrest", "* 1 FETCH (BODY[] {3}\r\nabc)"},
      {"* 1 FETCH (BODY[] {3}\r\na\r\n X {0}\r\n)\r\nrest",
       "* 1 FETCH (BODY[] {3}\r\na\r\n X {0}\r\n)"},
      {"* LIST () \"/\" {4+}\r\n{3}\n\r\nrest", "* LIST () \"/\" {4+}\r\n{3}\n"},
      {"* 1 FETCH (BINARY[1] ~{2}\r\n\0\1)\r\nrest", "* 1 FETCH (BINARY[1] ~{2}\r\n"},
      // A literal keeps a CR at its end, whatever ends the line after it.
      {"* X {2}\r\na\r\nrest", "* X {2}\r\na\r"},
      {"* X {2}\r\na\r\r\nrest", "* X {2}\r\na\r"},
      // Human text and tagged completions never announce literals.
      {"* OK we charge {5}\r\nrest", "* OK we charge {5}"},
      {"B1 NO not that {5}\r\nrest", "B1 NO not that {5}"},
      {"+ {5}\r\nrest", "+ {5}"},
      {"* BYE {5}\r\nrest", "* BYE {5}"},
      // Neither do these.
      {"* X {}\r\nrest", "* X {}"},
      {"* X {a}\r\nrest", "* X {a}"},
      {"* X {-1}\r\nrest", "* X {-1}"},
  };
  for (const auto& row : kTable) {
    for (const std::size_t step : {1U, 7U, 1000U}) {
      std::string wire = row.wire;
      std::string text = row.text;
      if (wire.find('~') != std::string::npos) {
        wire = std::string("* 1 FETCH (BINARY[1] ~{2}\r\n\0\1)\r\nrest", 36);
        text = std::string("* 1 FETCH (BINARY[1] ~{2}\r\n\0\1)", 30);
      }
      net::MemoryStream stream(wire, step);
      net::LineReader lines(stream);
      Response response;
      ASSERT_TRUE(readResponse(stream, lines, kLimits, &response, nullptr)) << row.wire;
      EXPECT_EQ(response.text, text);
    }
  }
}

TEST(ReadResponse, StreamsLargeLiterals) {
  const std::string body(5000, 'x');
  net::MemoryStream stream(
      "* 1 FETCH (BODY[1] {3}\r\nabc BODY[2] {5000}\r\n" + body + " UID 7)\r\n", 600);
  net::LineReader lines(stream);
  Response response;
  ASSERT_TRUE(readResponse(stream, lines, {1000, 100, 6000}, &response, nullptr));
  EXPECT_EQ(response.text, "* 1 FETCH (BODY[1] {3}\r\nabc BODY[2] {5000}\r\n UID 7)");
  ASSERT_EQ(response.blocks.size(), 1U);
  WireReader reader(response);
  std::string_view ignored;
  EXPECT_TRUE(reader.character('*'));
  Text first;
  Text second;
  std::uint32_t uid = 0;
  reader.skipSpaces();
  std::uint32_t number = 0;
  EXPECT_TRUE(reader.number(&number) && reader.space() && reader.atom(&ignored) && reader.space() &&
              reader.character('('));
  EXPECT_TRUE(reader.atom(&ignored) && reader.space() && reader.nstring(&first) && reader.space());
  EXPECT_TRUE(reader.atom(&ignored) && reader.space() && reader.nstring(&second) && reader.space());
  EXPECT_TRUE(reader.atom(&ignored) && reader.space() && reader.number(&uid));
  EXPECT_EQ(first.str(), "abc");
  EXPECT_EQ(second.str(), body);
  EXPECT_TRUE(second.block);
  EXPECT_EQ(uid, 7U);
}

TEST(ReadResponse, RefusesWhatIsTooLong) {
  const struct {
    std::string wire;
    bool fits;
  } kTable[] = {
      {std::string(1000, 'x') + "\r\n", false},
      {"* " + std::string(996, 'x') + "\r\n", true},
      {"* X {900}\r\n" + std::string(900, 'y') + "\r\n", true},
      {"* X {2000}\r\n" + std::string(2000, 'y') + "\r\n", false},
      {"* X {99999999999999999999999999}\r\n", false},
      {"* X {18446744073709551615}\r\n", false},
  };
  for (const auto& row : kTable) {
    net::MemoryStream stream(row.wire, 4096);
    net::LineReader lines(stream);
    Response response;
    EXPECT_EQ(readResponse(stream, lines, {999, SIZE_MAX, 0}, &response, nullptr), row.fits);
    EXPECT_EQ(stream.error(), row.fits ? ErrorNone : ErrorLimitExceeded);
  }
  net::MemoryStream stream("* X {101}\r\n" + std::string(101, 'y') + "\r\n", 4096);
  net::LineReader lines(stream);
  Response response;
  EXPECT_FALSE(readResponse(stream, lines, {999, 50, 100}, &response, nullptr));
  EXPECT_EQ(stream.error(), ErrorLimitExceeded);
}

TEST(ReadResponse, BoundsTheLiteralsOfOneResponseTogether) {
  const std::string half(60, 'y');
  const std::string two = "* X {60}\r\n" + half + " {60}\r\n" + half + "\r\n";
  for (const std::size_t limit : {119U, 120U}) {
    net::MemoryStream stream(two, 4096);
    net::LineReader lines(stream);
    Response response;
    EXPECT_EQ(readResponse(stream, lines, {999, 50, limit}, &response, nullptr), limit == 120U);
    EXPECT_EQ(stream.error(), limit == 120U ? ErrorNone : ErrorLimitExceeded);
  }
}

TEST(ReadResponse, NoticesAConnectionThatEndsInsideALiteral) {
  net::MemoryStream stream("* 1 FETCH (BODY[] {10}\r\nabc", 4096);
  net::LineReader lines(stream);
  Response response;
  EXPECT_FALSE(readResponse(stream, lines, kLimits, &response, nullptr));
  EXPECT_EQ(stream.error(), ErrorConnection);
}

TEST(WireReader, ReadsStrings) {
  const struct {
    const char* wire;
    const char* text;
    bool nil;
  } kTable[] = {
      {"\"abc\"", "abc", false},
      {"\"\"", "", false},
      {"\"a \\\"b\\\\ c\"", "a \"b\\ c", false},
      {"{5}\r\nab\"\r\n", "ab\"\r\n", false},
      {"{0}\r\n", "", false},
      {"~{3}\r\nabc", "abc", false},
      {"NIL", "", true},
      {"nil", "", true},
      {"word", "word", false},
      {"\"раз\"", "раз", false},
  };
  for (const auto& row : kTable) {
    WireReader reader{std::string_view(row.wire)};
    Text text;
    EXPECT_TRUE(reader.nstring(&text)) << row.wire;
    EXPECT_EQ(text.str(), row.text);
    EXPECT_EQ(text.nil, row.nil);
    EXPECT_TRUE(reader.atEnd());
  }
  for (const char* wire :
       {"", "(", ")", "\"abc", "\"abc\\", "{5}\r\nabc", "{5", "{x}\r\nabc", " a"}) {
    WireReader reader{std::string_view(wire)};
    Text text;
    EXPECT_FALSE(reader.nstring(&text)) << wire;
    EXPECT_TRUE(reader.hasFailed());
  }
}

TEST(WireReader, ReadsNumbers) {
  const auto number = [](std::string_view wire, std::uint32_t* value) {
    return WireReader(wire).number(value);
  };
  std::uint32_t value = 0;
  EXPECT_TRUE(number("4294967295", &value));
  EXPECT_EQ(value, 4294967295U);
  EXPECT_TRUE(number("007", &value));
  EXPECT_EQ(value, 7U);
  for (const char* wire : {"", "-1", "4294967296", "99999999999999999999999", "x"}) {
    EXPECT_FALSE(number(wire, &value)) << wire;
  }
  std::uint64_t large = 0;
  EXPECT_TRUE(WireReader(std::string_view("18446744073709551615")).number64(&large));
  EXPECT_EQ(large, UINT64_MAX);
  EXPECT_FALSE(WireReader(std::string_view("18446744073709551616")).number64(&large));
}

TEST(WireReader, ReadsFlagLists) {
  std::vector<std::string_view> flags;
  EXPECT_TRUE(WireReader(std::string_view("()")).flagList(&flags));
  EXPECT_TRUE(flags.empty());
  EXPECT_TRUE(WireReader(std::string_view("(\\Seen $Forwarded \\* odd]one)")).flagList(&flags));
  EXPECT_THAT(flags, ElementsAre("\\Seen", "$Forwarded", "\\*", "odd]one"));
  EXPECT_TRUE(WireReader(std::string_view("( \\Seen  \\Draft )")).flagList(&flags));
  EXPECT_THAT(flags, ElementsAre("\\Seen", "\\Draft"));
  for (const char* wire : {"", "NIL", "(\\Seen", "(\\Seen (x))"}) {
    EXPECT_FALSE(WireReader(std::string_view(wire)).flagList(&flags)) << wire;
  }
}

TEST(WireReader, ReadsSets) {
  std::vector<Range> set;
  ASSERT_TRUE(WireReader(std::string_view("1:3,7,9:8")).sequenceSet(&set));
  ASSERT_EQ(set.size(), 3U);
  EXPECT_EQ(set[0].location, 1U);
  EXPECT_EQ(set[0].length, 2U);
  EXPECT_EQ(set[1].location, 7U);
  EXPECT_EQ(set[2].location, 8U);
  EXPECT_EQ(set[2].length, 1U);
  for (const char* wire : {"", "*", "1:", "1:*", ",1", "x"}) {
    EXPECT_FALSE(WireReader(std::string_view(wire)).sequenceSet(&set)) << wire;
  }
}

TEST(WireReader, ReadsSections) {
  const struct {
    const char* wire;
    const char* section;
  } kTable[] = {
      {"[]", ""},
      {"[1.2.MIME]", "1.2.MIME"},
      {"[HEADER.FIELDS (SUBJECT)]", "HEADER.FIELDS (SUBJECT)"},
      {"[HEADER.FIELDS (\"a]b\")]", "HEADER.FIELDS (\"a]b\")"},
      {"[TEXT]<100>", "TEXT"},
  };
  for (const auto& row : kTable) {
    WireReader reader{std::string_view(row.wire)};
    std::string_view section;
    EXPECT_TRUE(reader.section(&section)) << row.wire;
    EXPECT_EQ(section, row.section);
    EXPECT_TRUE(reader.atEnd());
  }
  for (const char* wire : {"", "1]", "[1", "[1]<", "[1]<5"}) {
    std::string_view section;
    EXPECT_FALSE(WireReader(std::string_view(wire)).section(&section)) << wire;
  }
}

TEST(WireReader, SkipsValuesOfAnyShape) {
  for (const char* wire :
       {"atom", "NIL", "\"quoted (\"", "{3}\r\n)((", "(a (b \"c)\" NIL) ())", "()"}) {
    WireReader reader{std::string_view(wire)};
    std::string_view value;
    EXPECT_TRUE(reader.value(&value)) << wire;
    EXPECT_EQ(value, wire);
  }
  for (const char* wire : {"", "(a", ")", "(\"a)"}) {
    std::string_view value;
    EXPECT_FALSE(WireReader(std::string_view(wire)).value(&value)) << wire;
  }
}

TEST(WireReader, BoundsNesting) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '(') + std::string(depth, ')');
  };
  std::string_view value;
  const std::string atBound = nested(kMaxNesting);
  const std::string beyond = nested(kMaxNesting + 1);
  EXPECT_TRUE(WireReader(std::string_view(atBound)).value(&value));
  EXPECT_FALSE(WireReader(std::string_view(beyond)).value(&value));
}

TEST(WireReader, StaysFailed) {
  WireReader reader(std::string_view("abc 5"));
  std::uint32_t number = 0;
  std::string_view atom;
  EXPECT_FALSE(reader.number(&number));
  EXPECT_FALSE(reader.atom(&atom));
  EXPECT_TRUE(reader.atEnd());
  EXPECT_EQ(reader.rest(), "");
}

TEST(Tree, KeepsWhatWasReadOfABrokenList) {
  const Tree whole = Tree::parse("(\"a\" (b NIL) {1}\r\nc)");
  EXPECT_EQ(whole.string(whole.child(whole.root(), 0)), "a");
  EXPECT_EQ(whole.string(whole.child(whole.child(whole.root(), 1), 0)), "b");
  EXPECT_EQ(whole.string(whole.child(whole.root(), 2)), "c");
  EXPECT_EQ(whole.child(whole.root(), 3), Tree::kNone);

  const Tree cut = Tree::parse("(\"a\" (b \"c");
  EXPECT_EQ(cut.string(cut.child(cut.root(), 0)), "a");
  EXPECT_EQ(cut.string(cut.child(cut.child(cut.root(), 1), 0)), "b");
  EXPECT_TRUE(Tree::parse("").isEmpty());
  EXPECT_FALSE(Tree::parse(std::string(10000, '(')).isEmpty());
}

}  // namespace
}  // namespace brennox::imap
