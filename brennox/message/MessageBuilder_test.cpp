#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/Attachment.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/MessageBuilder.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace brennox {
namespace {

using std::string;
using std::string_view;
using namespace std::string_literals;

// A reader of its own, strict and small: what it cannot read is a fault of the message.
struct Part {
  std::vector<std::pair<string, string>> fields;  // names in lower case, values unfolded
  string body;                                    // transfer encoding removed
  string raw;                                     // as it stands
  std::vector<Part> parts;

  string field(string_view name) const {
    for (const auto& [key, value] : fields) {
      if (key == name) {
        return value;
      }
    }
    return "";
  }
  string type() const { return field("content-type").substr(0, field("content-type").find(';')); }
  // A plain or quoted parameter of a field, without undoing anything else.
  string parameter(string_view name, string_view key) const {
    const string value = field(name);
    const string wanted = string(key) + "=";
    std::size_t at = 0;
    while ((at = value.find(wanted, at)) != string::npos) {
      if (at > 0 && (value[at - 1] == ' ' || value[at - 1] == ';')) {
        at += wanted.size();
        return value[at] == '"' ? value.substr(at + 1, value.find('"', at + 1) - at - 1)
                                : value.substr(at, value.find(';', at) - at);
      }
      ++at;
    }
    return "";
  }
  // "mixed(text/plain,image/png)"
  string shape() const {
    if (parts.empty()) {
      return type();
    }
    string result = type().substr(type().find('/') + 1) + "(";
    for (const Part& part : parts) {
      result += (&part == &parts.front() ? "" : ",") + part.shape();
    }
    return result + ")";
  }
};

string decodeBase64(string_view text) {
  static const string kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  string result;
  unsigned int bits = 0;
  int count = 0;
  for (const char c : text) {
    const std::size_t value = kAlphabet.find(c);
    if (value == string::npos) {
      EXPECT_TRUE(c == '\r' || c == '\n' || c == '=') << "foreign character in base64";
      continue;
    }
    bits = bits << 6 | static_cast<unsigned int>(value);
    count += 6;
    if (count >= 8) {
      count -= 8;
      result += static_cast<char>(bits >> count & 0xFF);
    }
  }
  return result;
}

string decodeQuotedPrintable(string_view text) {
  string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '=') {
      result += text[i];
    } else if (text.substr(i + 1, 2) == "\r\n") {
      i += 2;
    } else {
      result += static_cast<char>(std::stoi(string(text.substr(i + 1, 2)), nullptr, 16));
      i += 2;
    }
  }
  return result;
}

Part parse(string_view bytes) {
  Part part;
  while (!bytes.empty() && !bytes.starts_with("\r\n")) {
    const std::size_t end = bytes.find("\r\n");
    if (end == string_view::npos) {
      ADD_FAILURE() << "header line without an end";
      return part;
    }
    const string_view line = bytes.substr(0, end);
    if (line[0] == ' ' || line[0] == '\t') {
      EXPECT_FALSE(part.fields.empty());
      EXPECT_NE(line.find_first_not_of(" \t"), string_view::npos) << "blank continuation line";
      part.fields.back().second += line;
    } else {
      const std::size_t colon = line.find(':');
      EXPECT_NE(colon, string_view::npos) << line;
      string name(line.substr(0, colon));
      std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
      });
      string_view value = line.substr(colon + 1);
      value.remove_prefix(value.starts_with(' ') ? 1 : 0);
      part.fields.emplace_back(name, value);
    }
    bytes.remove_prefix(end + 2);
  }
  EXPECT_TRUE(bytes.starts_with("\r\n")) << "no empty line behind the header";
  bytes.remove_prefix(std::min<std::size_t>(bytes.size(), 2));
  part.raw = bytes;
  const string encoding = part.field("content-transfer-encoding");
  if (part.type().starts_with("multipart/")) {
    const string line = "--" + part.parameter("content-type", "boundary");
    EXPECT_GT(line.size(), 2U);
    EXPECT_LE(line.size(), 72U);
    EXPECT_TRUE(bytes.starts_with(line + "\r\n")) << "text before the first boundary";
    bytes.remove_prefix(std::min(bytes.size(), line.size() + 2));
    while (true) {
      // The line end before a boundary is part of it, also where the part is empty.
      const string text = "\r\n" + string(bytes);
      const std::size_t end = text.find("\r\n" + line);
      if (end == string::npos) {
        ADD_FAILURE() << "no closing boundary";
        return part;
      }
      part.parts.push_back(parse(string_view(text).substr(2, end < 2 ? 0 : end - 2)));
      const string_view rest = string_view(text).substr(end + 2 + line.size());
      if (rest.starts_with("--")) {
        // Inside another multipart the line end belongs to that one's boundary.
        EXPECT_TRUE(rest == "--\r\n" || rest == "--") << rest;
        return part;
      }
      EXPECT_TRUE(rest.starts_with("\r\n"));
      bytes = bytes.substr(bytes.size() - rest.size() + 2);
    }
  }
  part.body = encoding == "base64"             ? decodeBase64(bytes)
              : encoding == "quoted-printable" ? decodeQuotedPrintable(bytes)
                                               : string(bytes);
  return part;
}

