#include "imap/wire_writer.h"

#include <brennox/AutoreleasePool.h>
#include <brennox/Ref.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "imap/capabilities.h"
#include "imap/flag_names.h"
#include "imap/number_sets.h"

namespace brennox::imap {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

TEST(CommandWriter, PicksTheFormThatHoldsAString) {
  const std::string longText(1001, 'a');
  const struct {
    std::string text;
    LiteralMode mode;
    std::string wire;
  } kTable[] = {
      {"INBOX", LiteralMode::kSynchronizing, " INBOX"},
      {"a/b.c&AOk-]", LiteralMode::kSynchronizing, " a/b.c&AOk-]"},
      {"", LiteralMode::kSynchronizing, " \"\""},
      {"NIL", LiteralMode::kSynchronizing, " \"NIL\""},
      {"nil", LiteralMode::kSynchronizing, " \"nil\""},
      {"two words", LiteralMode::kSynchronizing, " \"two words\""},
      {"q\"b\\p%", LiteralMode::kSynchronizing, " \"q\\\"b\\\\p%\""},
      {"(a) {3}", LiteralMode::kSynchronizing, " \"(a) {3}\""},
      {"é", LiteralMode::kSynchronizing, " {2}\r\né"},
      {"é", LiteralMode::kPlus, " {2+}\r\né"},
      {"é", LiteralMode::kMinus, " {2+}\r\né"},
      {"\t", LiteralMode::kPlus, " {1+}\r\n\t"},
      {longText, LiteralMode::kPlus, " {1001+}\r\n" + longText},
  };
  for (const auto& row : kTable) {
    CommandWriter command(row.mode);
    command.astring(row.text);
    EXPECT_TRUE(command.isValid());
    EXPECT_EQ(command.text(), row.wire);
    EXPECT_EQ(command.waits().empty(), row.wire.find("}\r\n") == std::string::npos ||
                                           row.wire.find("+}\r\n") != std::string::npos);
  }
}

TEST(CommandWriter, AsksForAgreementToLongLiterals) {
  const std::string text(4097, '\t');
  CommandWriter minus(LiteralMode::kMinus);
  minus.astring(text);
  EXPECT_THAT(minus.waits(), ElementsAre(9U));
  CommandWriter atBound(LiteralMode::kMinus);
  atBound.astring(text.substr(1));
  EXPECT_THAT(atBound.waits(), IsEmpty());
}

TEST(CommandWriter, LetsNothingEndTheLine) {
  for (const std::string& text : {std::string("a\r\nB2 DELETE INBOX"), std::string("a\nb"),
                                  std::string("a\rb"), std::string("a\0b", 3)}) {
    CommandWriter command(LiteralMode::kPlus);
    command.raw("CREATE").astring(text);
    EXPECT_FALSE(command.isValid());
    EXPECT_EQ(command.text(), "CREATE");
  }
}

TEST(NumberSets, WritesRanges) {
  const AutoreleasePool pool;
  const auto sets = [](std::initializer_list<Range> ranges, std::uint64_t last = kOpenEnd) {
    const Ref<IndexSet> set = make<IndexSet>();
    for (const Range& range : ranges) {
      set->addRange(range);
    }
    return numberSets(set.get(), last);
  };
  EXPECT_THAT(sets({{1, kRangeToTheEnd}}), ElementsAre("1:*"));
  EXPECT_THAT(sets({{5, 0}}), ElementsAre("5"));
  EXPECT_THAT(sets({{1, 9}, {20, 0}, {30, 1}}), ElementsAre("1:10,20,30:31"));
  EXPECT_THAT(sets({{0, 3}}), ElementsAre("1:3"));
  EXPECT_THAT(sets({{0, 0}}), IsEmpty());
  EXPECT_THAT(sets({}), IsEmpty());
  EXPECT_THAT(sets({{4294967295U, 0}}), ElementsAre("4294967295"));
  EXPECT_THAT(sets({{4294967296U, 5}}), IsEmpty());
  EXPECT_THAT(sets({{7, 4294967290U}}), ElementsAre("7:*"));
  // "n:*" would reach the last message, however small its number is.
  EXPECT_THAT(sets({{1, kRangeToTheEnd}}, kLastUid), ElementsAre("1:4294967295"));
  EXPECT_THAT(sets({{4294967295U, kRangeToTheEnd}}, kLastUid), ElementsAre("4294967295"));
  EXPECT_THAT(sets({{1, 1}, {5, kRangeToTheEnd}}, 7), ElementsAre("1:2,5:7"));
  EXPECT_THAT(sets({{1, 1}, {7, 9}}, 7), ElementsAre("1:2,7"));
  EXPECT_THAT(sets({{8, kRangeToTheEnd}}, 7), IsEmpty());
  EXPECT_THAT(numberSets(nullptr, kOpenEnd), IsEmpty());
}

TEST(NumberSets, DividesWhatDoesNotFitIntoALine) {
  const Ref<IndexSet> set = make<IndexSet>();
  for (std::uint64_t i = 1; i < 20000; i += 2) {
    set->addIndex(i);
  }
  const std::vector<std::string> sets = numberSets(set.get(), kOpenEnd);
  EXPECT_GT(sets.size(), 1U);
  std::size_t numbers = 0;
  for (const std::string& piece : sets) {
    EXPECT_LT(piece.size(), 8000U);
    numbers += static_cast<std::size_t>(std::count(piece.begin(), piece.end(), ',')) + 1;
  }
  EXPECT_EQ(numbers, 10000U);
}

TEST(NumberSets, PairsSetsInTheirOrder) {
  EXPECT_THAT(pairSets({{304, 0}, {319, 1}}, {{3956, 2}}),
              ElementsAre(Pair(304, 3956), Pair(319, 3957), Pair(320, 3958)));
  EXPECT_THAT(pairSets({{1, 1}}, {{1, 0}}), IsEmpty());
  EXPECT_THAT(pairSets({{1, 4294967293U}}, {{1, 4294967293U}}), IsEmpty());
}

TEST(Capabilities, AreKnownByNumber) {
  const Capabilities some = Capabilities::parse(
      "IMAP4rev1 move QRESYNC CREATE-SPECIAL-USE AUTH=PLAIN AUTH=X-OWN APPENDLIMIT=1000 XFOO");
  EXPECT_TRUE(some.test(10));
  EXPECT_TRUE(some.test(13));
  EXPECT_TRUE(some.test(37));
  EXPECT_TRUE(some.has(IMAPCapabilityAuthPlain));
  EXPECT_TRUE(some.has(IMAPCapabilityAppendLimit));
  // QRESYNC includes it.
  EXPECT_TRUE(some.has(IMAPCapabilityCondstore));
  EXPECT_FALSE(some.has(IMAPCapabilityIdle));
  EXPECT_THAT(some.mechanisms(), ElementsAre("PLAIN", "X-OWN"));
  EXPECT_TRUE(Capabilities::parse("IMAP4rev2").has(IMAPCapabilityMove));
  EXPECT_TRUE(Capabilities::parse("").isEmpty());
}

TEST(FlagNames, ConvertBothWays) {
  EXPECT_EQ(messageFlags({"\\seen", "$forwarded", "unknown", "\\Recent"}),
            MessageFlagSeen | MessageFlagForwarded);
  EXPECT_EQ(messageFlagNames(static_cast<MessageFlag>(511)),
            "\\Seen \\Answered \\Flagged \\Deleted \\Draft $MDNSent $Forwarded $SubmitPending "
            "$Submitted");
  EXPECT_EQ(messageFlagNames(static_cast<MessageFlag>(-1)),
            messageFlagNames(static_cast<MessageFlag>(511)));
  EXPECT_EQ(messageFlagNames(MessageFlagNone), "");
  EXPECT_EQ(folderFlags({"\\HasChildren", "\\Junk", "\\NonExistent"}),
            IMAPFolderFlagSpam | IMAPFolderFlagNoSelect);
  EXPECT_EQ(specialUseName(IMAPFolderFlagSentMail), "\\Sent");
  EXPECT_EQ(specialUseName(IMAPFolderFlagSentMail | IMAPFolderFlagTrash), "");
  EXPECT_EQ(specialUseName(IMAPFolderFlagNoSelect), "");
  EXPECT_EQ(specialUseName(0), "");
}

}  // namespace
}  // namespace brennox::imap
