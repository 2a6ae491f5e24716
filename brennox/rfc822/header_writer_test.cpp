#include "rfc822/header_writer.h"

#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/Data.h>
#include <brennox/MessageHeader.h>
#include <brennox/Ref.h>
#include <brennox/String.h>
#include <gtest/gtest.h>

#include <random>

#include "rfc822/header_fields.h"
#include "rfc822/message_id.h"

namespace brennox::rfc822 {
namespace {

String* text(std::string_view value) {
  return String::stringWithText(value);
}

std::string written(std::string_view name, std::string_view value) {
  std::string out;
  writeText(name, value, out);
  return out;
}

std::string writtenAddress(std::string_view name, std::string_view mailbox) {
  std::string out;
  writeAddress("From",
               Address::addressWithDisplayName(name.empty() ? nullptr : text(name), text(mailbox)),
               out);
  return out;
}

MessageHeader* readBack(const std::string& bytes) {
  return MessageHeader::headerWithData(Data::dataWithBytes(bytes.data(), bytes.size()));
}

// What every header has to keep to, whatever it is made from.
void expectWellFormed(const std::string& bytes, std::size_t longest = 998) {
  std::size_t start = 0;
  while (start < bytes.size()) {
    const std::size_t end = bytes.find("\r\n", start);
    ASSERT_NE(end, std::string::npos) << bytes;
    const std::string line = bytes.substr(start, end - start);
    ASSERT_LE(line.size(), longest) << line;
    ASSERT_EQ(line.find_first_of(std::string("\r\n\0", 3)), std::string::npos) << line;
    ASSERT_NE(line.find_first_not_of(" \t"), std::string::npos) << bytes;
    start = end + 2;
  }
}

class HeaderWriter : public testing::Test {
 protected:
  AutoreleasePool pool_;
};

TEST_F(HeaderWriter, FoldsTextAtBlanks) {
  EXPECT_EQ(written("Subject", "short"), "Subject: short\r\n");
  EXPECT_EQ(written("Subject", std::string(40, 'a') + " " + std::string(40, 'b')),
            "Subject: " + std::string(40, 'a') + "\r\n " + std::string(40, 'b') + "\r\n");
  EXPECT_EQ(written("Subject", ""), "");
  EXPECT_EQ(written("Subject", " \r\n "), "");
}

TEST_F(HeaderWriter, EncodesFromTheFirstToTheLastWordThatNeedsIt) {
  EXPECT_EQ(written("Subject", "Re: Grüße an alle"),
            "Subject: Re: =?utf-8?Q?Gr=C3=BC=C3=9Fe?= an alle\r\n");
  EXPECT_EQ(written("Subject", "Re: Привет"), "Subject: Re: =?utf-8?B?0J/RgNC40LLQtdGC?=\r\n");
  EXPECT_EQ(written("Subject", "a =?utf-8?Q?x?= b"),
            "Subject: a =?utf-8?Q?=3D=3Futf-8=3FQ=3Fx=3F=3D?= b\r\n");
}

TEST_F(HeaderWriter, TextsComeBackAsTheyWere) {
  std::mt19937 random(17);
  const std::string_view pieces[] = {"a",
                                     "word",
                                     " ",
                                     "  ",
                                     "é",
                                     "Привет",
                                     "=?",
                                     "?=",
                                     "=?utf-8?Q?x?=",
                                     "\t",
                                     "😀",
                                     "\"",
                                     "(",
                                     ",",
                                     std::string_view("\x01"),
                                     "=20",
                                     "averyveryveryverylongwordthatfillshalfofaline"};
  for (int round = 0; round < 3000; ++round) {
    std::string value = "x";
    const std::size_t count = random() % 60;
    const std::size_t kinds = 1 + random() % std::size(pieces);
    for (std::size_t i = 0; i < count; ++i) {
      value += pieces[random() % kinds];
    }
    value += "y";
    const std::string bytes = written("Subject", value);
    expectWellFormed(bytes);
    ASSERT_EQ(textOf(readBack(bytes)->subject()), value) << bytes;
  }
}

TEST_F(HeaderWriter, LinesAreNeverTooLong) {
  for (const std::size_t length : {70U, 80U, 500U, 879U, 880U, 881U, 5000U}) {
    const std::string word(length, 'w');
    const std::string bytes = written("X-Long-Header-Name", word + " " + word);
    expectWellFormed(bytes);
    EXPECT_EQ(textOf(readBack(bytes)->extraHeaderValueForName(text("X-Long-Header-Name"))),
              word + " " + word);
    std::string structured;
    writeStructured("X-S", word + "; " + word, structured);
    expectWellFormed(structured);
  }
}

TEST_F(HeaderWriter, WritesAddressesSoThatTheyReadTheSame) {
  struct Case {
    std::string_view name;
    std::string_view mailbox;
    std::string_view line;
  };
  const Case cases[] = {
      {"", "a@b.c", "a@b.c"},
      {"John Doe", "a@b.c", "John Doe <a@b.c>"},
      {"Joe Q. Public", "a@b.c", "\"Joe Q. Public\" <a@b.c>"},
      {"Doe, John", "a@b.c", "\"Doe, John\" <a@b.c>"},
      {"A \"B\" \\C", "a@b.c", "\"A \\\"B\\\" \\\\C\" <a@b.c>"},
      {"Jürgen", "a@b.c", "=?utf-8?Q?J=C3=BCrgen?= <a@b.c>"},
      {"=?utf-8?Q?x?=", "a@b.c", "=?utf-8?Q?=3D=3Futf-8=3FQ=3Fx=3F=3D?= <a@b.c>"},
      {"", "Name <a@b.c>", "Name <a@b.c>"},
      {"", "\"Doe, John\" <a@b.c>", "\"Doe, John\" <a@b.c>"},
      {"", "Jürgen <a@b.c>", "=?utf-8?Q?J=C3=BCrgen?= <a@b.c>"},
      {"", "<a@b.c>", "a@b.c"},
      {"", "root", "root"},
      {"", "john doe@b.c", "\"john doe\"@b.c"},
      {"", "\"john doe\"@b.c", "\"john doe\"@b.c"},
      {"", "a@b.c, d@e.f", "\"a@b.c, d\"@e.f"},
      {"", "a@[127.0.0.1]", "a@[127.0.0.1]"},
      {"", "a..b.@c.d", "a..b.@c.d"},
      {"", "a@пример.рф", "a@xn--e1afmkfd.xn--p1ai"},
      {"", "почта@пример.рф", "почта@xn--e1afmkfd.xn--p1ai"},
      {"", "no one at all", "\"no one at all\""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(writtenAddress(c.name, c.mailbox), "From: " + std::string(c.line) + "\r\n")
        << c.mailbox;
  }
}

TEST_F(HeaderWriter, NoTextBeginsAFieldOrALineOfItsOwn) {
  const std::string_view attacks[] = {"x\r\nBcc: evil@x",
                                      "x\nBcc: evil@x",
                                      "x\rBcc: evil@x",
                                      "x\r\n\r\nbody",
                                      "a@b\r\nBcc: evil@x",
                                      "a@b>\r\nBcc: <evil@x",
                                      std::string_view("a\0b\r\n@x", 7),
                                      "\r\n evil",
                                      "a@b.c>, <evil@x",
                                      "\"a\r\nBcc: x\"@b.c",
                                      "a@b.c\r\n",
                                      "a\\",
                                      "\"",
                                      "(",
                                      "\xE2\x80\xA8x\xC2\x85y"};
  for (const std::string_view attack : attacks) {
    const Ref<MessageHeader> header = make<MessageHeader>();
    header->setSubject(text(attack));
    header->setFrom(Address::addressWithMailbox(text(attack)));
    header->setSender(Address::addressWithDisplayName(text(attack), text("s@x.y")));
    header->setTo(Array::arrayWithObject(Address::addressWithMailbox(text(attack))));
    header->setMessageID(text(attack));
    header->setReferences(Array::arrayWithObject(text(attack)));
    header->setUserAgent(text(attack));
    header->setExtraHeader(text("X-A"), text(attack));
    header->setExtraHeader(text(attack), text("value"));
    std::string bytes;
    writeHeader(header.get(), bytes);
    expectWellFormed(bytes);
    FieldScanner scanner(bytes);
    HeaderField field;
    while (scanner.next(field)) {
      const bool own = field.name == attack && isFieldName(attack);
      EXPECT_TRUE(field.name == "From" || field.name == "Sender" || field.name == "To" ||
                  field.name == "Message-ID" || field.name == "References" ||
                  field.name == "Subject" || field.name == "User-Agent" || field.name == "X-A" ||
                  own)
          << field.name;
    }
    MessageHeader* const back = readBack(bytes);
    EXPECT_LE(back->to()->count(), 1U) << bytes;
    EXPECT_EQ(textOf(back->sender()->mailbox()), "s@x.y") << bytes;
  }
}

TEST_F(HeaderWriter, AnyMailboxStaysOne) {
  std::mt19937 random(23);
  constexpr std::string_view kCharacters = "ab@.,;:<>()[]\"\\ \r\n=?\xC3\xA9";
  for (int round = 0; round < 4000; ++round) {
    std::string mailbox;
    const std::size_t length = 1 + random() % 24;
    for (std::size_t i = 0; i < length; ++i) {
      mailbox += kCharacters[random() % kCharacters.size()];
    }
    std::string bytes;
    Array* const addresses = Array::arrayWithObject(Address::addressWithMailbox(text(mailbox)));
    addresses->addObject(Address::addressWithMailbox(text("last@x.y")));
    writeAddresses("To", addresses, bytes);
    expectWellFormed(bytes);
    Array* const back = readBack(bytes)->to();
    ASSERT_LE(back->count(), 2U) << testing::PrintToString(mailbox) << bytes;
    ASSERT_EQ(textOf(back->at<Address>(back->count() - 1)->mailbox()), "last@x.y") << bytes;
  }
}

TEST_F(HeaderWriter, LeavesOutWhatIsNotItsBusiness) {
  const Ref<MessageHeader> header = make<MessageHeader>();
  header->setSubject(text("s"));
  header->setBcc(Array::arrayWithObject(Address::addressWithMailbox(text("secret@x"))));
  for (const std::string_view name :
       {"Content-Type", "MIME-Version", "content-transfer-encoding", "Date", "Message-ID", "Bcc",
        "Subject", "bad name", "bad:name", "", "na\xC3\xAFve"}) {
    header->setExtraHeader(text(name), text("evil"));
  }
  header->setExtraHeader(text("Received"), text("set by hand"));
  std::string bytes;
  writeHeader(header.get(), bytes);
  EXPECT_EQ(bytes, "Subject: s\r\nReceived: set by hand\r\n");
}

TEST_F(HeaderWriter, AnExtraFieldStandsInForAnEmptyProperty) {
  const Ref<MessageHeader> header = make<MessageHeader>();
  header->setExtraHeader(text("Reply-To"), text("Jürgen <j@x.y>, k@x.y"));
  header->setExtraHeader(text("Subject"), text("Привет"));
  header->setExtraHeader(text("References"), text("<a@b> <c@d>"));
  std::string bytes;
  writeHeader(header.get(), bytes);
  EXPECT_EQ(bytes,
            "Reply-To: =?utf-8?Q?J=C3=BCrgen?= <j@x.y>, k@x.y\r\n"
            "Subject: =?utf-8?B?0J/RgNC40LLQtdGC?=\r\nReferences: <a@b> <c@d>\r\n");
}

TEST_F(HeaderWriter, AParsedHeaderCanBeSentAgain) {
  const std::string mail =
      "Return-Path: <b@x>\r\nReceived: from a by b; Sat, 21 Nov 2026 13:51:05 +0000\r\n"
      "DKIM-Signature: v=1; a=rsa-sha256;\r\n b=abc\r\nARC-Seal: i=1\r\n"
      "From: =?utf-8?B?0J/RgNC40LLQtdGC?= <a@x.y>\r\nTo: \"Doe, John\" <b@x.y>,\r\n c@x.y\r\n"
      "Bcc: secret@x\r\nDate: Sat, 21 Nov 2026 14:51:05 +0100\r\nMessage-ID: <1@x.y>\r\n"
      "Subject: =?koi8-r?B?8NLJ18XU?=\r\nMIME-Version: 1.0\r\nX-Tag: one\r\nX-Tag: two\r\n"
      "Content-Type: text/plain; charset=koi8-r\r\nX-Mailer: Some Mailer 1.0\r\n\r\nbody";
  std::string bytes;
  writeHeader(readBack(mail), bytes);
  EXPECT_EQ(bytes,
            "Date: Sat, 21 Nov 2026 13:51:05 +0000\r\n"
            "From: =?utf-8?B?0J/RgNC40LLQtdGC?= <a@x.y>\r\nTo: \"Doe, John\" <b@x.y>, c@x.y\r\n"
            "Message-ID: <1@x.y>\r\nSubject: =?utf-8?B?0J/RgNC40LLQtdGC?=\r\n"
            "X-Tag: one\r\nX-Tag: two\r\nX-Mailer: Some Mailer 1.0\r\n");
}

TEST_F(HeaderWriter, ListsFoldBetweenTheirItems) {
  Array* const addresses = Array::array();
  Array* const ids = Array::array();
  for (int i = 0; i < 200; ++i) {
    const std::string number = std::to_string(i);
    addresses->addObject(Address::addressWithDisplayName(
        text(i % 2 == 0 ? "Person " + number : "Джон " + number), text("p" + number + "@x.y")));
    ids->addObject(text("identifier-" + number + "@host.example"));
  }
  std::string bytes;
  writeAddresses("To", addresses, bytes);
  writeMessageIDs("References", ids, bytes);
  expectWellFormed(bytes, 78);
  MessageHeader* const back = readBack(bytes);
  EXPECT_TRUE(back->to()->isEqual(addresses)) << bytes;
  EXPECT_TRUE(back->references()->isEqual(ids)) << bytes;
}

// RFC 2047 section 2.
TEST_F(HeaderWriter, LinesWithEncodedWordsHave76CharactersAtMost) {
  for (int length = 1; length < 130; ++length) {
    std::string name;
    for (int i = 0; i < length; ++i) {
      name += "Ж";
    }
    const std::string plain(static_cast<std::size_t>(length), 'p');
    Array* const addresses = Array::array();
    for (int i = 0; i < 4; ++i) {
      addresses->addObject(Address::addressWithDisplayName(text(name), text(plain + "@x.y")));
      addresses->addObject(Address::addressWithMailbox(text(plain + "@x.y")));
    }
    std::string bytes;
    writeAddresses("To", addresses, bytes);
    writeText("Subject", name, bytes);
    writeText("Subject", plain + " " + name + " " + plain + " and more words", bytes);
    std::size_t start = 0;
    for (std::size_t end; (end = bytes.find("\r\n", start)) != std::string::npos; start = end + 2) {
      const std::string line = bytes.substr(start, end - start);
      if (line.find("=?") != std::string::npos) {
        EXPECT_LE(line.size(), 76U) << line;
      }
    }
  }
}

TEST_F(HeaderWriter, AMailboxThatNoLineCanHoldIsLeftOut) {
  EXPECT_EQ(writtenAddress("", std::string(2000, 'a') + "@b.c"), "");
  EXPECT_EQ(addressText(Address::addressWithMailbox(text(std::string(2000, 'a')))), "");
}

TEST(MessageID, NewOnesAreUniqueAndFit) {
  const std::string id = newMessageID("Example.COM");
  EXPECT_EQ(id.substr(id.find('@')), "@example.com");
  EXPECT_NE(id, newMessageID("Example.COM"));
  for (const std::string_view domain : {"", "...", ">\r\nBcc: x", "пример.рф"}) {
    const std::string odd = newMessageID(domain);
    EXPECT_EQ(odd.find_first_of("<> \r\n"), std::string::npos) << odd;
    EXPECT_NE(odd.back(), '@');
    EXPECT_NE(odd.back(), '.');
  }
}

TEST(MessageID, ListsAreReadWithAndWithoutBrackets) {
  const std::pair<std::string_view, std::vector<std::string>> cases[] = {
      {"<a@b>", {"a@b"}},
      {"<a@b><c@d>\r\n <e@f>", {"a@b", "c@d", "e@f"}},
      {"<a@b>, <c@d>", {"a@b", "c@d"}},
      {"Your message of today <a@b>", {"a@b"}},
      {"a@b c@d", {"a@b", "c@d"}},
      {"nothing here", {}},
      {"single", {"single"}},
      {"<a@b", {"a@b"}},
      {"<a@b <c@d>", {"a@b", "c@d"}},
      {"<>", {}},
      {"", {}},
      {"<long\r\n er@b>", {"longer@b"}},
  };
  for (const auto& [raw, ids] : cases) {
    std::vector<std::string> parsed;
    parseMessageIDs(raw, parsed);
    EXPECT_EQ(parsed, ids) << raw;
  }
}

}  // namespace
}  // namespace brennox::rfc822