// Every line ends in CRLF and is short enough; no NUL.
void expectLegal(string_view bytes) {
  EXPECT_EQ(bytes.find('\0'), string_view::npos);
  std::size_t start = 0;
  while (start < bytes.size()) {
    const std::size_t end = bytes.find("\r\n", start);
    ASSERT_NE(end, string_view::npos) << "the last line does not end";
    ASSERT_LE(end - start, 998U);
    const string_view line = bytes.substr(start, end - start);
    ASSERT_EQ(line.find_first_of("\r\n"), string_view::npos) << "bare line end in: " << line;
    start = end + 2;
  }
}

String* str(string_view text) {
  return String::stringWithText(text);
}

Attachment* file(string_view name, string_view bytes) {
  return Attachment::attachmentWithData(str(name), Data::dataWithBytes(bytes.data(), bytes.size()));
}

// A builder whose message is read back at once.
struct Mail {
  Ref<MessageBuilder> builder = make<MessageBuilder>();

  Mail() = default;
  explicit Mail(string_view plain, string_view html = "") {
    builder->setTextBody(str(plain));
    builder->setHTMLBody(str(html));
  }
  string bytes() const { return string(builder->data()->view()); }
  Part read() const {
    const string message = bytes();
    expectLegal(message);
    return parse(message);
  }
};

TEST(MessageBuilder, HasNothingSetWhenNew) {
  AutoreleasePool pool;
  const auto builder = make<MessageBuilder>();
  EXPECT_EQ(builder->header(), nullptr);
  EXPECT_EQ(builder->htmlBody(), nullptr);
  EXPECT_EQ(builder->textBody(), nullptr);
  EXPECT_EQ(builder->attachments(), nullptr);
  EXPECT_EQ(builder->relatedAttachments(), nullptr);
  EXPECT_EQ(builder->boundaryPrefix(), nullptr);
  EXPECT_EQ(builder->keyUsagePolicy(), nullptr);
  EXPECT_EQ(builder->getTempFolder(), nullptr);
}

TEST(MessageBuilder, AddingAnAttachmentLeavesTheListThatWasSet) {
  AutoreleasePool pool;
  const auto builder = make<MessageBuilder>();
  const auto list = make<Array>();
  const auto first = make<Attachment>();
  const auto second = make<Attachment>();
  list->addObject(first.get());
  builder->setAttachments(list.get());
  builder->addAttachment(second.get());
  EXPECT_EQ(list->count(), 1U);
  ASSERT_EQ(builder->attachments()->count(), 2U);
  EXPECT_EQ(builder->attachments()->at<Attachment>(1), second.get());
}

