#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/IMAPPart.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>
#include <gtest/gtest.h>

#include "imap/body_structure.h"
#include "imap/envelope.h"
#include "imap/fetch_items.h"

namespace brennox::imap {
namespace {

// One line a part: number, type, size and what else is set.
void describe(AbstractPart* part, int depth, std::string* out) {
  auto* const imapPart = static_cast<IMAPPart*>(part);
  *out += std::string(static_cast<std::size_t>(depth) * 2, ' ');
  *out += std::string(textOf(imapPart->partID())) + " " + std::string(textOf(part->mimeType()));
  *out += imapPart->size() != 0 ? " " + std::to_string(imapPart->size()) : "";
  *out += part->charset() != nullptr ? " " + std::string(textOf(part->charset())) : "";
  *out += part->filename() != nullptr ? " '" + std::string(textOf(part->filename())) + "'" : "";
  *out += part->contentID() != nullptr ? " <" + std::string(textOf(part->contentID())) + ">" : "";
  *out += part->isAttachment() ? " attachment" : part->isInlineAttachment() ? " inline" : "";
  *out += "\n";
  for (unsigned int i = 0; part->parts() != nullptr && i < part->parts()->count(); ++i) {
    describe(part->parts()->at<AbstractPart>(i), depth + 1, out);
  }
  if (part->mainPart() != nullptr) {
    describe(part->mainPart(), depth + 1, out);
  }
}

std::string described(std::string_view text) {
  const AutoreleasePool pool;
  const Ref<IMAPPart> root = parseBodyStructure(text);
  std::string out;
  if (root) {
    describe(root.get(), 0, &out);
  }
  return out;
}

TEST(BodyStructure, NumbersTheParts) {
  EXPECT_EQ(described("(\"TEXT\" \"PLAIN\" (\"CHARSET\" \"US-ASCII\") NIL NIL \"7BIT\" 3028 92)"),
            "1 text/plain 3028 US-ASCII\n");
  EXPECT_EQ(
      described("((\"TEXT\" \"PLAIN\" (\"CHARSET\" \"utf-8\") NIL NIL \"7BIT\" 1152 23)(\"IMAGE\" "
                "\"PNG\" (\"NAME\" \"a.png\") \"<960723163407.20117h@example.com>\" \"Pic\" "
                "\"BASE64\" 4554 NIL (\"INLINE\" (\"FILENAME\" \"b.png\")) NIL NIL) \"RELATED\" "
                "(\"BOUNDARY\" \"x\") NIL NIL)"),
      " multipart/related\n"
      "  1 text/plain 1152 utf-8\n"
      "  2 image/png 4554 'b.png' <960723163407.20117h@example.com> inline\n");
  EXPECT_EQ(
      described(
          "((\"TEXT\" \"PLAIN\" NIL NIL NIL \"7BIT\" 10 1)(\"MESSAGE\" \"RFC822\" NIL NIL NIL "
          "\"7BIT\" 500 (NIL \"inner\" NIL NIL NIL NIL NIL NIL NIL \"<i@x>\") ((\"TEXT\" \"HTML\" "
          "NIL NIL NIL \"7BIT\" 20 1)(\"TEXT\" \"PLAIN\" NIL NIL NIL \"7BIT\" 21 1) "
          "\"ALTERNATIVE\") 30)(\"MESSAGE\" \"RFC822\" NIL NIL NIL \"7BIT\" 400 (NIL NIL NIL NIL "
          "NIL NIL NIL NIL NIL NIL) (\"TEXT\" \"PLAIN\" NIL NIL NIL \"7BIT\" 22 1) 9) \"MIXED\")"),
      " multipart/mixed\n"
      "  1 text/plain 10\n"
      "  2 message/rfc822 500\n"
      "     multipart/alternative\n"
      "      2.1 text/html 20\n"
      "      2.2 text/plain 21\n"
      "  3 message/rfc822 400\n"
      "    3.1 text/plain 22\n");
}

TEST(BodyStructure, DecodesNames) {
  EXPECT_EQ(described("(\"APPLICATION\" \"PDF\" (\"NAME\" \"=?utf-8?B?0JDQsS5wZGY=?=\") NIL NIL "
                      "\"BASE64\" 5)"),
            "1 application/pdf 5 'Аб.pdf'\n");
  EXPECT_EQ(described("(\"APPLICATION\" \"PDF\" NIL NIL NIL \"BASE64\" 5 NIL (\"ATTACHMENT\" "
                      "(\"FILENAME*0*\" \"utf-8''%D0%90\" \"FILENAME*1*\" \"%D0%B1.pdf\")))"),
            "1 application/pdf 5 'Аб.pdf' attachment\n");
  EXPECT_EQ(described("(\"APPLICATION\" \"PDF\" (\"NAME\" {8}\r\n../a.pdf) NIL NIL NIL 5)"),
            "1 application/pdf 5 'a.pdf'\n");
}

TEST(BodyStructure, BearsWithWhatServersSend) {
  const struct {
    const char* text;
    const char* described;
  } kTable[] = {
      {"", ""},
      {"NIL", ""},
      {"()", "1 application/octet-stream\n"},
      {"(NIL NIL NIL NIL NIL NIL NIL)", "1 application/octet-stream\n"},
      {"(\"TEXT\")", "1 application/octet-stream\n"},
      // No line count, no parameters, a size that is none.
      {"(\"TEXT\" \"PLAIN\" NIL NIL NIL NIL \"many\")", "1 text/plain\n"},
      {"(\"TEXT\" \"PLAIN\" () NIL NIL \"8BIT\" -1 -1)", "1 text/plain\n"},
      {"(\"TEXT\" \"PLAIN\" (\"CHARSET\") NIL NIL \"8BIT\" 4 1)", "1 text/plain 4\n"},
      // An embedded message that is not described.
      {"(\"MESSAGE\" \"RFC822\" NIL NIL NIL \"7BIT\" 500)", "1 message/rfc822 500\n"},
      {"(\"MESSAGE\" \"RFC822\" NIL NIL NIL \"7BIT\" 500 NIL NIL 4)", "1 message/rfc822 500\n"},
      // A multipart without a subtype, and one without parts.
      {"((\"TEXT\" \"PLAIN\" NIL NIL NIL \"7BIT\" 1 1))", " multipart/mixed\n  1 text/plain 1\n"},
      {"(() \"MIXED\")", " multipart/mixed\n  1 application/octet-stream\n"},
      // Cut off.
      {"((\"TEXT\" \"PLAIN\" NIL NIL NIL \"7BIT\" 1 1)(\"IMAGE\" \"PN",
       " multipart/mixed\n  1 text/plain 1\n  2 application/octet-stream\n"},
  };
  for (const auto& row : kTable) {
    EXPECT_EQ(described(row.text), row.described) << row.text;
  }
  EXPECT_NE(described(std::string(100000, '(')), "");
}

Ref<MessageHeader> header(std::string_view envelope, std::string_view fields = "") {
  return headerOf(envelope, fields);
}

TEST(Envelope, BecomesAHeader) {
  const AutoreleasePool pool;
  const auto head = header(
      "(\"Wed, 17 Jul 1996 02:23:25 -0700\" \"=?utf-8?B?0J/RgNC40LLQtdGC?=\" ((\"Terry \\\"T\\\" "
      "Gray\" NIL \"gray\" \"example.com\")) ((NIL NIL \"s\" \"example.com\")) NIL ((NIL NIL "
      "\"imap\" \"example.com\")(\"=?utf-8?Q?J=C3=BCrgen?=\" NIL \"j\" \"x.org\")) ((NIL NIL "
      "\"friends\" NIL)(\"A\" NIL \"a\" \"b.c\")(NIL NIL NIL NIL)(NIL NIL \"last\" \"b.c\")) NIL "
      "\"<r@x>\" \"<B27397@example.com>\")");
  EXPECT_EQ(textOf(head->subject()), "Привет");
  EXPECT_EQ(textOf(head->messageID()), "B27397@example.com");
  EXPECT_EQ(head->date(), 837595405);
  ASSERT_NE(head->from(), nullptr);
  EXPECT_EQ(textOf(head->from()->displayName()), "Terry \"T\" Gray");
  EXPECT_EQ(textOf(head->from()->mailbox()), "gray@example.com");
  EXPECT_EQ(textOf(head->sender()->mailbox()), "s@example.com");
  ASSERT_EQ(head->to()->count(), 2U);
  EXPECT_EQ(textOf(head->to()->at<Address>(1)->displayName()), "Jürgen");
  ASSERT_EQ(head->cc()->count(), 2U);
  EXPECT_EQ(textOf(head->cc()->at<Address>(0)->mailbox()), "a@b.c");
  EXPECT_EQ(textOf(head->cc()->at<Address>(1)->mailbox()), "last@b.c");
  EXPECT_EQ(textOf(head->inReplyTo()->at<String>(0)), "r@x");
}

TEST(Envelope, TakesTheSubjectFromTheFieldWhereThatWasFetched) {
  const AutoreleasePool pool;
  const auto head =
      header("(NIL \"short\" NIL NIL NIL NIL NIL NIL NIL NIL)", "Subject: longer\r\n\r\n");
  EXPECT_EQ(textOf(head->subject()), "longer");
  EXPECT_EQ(textOf(header("(NIL \"short\" NIL NIL NIL NIL NIL NIL NIL NIL)", "\r\n")->subject()),
            "short");
}

TEST(Envelope, BearsWithWhatServersSend) {
  const AutoreleasePool pool;
  for (const char* text : {"", "()", "NIL", "(NIL)", "(\"a\" NIL (NIL) ((NIL)) (((x))) \"to\")",
                           "(NIL NIL ((NIL NIL NIL \"host\")) ((NIL NIL \"lone\" NIL)))"}) {
    EXPECT_TRUE(header(text)) << text;
  }
  // A line break in a server's string starts no field.
  const auto head = header("(NIL {12}\r\na\r\nBcc: x@y NIL NIL NIL NIL NIL NIL NIL NIL)");
  EXPECT_TRUE(head->bcc() == nullptr || head->bcc()->count() == 0);
}

TEST(FetchItems, ReadsAllKindsOfItems) {
  WireReader reader(std::string_view(
      "(UID 5 X-UNKNOWN (a (b)) FLAGS (\\Seen) RFC822.SIZE 5000000000 MODSEQ (77) BODY[1]<0> \"x\" "
      "INTERNALDATE \" 7-Jul-1996 02:44:25 +0000\" BODY (\"TEXT\" \"PLAIN\") BODY[] NIL)"));
  FetchItems items;
  EXPECT_TRUE(readFetchItems(reader, &items));
  EXPECT_EQ(items.uid, 5U);
  EXPECT_EQ(items.flags, MessageFlagSeen);
  EXPECT_EQ(items.size, UINT32_MAX);
  EXPECT_EQ(items.modSeq, 77U);
  EXPECT_EQ(items.internalDate, 836707465);
  EXPECT_EQ(items.structure, "(\"TEXT\" \"PLAIN\")");
  ASSERT_EQ(items.sections.size(), 2U);
  EXPECT_EQ(items.sections[0].first, "1");
  EXPECT_TRUE(items.sections[1].second.nil);
}

}  // namespace
}  // namespace brennox::imap
