#include "rfc822/address_list.h"

#include <gtest/gtest.h>

#include "core/processor_time_for_test.h"

namespace brennox::rfc822 {
namespace {

// "name|address" of each mailbox, one after the other with a blank between.
std::string parsed(std::string_view raw, std::string_view charset = {},
                   EncodedWords words = EncodedWords::kDecode) {
  std::vector<Mailbox> mailboxes;
  parseAddressList(raw, charset, words, mailboxes);
  std::string out;
  for (const Mailbox& mailbox : mailboxes) {
    out += (out.empty() ? "" : " ") + mailbox.name + "|" + mailbox.address;
  }
  return out;
}

struct Case {
  std::string_view raw;
  std::string_view mailboxes;
};

TEST(AddressList, ReadsTheStandardsExamples) {
  const Case cases[] = {
      {"", ""},
      {"a@b.c", "|a@b.c"},
      {"<a@b.c>", "|a@b.c"},
      {"John Doe <j@x.y>", "John Doe|j@x.y"},
      {"\"Joe Q. Public\" <j@x.y>", "Joe Q. Public|j@x.y"},
      {"\"Giant; \\\"Big\\\" Box\" <s@x.y>", "Giant; \"Big\" Box|s@x.y"},
      {"A Group:Ed <e@x>,j@y,John <j@z>;", "Ed|e@x |j@y John|j@z"},
      {"Undisclosed recipients:;", ""},
      {"(Empty list)(start)Hidden recipients  :(nobody(that I know))  ;", ""},
      {"Pete(A nice \\) chap) <pete(his account)@silly.test(his host)>", "Pete|pete@silly.test"},
      {"a@b, c@d", "|a@b |c@d"},
      {"<@node1.test,@node2.test:j@x.y>", "|j@x.y"},
      {"Mary <@a.b:m@x>, , j@y", "Mary|m@x |j@y"},
      {"1234   @   local(blah)  .machine .example", "|1234@local.machine.example"},
      {"\"john doe\"@x.y", "|\"john doe\"@x.y"},
      {"<\"a,b <c>\"@x.y>", "|\"a,b <c>\"@x.y"},
      {"j@[192.168.0.1]", "|j@[192.168.0.1]"},
      {"j@[IPv6:2001:db8::1], k@x", "|j@[IPv6:2001:db8::1] |k@x"},
      {"j@x.y (John Doe)", "John Doe|j@x.y"},
      {"j@x.y (John \\(Jack\\) Doe)", "John (Jack) Doe|j@x.y"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(parsed(c.raw), c.mailboxes) << c.raw;
  }
}

TEST(AddressList, PutsUpWithWhatSendersLeaveOut) {
  const Case cases[] = {
      {"Doe, John <j@x>", "Doe, John|j@x"},
      {"Doe, John, Dr. <j@x>, k@y", "Doe, John, Dr.|j@x |k@y"},
      {"k@y, Doe, Jane <j@x>", "|k@y Doe, Jane|j@x"},
      {"\"Doe\", John <j@x>", "Doe, John|j@x"},
      {"John Doe, <j@x>", "John Doe|j@x"},
      {"root, <j@x>", "|root |j@x"},
      {"root, j@x", "|root |j@x"},
      {"John <j@x", "John|j@x"},
      {"John <j@x, Mary <m@y>", "John|j@x Mary|m@y"},
      {"John j@x", "John|j@x"},
      {"John j@x>", "John|j@x"},
      {"<<j@x>>", "|j@x"},
      {"j@x John Doe", "John Doe|j@x"},
      {"<j@x> John", "John|j@x"},
      {"John <j@x> <k@y>", "John|j@x |k@y"},
      {"a@b c@d", "|a@b |c@d"},
      {"a@b; c@d", "|a@b |c@d"},
      {"Joe Q. Public <j@x>", "Joe Q. Public|j@x"},
      {"j@x <j@x>", "j@x|j@x"},
      {"'j@x' <j@x>", "'j@x'|j@x"},
      {"\"j@x\"", "|j@x"},
      {"\"unterminated <j@x>", "unterminated|j@x"},
      {"John (unterminated <j@x>", "John unterminated|j@x"},
      {"John Doe", "John Doe|"},
      {"root", "|root"},
      {"mailto:j@x", "|j@x"},
      {"<mailto:j@x>", "|mailto:j@x"},
      {"j@@x", "|j@@x"},
      {"@@@, @ @", ""},
      {"John <>", "John|"},
      {"<>", ""},
      {"a@b@c", "|a@b@c"},
      {"j@x.y.", "|j@x.y."},
      {"\"John\r\n\tDoe\" <j@x>", "John Doe|j@x"},
      {"John\r\n <j@x>,\r\n\tk@y", "John|j@x |k@y"},
      {",,;:@", ""},
      {"a@b, @ (John)", "|a@b"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(parsed(c.raw), c.mailboxes) << c.raw;
  }
}

TEST(AddressList, DecodesNames) {
  const Case cases[] = {
      {"=?utf-8?Q?J=C3=BCrgen?= <j@x>", "Jürgen|j@x"},
      {"\"=?utf-8?Q?J=C3=BCrgen?=\" <j@x>", "Jürgen|j@x"},
      {"=?utf-8?Q?Doe,_J=C3=BCrgen?= <j@x>, k@y", "Doe, Jürgen|j@x |k@y"},
      {"=?utf-8?Q?Doe,_(J)?= <j@x>", "Doe, (J)|j@x"},
      {"=?utf-8?Q?=D0?= =?utf-8?Q?=9F?= <j@x>", "П|j@x"},
      {"j@x (=?utf-8?Q?J=C3=BCrgen?=)", "Jürgen|j@x"},
      {"=?utf-8?Q?J=C3=BCrgen_<j=40x>?=", "Jürgen|j@x"},
      {"=?utf-8?B?asO8QHg=?=", "|jü@x"},
      {"=?utf-8?Q?a=40b?=, =?utf-8?Q?c=40d?=", "|a@b |c@d"},
      {"<=?utf-8?Q?a=40b?=>", "|a@b"},
      {"J\xC3\xBCrgen <j\xC3\xBC@x>", "Jürgen|jü@x"},
      {"J\xFCrgen <j@x>", "Jürgen|j@x"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(parsed(c.raw), c.mailboxes) << c.raw;
  }
  EXPECT_EQ(parsed("\xF0\xD2\xC9 <j@x>", "koi8-r"), "При|j@x");
  // The two-byte characters have brackets, commas and quotes for bytes.
  EXPECT_EQ(parsed("\x1B$B$3$s\x1B(B <j@x>, \"\x1B$B\"(\\<%,\x1B(B x\" <k@y>"),
            "こん|j@x ※楴ガ x|k@y");
  EXPECT_EQ(parsed("\x1B$B$3$s <j@x>"), "こん|j@x");
  EXPECT_EQ(parsed("=?utf-8?Q?a?= <j@x>", "", EncodedWords::kKeep), "=?utf-8?Q?a?=|j@x");
}

TEST(AddressList, HostileShapesTakeLinearTime) {
  const auto repeated = [](std::string_view piece, std::size_t length) {
    std::string out;
    while (out.size() < length) {
      out += piece;
    }
    return out;
  };
  for (const std::string_view piece :
       {"\"",   "(",  ")",   "<",      "<>",         ",",  "a,", "a, b <c@d>,", "@",  "a@", "a@b ",
        "a @ ", "@ ", "=?",  "=?a?q?", "=?a?q?b?= ", "\\", "(a", "\"a\"",       "<a", ":",  ";",
        "a.b ", "[",  "<\"", "(\\",    "a b@c <d> "}) {
    const auto parse = [](const std::string& raw) {
      std::vector<Mailbox> mailboxes;
      parseAddressList(raw, "", EncodedWords::kDecode, mailboxes);
    };
    const std::string small = repeated(piece, 1 << 16);
    const std::string large = repeated(piece, 1 << 18);
    EXPECT_TRUE(isLinear([&] { parse(small); }, [&] { parse(large); })) << piece;
  }
}

TEST(AddressList, ThousandsOfRecipientsAreKept) {
  std::string raw;
  for (int i = 0; i < 16000; ++i) {
    raw += "Name " + std::to_string(i) + " <user" + std::to_string(i) + "@example.com>,\r\n ";
  }
  std::vector<Mailbox> mailboxes;
  parseAddressList(raw, "", EncodedWords::kDecode, mailboxes);
  ASSERT_EQ(mailboxes.size(), 16000U);
  EXPECT_EQ(mailboxes.back().address, "user15999@example.com");
}

TEST(AddressList, EndsAtItsBoundHoweverTheListIsMade) {
  for (const std::string_view piece : {"a@b,", "a@b ", "<a@b>", "<a@b>,", "a,"}) {
    std::string raw;
    for (int i = 0; i < 50001; ++i) {
      raw += piece;
    }
    std::vector<Mailbox> mailboxes;
    parseAddressList(raw, "", EncodedWords::kDecode, mailboxes);
    EXPECT_EQ(mailboxes.size(), 50000U) << piece;
  }
}

}  // namespace
}  // namespace brennox::rfc822