TEST(MessageBuilder, TheTreeIsOnlyAsDeepAsNeeded) {
  AutoreleasePool pool;
  struct Case {
    const char* plain;
    const char* html;
    int related;
    int attached;
    const char* shape;
  };
  const Case cases[] = {
      {"", "", 0, 0, "text/plain"},
      {"a", "", 0, 0, "text/plain"},
      {"", "<p>", 0, 0, "text/html"},
      {"a", "<p>", 0, 0, "alternative(text/plain,text/html)"},
      {"", "<p>", 1, 0, "related(text/html,image/png)"},
      {"a", "<p>", 1, 0, "related(alternative(text/plain,text/html),image/png)"},
      {"a", "<p>", 2, 0, "related(alternative(text/plain,text/html),image/png,image/png)"},
      {"a", "", 0, 1, "mixed(text/plain,application/pdf)"},
      {"", "<p>", 0, 1, "mixed(text/html,application/pdf)"},
      {"a", "<p>", 0, 1, "mixed(alternative(text/plain,text/html),application/pdf)"},
      {"a", "<p>", 1, 2,
       "mixed(related(alternative(text/plain,text/html),image/png),application/pdf,application/"
       "pdf)"},
      {"", "", 0, 1, "application/pdf"},
      {"", "", 0, 2, "mixed(application/pdf,application/pdf)"},
      {"", "", 1, 0, "image/png"},
      {"", "", 1, 1, "mixed(image/png,application/pdf)"},
      {"a", "", 1, 0, "mixed(text/plain,image/png)"},
  };
  for (const Case& c : cases) {
    const Mail mail(c.plain, c.html);
    for (int i = 0; i < c.related; ++i) {
      mail.builder->addRelatedAttachment(file("a.png", "png"));
    }
    for (int i = 0; i < c.attached; ++i) {
      mail.builder->addAttachment(file("a.pdf", "pdf"));
    }
    EXPECT_EQ(mail.read().shape(), c.shape);
  }
}

TEST(MessageBuilder, BodiesComeBackAsTheyWere) {
  AutoreleasePool pool;
  struct Case {
    string text;
    string body;
    const char* encoding;
    const char* charset;
  };
  const Case cases[] = {
      {"plain", "plain\r\n", "7bit", "us-ascii"},
      {"a\nb\rc\r\nd\n", "a\r\nb\r\nc\r\nd\r\n", "7bit", "us-ascii"},
      {"na\xC3\xAFve, but otherwise plain text", "na\xC3\xAFve, but otherwise plain text\r\n",
       "quoted-printable", "utf-8"},
      {"\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82",
       "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82\r\n", "base64", "utf-8"},
      {string(998, 'x'), string(998, 'x') + "\r\n", "7bit", "us-ascii"},
      {string(999, 'x'), string(999, 'x') + "\r\n", "quoted-printable", "us-ascii"},
      {"a\0b"s, "a\0b\r\n"s, "base64", "us-ascii"},
      {"-- \nname", "-- \r\nname\r\n", "7bit", "us-ascii"},
      {".\n..", ".\r\n..\r\n", "7bit", "us-ascii"},
  };
  for (const Case& c : cases) {
    const Part part = Mail(c.text).read();
    EXPECT_EQ(part.body, c.body);
    EXPECT_EQ(part.field("content-transfer-encoding"), c.encoding) << c.text;
    EXPECT_EQ(part.parameter("content-type", "charset"), c.charset) << c.text;
  }
}

TEST(MessageBuilder, PartsOfAMultipartGetNoLineEndOfTheirOwn) {
  AutoreleasePool pool;
  const Part part = Mail("plain", "<p>\xC3\xA9</p> and some letters").read();
  EXPECT_EQ(part.parts.at(0).body, "plain");
  EXPECT_EQ(part.parts.at(1).body, "<p>\xC3\xA9</p> and some letters");
}

TEST(MessageBuilder, AttachmentsComeBackByteByByte) {
  AutoreleasePool pool;
  struct Case {
    const char* name;
    string bytes;
    const char* encoding;
    const char* charset;
  };
  const Case cases[] = {
      {"a.bin", "", "base64", ""},
      {"a.bin", "plain", "base64", ""},
      {"a.png", "\x89PNG\r\n\x1A\n\0"s, "base64", ""},
      {"a.txt", "a\r\nb", "7bit", "us-ascii"},
      {"a.txt", "a\nb\n", "base64", "us-ascii"},
      {"a.txt", "a\rb", "base64", "us-ascii"},
      {"a.txt", "caf\xC3\xA9 with enough plain letters\r\n", "quoted-printable", "utf-8"},
      {"a.txt", "caf\xE9 with enough plain letters\r\n", "quoted-printable", ""},
      {"a.txt",
       "\xFF\xFE"
       "a\0b\0"s,
       "base64", ""},
      {"a.txt",
       "\x1B$BF|K\\\x1B(B"
       "and enough plain letters",
       "quoted-printable", ""},
      {"a.txt", string(2000, 'x'), "quoted-printable", "us-ascii"},
      {"a.json", "{\"a\": 1}", "7bit", ""},
      {"a.txt", "", "7bit", "us-ascii"},
  };
  for (const Case& c : cases) {
    for (const bool alone : {false, true}) {
      const Mail mail(alone ? "" : "body");
      mail.builder->addAttachment(file(c.name, c.bytes));
      const Part message = mail.read();
      const Part& part = alone ? message : message.parts.at(1);
      EXPECT_EQ(part.body, c.bytes) << c.name;
      EXPECT_EQ(part.parameter("content-type", "charset"), c.charset) << c.bytes;
      if (!alone) {
        EXPECT_EQ(part.field("content-transfer-encoding"), c.encoding) << c.bytes;
      }
      EXPECT_TRUE(part.field("content-disposition").starts_with("attachment; filename="));
    }
  }
}

TEST(MessageBuilder, RandomBytesAndTextsComeBack) {
  AutoreleasePool pool;
  std::mt19937 random(20261121);
  const char* const pieces[] = {"a",    " ",  "=",   "From ",    ".",
                                "\r\n", "\t", "--",  "\xC3\xA9", "\xF0\x9F\x98\x80",
                                "=_",   "?=", "word"};
  for (int round = 0; round < 300; ++round) {
    string text;
    string bytes;
    for (std::size_t i = random() % 400; i > 0; --i) {
      text += pieces[random() % std::size(pieces)];
      bytes += static_cast<char>(random());
    }
    const Mail mail(text + "x", "<p>");
    mail.builder->addAttachment(file("a.bin", bytes));
    mail.builder->addAttachment(file("a.txt", text));
    mail.builder->addAttachment(file("b.txt", bytes));
    const Part message = mail.read();
    ASSERT_EQ(message.parts.size(), 4U);
    EXPECT_EQ(message.parts[0].parts.at(0).body, text + "x");
    EXPECT_EQ(message.parts[1].body, bytes);
    EXPECT_EQ(message.parts[2].body, text);
    EXPECT_EQ(message.parts[3].body, bytes);
  }
}

TEST(MessageBuilder, RelatedPartsAreInlineAndHaveTheirIdentifier) {
  AutoreleasePool pool;
  const Mail mail("a", "<img src='cid:logo@x'>");
  Attachment* const logo = file("logo.png", "png");
  logo->setContentID(str("logo@x"));
  logo->setContentLocation(str("http://x/logo.png"));
  logo->setContentDescription(str("Our logo"));
  mail.builder->addRelatedAttachment(logo);
  const Part message = mail.read();
  EXPECT_EQ(message.parameter("content-type", "type"), "multipart/alternative");
  const Part& part = message.parts.at(1);
  EXPECT_EQ(part.field("content-id"), "<logo@x>");
  EXPECT_TRUE(part.field("content-disposition").starts_with("inline"));
  EXPECT_EQ(part.field("content-location"), "http://x/logo.png");
  EXPECT_EQ(part.field("content-description"), "Our logo");
}

TEST(MessageBuilder, AnIdentifierInBracketsGetsNoSecondPair) {
  AutoreleasePool pool;
  const Mail mail("", "<img>");
  Attachment* const logo = file("logo.png", "png");
  logo->setContentID(str("<logo>"));
  mail.builder->addRelatedAttachment(logo);
  EXPECT_EQ(mail.read().parts.at(1).field("content-id"), "<logo>");
}

TEST(MessageBuilder, FileNamesAreWrittenForNewAndOldReaders) {
  AutoreleasePool pool;
  const Mail mail("a");
  mail.builder->addAttachment(file("\xD0\x9E\xD1\x82\xD1\x87\xD1\x91\xD1\x82.pdf", "pdf"));
  const Part part = mail.read().parts.at(1);
  EXPECT_EQ(part.parameter("content-disposition", "filename*"),
            "utf-8''%D0%9E%D1%82%D1%87%D1%91%D1%82.pdf");
  EXPECT_EQ(part.parameter("content-type", "name").substr(0, 10), "=?utf-8?B?");
  EXPECT_EQ(part.type(), "application/pdf");
}

TEST(MessageBuilder, AFileNameThatReadsAsAnEncodedWordIsKept) {
  AutoreleasePool pool;
  const Mail mail("a");
  mail.builder->addAttachment(file("=?utf-8?Q?a?=.txt", "text"));
  const Part part = mail.read().parts.at(1);
  EXPECT_EQ(part.parameter("content-disposition", "filename"), "");
  EXPECT_EQ(part.parameter("content-disposition", "filename*"),
            "utf-8''%3D%3Futf-8%3FQ%3Fa%3F%3D.txt");
}

TEST(MessageBuilder, TypesThatCannotBeAttachedBecomeOctetStreams) {
  AutoreleasePool pool;
  for (const char* const type : {"multipart/mixed", "Multipart/X; boundary=a", "garbage", "a b/c",
                                 "text/plain\r\nX-Evil: 1", "\xFF", "/"}) {
    const Mail mail("a");
    Attachment* const attachment = file("a.txt", "text");
    attachment->setMimeType(str(type));
    mail.builder->addAttachment(attachment);
    EXPECT_EQ(mail.read().parts.at(1).type(), "application/octet-stream") << type;
  }
}

TEST(MessageBuilder, TypesKeepTheirParameters) {
  AutoreleasePool pool;
  const Mail mail("a");
  Attachment* const event = file("a.ics", "BEGIN:VCALENDAR\r\nEND:VCALENDAR\r\n");
  event->setMimeType(str("text/calendar; method=REQUEST"));
  event->setCharset(str("UTF-8"));
  mail.builder->addAttachment(event);
  const Part part = mail.read().parts.at(1);
  EXPECT_EQ(part.type(), "text/calendar");
  EXPECT_EQ(part.parameter("content-type", "method"), "REQUEST");
  EXPECT_EQ(part.parameter("content-type", "charset"), "UTF-8");
}

TEST(MessageBuilder, AnUnsetTypeFollowsTheFileName) {
  AutoreleasePool pool;
  const Mail mail("a");
  const auto attachment = make<Attachment>();
  attachment->setFilename(str("a.gif"));
  mail.builder->addAttachment(attachment.get());
  EXPECT_EQ(mail.read().parts.at(1).type(), "image/gif");
}

TEST(MessageBuilder, AnAttachmentWithoutDataIsEmpty) {
  AutoreleasePool pool;
  const Mail mail("a");
  mail.builder->addAttachment(makeAutoreleased<Attachment>());
  const Part part = mail.read().parts.at(1);
  EXPECT_EQ(part.body, "");
  EXPECT_EQ(part.type(), "application/octet-stream");
  EXPECT_EQ(part.field("content-disposition"), "attachment");
}

TEST(MessageBuilder, AttachedMessagesAreNeverEncoded) {
  AutoreleasePool pool;
  struct Case {
    string bytes;
    string body;
    const char* encoding;
  };
  const Case cases[] = {
      {"Subject: a\r\n\r\nb\r\n", "Subject: a\r\n\r\nb\r\n", "7bit"},
      {"Subject: a\n\nb =3D \n", "Subject: a\r\n\r\nb =3D \r\n", "7bit"},
      {"Subject: \xC3\xA9\r\n\r\nb", "Subject: \xC3\xA9\r\n\r\nb", "8bit"},
      {"Subject: \xE9\r\n\r\n\x80", "Subject: \xE9\r\n\r\n\x80", "8bit"},
      {"", "", "7bit"},
  };
  for (const Case& c : cases) {
    const Mail mail;
    mail.builder->addAttachment(file("a.eml", c.bytes));
    const Part message = mail.read();
    EXPECT_EQ(message.shape(), "mixed(message/rfc822)");
    EXPECT_EQ(message.parts.at(0).body, c.body);
    EXPECT_EQ(message.parts.at(0).field("content-transfer-encoding"), c.encoding);
    // RFC 2045 section 6.4: what holds 8bit is 8bit.
    EXPECT_EQ(message.field("content-transfer-encoding"), c.encoding == "8bit"s ? "8bit" : "");
  }
}

TEST(MessageBuilder, AnAttachedMessageIsNeverTheWholeMessage) {
  AutoreleasePool pool;
  for (const char* const type : {"message/rfc822", "Message/RFC822", ""}) {
    const Mail mail;
    Attachment* const attachment = file("a.eml", "Subject: a\r\n\r\nb\r\n");
    attachment->setMimeType(str(type));
    mail.builder->addAttachment(attachment);
    EXPECT_EQ(mail.read().shape(), "mixed(message/rfc822)") << type;
  }
}

TEST(MessageBuilder, WhatIsNoAttachmentIsLeftOut) {
  AutoreleasePool pool;
  const Mail mail;
  mail.builder->setAttachments(Array::arrayWithObject(str("no attachment")));
  EXPECT_EQ(mail.read().shape(), "text/plain");
}

TEST(MessageBuilder, AMessageThatNoWireCanCarryIsAFile) {
  AutoreleasePool pool;
  for (const string& bytes : {"Subject: a\r\n\r\n" + string(999, 'x'), "Subject: \0\n\n"s}) {
    const Mail mail("a");
    mail.builder->addAttachment(file("a.eml", bytes));
    const Part part = mail.read().parts.at(1);
    EXPECT_EQ(part.type(), "application/octet-stream");
    EXPECT_EQ(part.body, bytes);
  }
}

TEST(MessageBuilder, SuppliesWhatTheHeaderLacks) {
  AutoreleasePool pool;
  const Part message = Mail("a").read();
  EXPECT_NE(message.field("message-id").find('@'), string::npos);
  EXPECT_FALSE(message.field("date").empty());
  EXPECT_EQ(message.field("mime-version"), "1.0");
}

TEST(MessageBuilder, KeepsWhatTheHeaderHas) {
  AutoreleasePool pool;
  const Mail mail("a");
  const auto header = make<MessageHeader>();
  header->setMessageID(str("own@example.org"));
  header->setDate(86400);
  header->setFrom(Address::addressWithMailbox(str("me@example.org")));
  header->setSubject(str("\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82"));
  mail.builder->setHeader(header.get());
  const Part message = mail.read();
  EXPECT_EQ(message.field("message-id"), "<own@example.org>");
  EXPECT_EQ(message.field("date"), "Fri, 02 Jan 1970 00:00:00 +0000");
  EXPECT_TRUE(message.field("subject").starts_with("=?utf-8?"));
  EXPECT_EQ(std::count_if(message.fields.begin(), message.fields.end(),
                          [](const auto& field) { return field.first == "message-id"; }),
            1);
}

TEST(MessageBuilder, TheIdentifierIsOfTheSendersDomain) {
  AutoreleasePool pool;
  const Mail mail("a");
  const auto header = make<MessageHeader>();
  header->setFrom(Address::addressWithMailbox(str("me@mail.example.org")));
  mail.builder->setHeader(header.get());
  EXPECT_TRUE(mail.read().field("message-id").ends_with("@mail.example.org>"));
}

TEST(MessageBuilder, BlindCopiesAreNotWritten) {
  AutoreleasePool pool;
  const Mail mail("a");
  const auto header = make<MessageHeader>();
  header->setBcc(Array::arrayWithObject(Address::addressWithMailbox(str("secret@example.org"))));
  header->setExtraHeader(str("Bcc"), str("secret@example.org"));
  header->setExtraHeader(str("Resent-BCC"), str("secret@example.org"));
  header->setExtraHeader(str("BCC "), str("secret@example.org"));
  mail.builder->setHeader(header.get());
  EXPECT_EQ(mail.bytes().find("secret"), string::npos);
}

TEST(MessageBuilder, AThousandRecipientsFit) {
  AutoreleasePool pool;
  const Mail mail("a");
  const auto header = make<MessageHeader>();
  const auto to = make<Array>();
  for (int i = 0; i < 1000; ++i) {
    to->addObject(Address::addressWithDisplayName(str("\xC3\x89mile " + std::to_string(i)),
                                                  str("r" + std::to_string(i) + "@example.org")));
  }
  header->setTo(to.get());
  mail.builder->setHeader(header.get());
  const string field = mail.read().field("to");
  EXPECT_EQ(std::count(field.begin(), field.end(), '@'), 1000);
}

TEST(MessageBuilder, TwoReadingsAreEqualUntilSomethingChanges) {
  AutoreleasePool pool;
  const Mail mail("a", "<p>");
  mail.builder->addAttachment(file("a.bin", "1"));
  const string first = mail.bytes();
  EXPECT_EQ(mail.bytes(), first);
  mail.builder->setTextBody(str("a"));
  EXPECT_NE(mail.read().field("message-id"), parse(first).field("message-id"));
}

TEST(MessageBuilder, ChangesInsideAnAttachmentShow) {
  AutoreleasePool pool;
  const Mail mail("a");
  Attachment* const attachment = file("a.bin", "1");
  mail.builder->addAttachment(attachment);
  EXPECT_EQ(mail.read().parts.at(1).body, "1");
  attachment->setData(Data::dataWithBytes("22", 2));
  EXPECT_EQ(mail.read().parts.at(1).body, "22");
}

TEST(MessageBuilder, EqualInputGivesEqualBytesButForItsIdentity) {
  AutoreleasePool pool;
  const auto bytes = [] {
    const Mail mail("caf\xC3\xA9", "<p>");
    mail.builder->addAttachment(file("\xC3\xA9.bin", "1"));
    string message = mail.bytes();
    const Part part = parse(message);
    for (const string& one :
         {part.field("message-id"), part.field("date"), part.parameter("content-type", "boundary"),
          part.parts.at(0).parameter("content-type", "boundary")}) {
      for (std::size_t at; (at = message.find(one)) != string::npos;) {
        message.replace(at, one.size(), "*");
      }
    }
    return message;
  };
  EXPECT_EQ(bytes(), bytes());
}

TEST(MessageBuilder, ABoundaryNeverOccursInAPart) {
  AutoreleasePool pool;
  const Mail mail("a");
  Attachment* const attachment = file("a.txt", "x\r\n");
  mail.builder->addAttachment(attachment);
  for (int round = 0; round < 5; ++round) {
    // The part becomes the message that it is in.
    const string boundary = mail.read().parameter("content-type", "boundary");
    const string body = "--" + boundary + "--\r\nother text\r\n";
    attachment->setData(Data::dataWithBytes(body.data(), body.size()));
    const Part message = mail.read();
    EXPECT_NE(message.parameter("content-type", "boundary"), boundary);
    EXPECT_EQ(message.parts.at(1).body, body);
  }
}

TEST(MessageBuilder, BoundariesBeginWithThePrefix) {
  AutoreleasePool pool;
  struct Case {
    string prefix;
    string start;
  };
  const Case cases[] = {
      {"", "=_"},
      {"mine", "mine=_"},
      {"a b\r\nc\"\\;d", "abcd=_"},
      {"\xD0\x9F", "=_"},
      {string(500, 'p'), string(20, 'p')},
      {"--", "--=_"},
      {"=?utf-8?Q?a?=", "=utf-8?Q?a?==_"},
      {"a=??b", "a=b=_"},
  };
  for (const Case& c : cases) {
    const Mail mail("a", "<p>");
    mail.builder->addAttachment(file("a.bin", "1"));
    mail.builder->setBoundaryPrefix(str(c.prefix));
    const Part message = mail.read();
    EXPECT_EQ(message.shape(), "mixed(alternative(text/plain,text/html),application/octet-stream)");
    for (const Part* part : {&message, &message.parts.at(0)}) {
      const string boundary = part->parameter("content-type", "boundary");
      EXPECT_TRUE(boundary.starts_with(c.start)) << boundary;
      EXPECT_LE(boundary.size(), 70U);
    }
  }
}

TEST(MessageBuilder, NoTextCanAddAFieldOrALine) {
  AutoreleasePool pool;
  const string evil[] = {
      "a\r\nX-Evil: 1",
      "a\nX-Evil: 1",
      "a\rX-Evil: 1",
      "a\r\n\r\nX-Evil: 1\r\n\r\n",
      "a\0\r\nX-Evil: 1"s,
      "\r\nX-Evil: 1",
      "a\"\r\nX-Evil: 1",
      "a>\r\nX-Evil: 1",
      "\xE2\x80\xA8\r\nX-Evil: 1",
      "a;\r\nX-Evil: 1\r\n",
      "\xFF\xFE\r\nX-Evil: 1",
      "=?utf-8?Q?a=0D=0AX-Evil:_1?=\r\nX-Evil: 1",
      string(2000, 'a') + "\r\nX-Evil: 1",
  };
  for (const string& text : evil) {
    String* const value = str(text);
    Address* const address = Address::addressWithMailbox(value);
    Address* const named = Address::addressWithDisplayName(value, str("a@b.c"));
    const auto header = make<MessageHeader>();
    header->setMessageID(value);
    header->setInReplyTo(Array::arrayWithObject(value));
    header->setReferences(Array::arrayWithObject(value));
    header->setFrom(address);
    header->setSender(named);
    header->setTo(Array::arrayWithObject(named));
    header->setCc(Array::arrayWithObject(address));
    header->setReplyTo(Array::arrayWithObject(named));
    header->setSubject(value);
    header->setUserAgent(value);
    header->setExtraHeader(str("X-Free"), value);
    header->setExtraHeader(value, str("1"));
    header->setExtraHeader(str("Content-Type"), str("text/evil"));
    const Mail mail("text", "<p>");
    mail.builder->setHeader(header.get());
    mail.builder->setBoundaryPrefix(value);
    for (int i = 0; i < 2; ++i) {
      Attachment* const attachment = file("a.bin", "1");
      attachment->setFilename(value);
      attachment->setCharset(value);
      attachment->setContentID(value);
      attachment->setContentLocation(value);
      attachment->setContentDescription(value);
      attachment->setPartID(value);
      attachment->setUniqueID(value);
      if (i == 1) {
        attachment->setMimeType(value);
      }
      mail.builder->addAttachment(attachment);
      mail.builder->addRelatedAttachment(attachment);
    }
    const string bytes = mail.bytes();
    expectLegal(bytes);
    EXPECT_EQ(bytes.find("\nX-Evil"), string::npos) << text;
    EXPECT_EQ(bytes.find("text/evil"), string::npos);
    EXPECT_EQ(parse(bytes).parts.size(), 3U) << text;
  }
}

TEST(MessageBuilder, HeaderLinesFoldAt78) {
  AutoreleasePool pool;
  const Mail mail("a", "<p>");
  const auto header = make<MessageHeader>();
  string words;
  for (int i = 0; i < 100; ++i) {
    words += "word ";
  }
  header->setSubject(str(words));
  header->setUserAgent(str(words));
  header->setExtraHeader(str("X-Words"), str(words));
  mail.builder->setHeader(header.get());
  mail.builder->setBoundaryPrefix(str(string(70, 'p')));
  Attachment* const attachment = file(words + ".txt", "1");
  attachment->setContentDescription(str(words));
  mail.builder->addAttachment(attachment);
  mail.builder->addAttachment(file(string(300, 'n') + ".txt", "1"));
  const string bytes = mail.bytes();
  std::size_t start = 0;
  for (std::size_t end; (end = bytes.find("\r\n", start)) != string::npos; start = end + 2) {
    EXPECT_LE(end - start, 78U) << bytes.substr(start, end - start);
  }
}

TEST(MessageBuilder, WhatIsToBeSignedOrEncryptedIsNeverSentWithout) {
  AutoreleasePool pool;
  const Mail signing("a");
  signing.builder->setSigningCertificate(str("no such certificate"), nullptr);
  EXPECT_ANY_THROW(signing.builder->data());
  const Mail encrypting("a");
  encrypting.builder->setRecipientsCertificates(Array::arrayWithObject(str("no such one")));
  EXPECT_ANY_THROW(encrypting.builder->data());
}

TEST(MessageBuilder, WritesAFileWholeOrNotAtAll) {
  AutoreleasePool pool;
  const Mail mail("a");
  String* const path = str(testing::TempDir() + "brennox-builder.eml");
  EXPECT_EQ(mail.builder->writeToFile(path), ErrorNone);
  EXPECT_EQ(Data::dataWithContentsOfFile(path)->view(), mail.bytes());
  EXPECT_EQ(mail.builder->writeToFile(str("/no/such/folder/a.eml")), ErrorFile);
  EXPECT_EQ(std::remove(path->UTF8Characters()), 0);
}

}  // namespace
}  // namespace brennox
