#include "mime/MimePart.h"

#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/MessageHeader.h>
#include <gtest/gtest.h>

#include "text/base64.h"

namespace brennox::mime {
namespace {

Ref<MimePart> parse(std::string_view mail) {
  return MimePart::parse(Data::dataWithBytes(mail.data(), mail.size()));
}

std::string base64(std::string_view bytes) {
  std::string text(text::base64EncodedLength(bytes.size()), '\0');
  text::base64Encode(bytes, text.data());
  return text;
}

// Section number, type and file name of every part below, in order.
void list(AbstractPart* part, std::string& out) {
  auto* const leaf = static_cast<Attachment*>(part);
  out += "[" + std::string(textOf(leaf->partID())) + " " + std::string(textOf(part->uniqueID())) +
         " " + std::string(textOf(part->mimeType()));
  if (part->filename() != nullptr) {
    out += " " + std::string(part->filename()->view());
  }
  out += "]";
  if (Array* const parts = part->parts()) {
    for (const Ref<Object>& child : *parts) {
      list(static_cast<AbstractPart*>(child.get()), out);
    }
  } else if (part->partType() == PartType::Message) {
    list(part->mainPart(), out);
  }
}

std::string listed(std::string_view mail) {
  const AutoreleasePool pool;
  std::string out;
  list(parse(mail).get(), out);
  return out;
}

TEST(MimePart, CountsSectionsAsImapDoes) {
  EXPECT_EQ(listed("\n\nx"), "[1 1 text/plain]");
  EXPECT_EQ(listed("Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b\nContent-Type: "
                   "message/rfc822\n\n"
                   "Content-Type: multipart/mixed; boundary=c\n\n--c\n\ntwo\n--c\nContent-Type: "
                   "text/html\n\nthree\n--c--\n"
                   "--b\nContent-Type: message/rfc822\n\nSubject: x\n\nfour\n--b--\n"),
            "[ 0 multipart/mixed][1 1 text/plain][2 2 message/rfc822][ 2.0 multipart/mixed][2.1 "
            "2.1 text/plain]"
            "[2.2 2.2 text/html][3 3 message/rfc822][3.1 3.1 text/plain]");
}

TEST(MimePart, TakesOtherSectionNumbers) {
  const AutoreleasePool pool;
  const Ref<MimePart> root =
      parse("Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b\n\ntwo\n--b--\n");
  auto* const first = root->parts()->at<Attachment>(0);
  auto* const second = root->parts()->at<Attachment>(1);
  first->setUniqueID(String::stringWithText("mine"));
  second->setPartID(nullptr);
  EXPECT_EQ(textOf(first->partID()), "1");
  EXPECT_EQ(textOf(first->uniqueID()), "mine");
  EXPECT_EQ(second->partID(), nullptr);
  EXPECT_EQ(textOf(second->uniqueID()), "2");
}

TEST(MimePart, ReadsItsFields) {
  const AutoreleasePool pool;
  const Ref<MimePart> part = parse(
      "Content-Type: Image/PNG; name=\"a.png\"; charset=x\nContent-ID: <id@x>\nContent-Location: "
      "http://x/a\n b\n"
      "Content-Description: =?utf-8?Q?caf=C3=A9?=\nContent-Disposition: INLINE; "
      "filename=b.png\n\nx");
  EXPECT_EQ(part->mimeType()->view(), "image/png");
  EXPECT_EQ(part->filename()->view(), "b.png");
  EXPECT_EQ(part->charset()->view(), "x");
  EXPECT_EQ(part->contentID()->view(), "id@x");
  EXPECT_EQ(part->contentLocation()->view(), "http://x/ab");
  EXPECT_EQ(part->contentDescription()->view(), "caf\xC3\xA9");
  EXPECT_TRUE(part->isInlineAttachment());
  EXPECT_FALSE(part->isAttachment());
  EXPECT_EQ(part->contentTypeParameter("name"), "a.png");
}

TEST(MimePart, TreatsUnknownDispositionsAsAttachments) {
  const AutoreleasePool pool;
  EXPECT_TRUE(parse("Content-Disposition: sideways\n\nx")->isAttachment());
  EXPECT_TRUE(parse("Content-Disposition: ATTACHMENT\n\nx")->isAttachment());
  EXPECT_FALSE(parse("Content-Disposition:\n\nx")->isAttachment());
}

TEST(MimePart, GivesTypesToWhatHasNone) {
  const AutoreleasePool pool;
  EXPECT_EQ(parse("Content-Type: text\n\nx")->mimeType()->view(), "text/plain");
  EXPECT_EQ(parse("Content-Type: ;charset=utf-8\n\nx")->mimeType()->view(), "text/plain");
  EXPECT_EQ(parse("Content-Type: application; name=x.pdf\n\nx")->mimeType()->view(),
            "application/pdf");
  EXPECT_EQ(parse("Content-Type: multipart/mixed; boundary=b\n\nno part\n")->mimeType()->view(),
            "text/plain");
}

TEST(MimePart, DecodesAtEveryCallIntoABlockOfItsOwn) {
  const AutoreleasePool pool;
  const Ref<MimePart> part =
      parse("Content-Transfer-Encoding: base64\nContent-Type: a/b\n\nSGVsbG8=\n");
  Data* const first = part->data();
  Data* const second = part->data();
  EXPECT_EQ(first->view(), "Hello");
  EXPECT_EQ(first->length(), first->block()->size());
  EXPECT_NE(first->bytes(), second->bytes());
}

TEST(MimePart, SharesTheMessageWhereNothingIsEncoded) {
  const AutoreleasePool pool;
  const std::string_view mail = "Content-Type: a/b\n\nHello";
  Data* const data = Data::dataWithBytes(mail.data(), mail.size());
  const Ref<MimePart> part = MimePart::parse(data);
  EXPECT_EQ(part->data()->bytes(), data->bytes() + 19);
  EXPECT_EQ(part->rawEntity()->view(), mail);
  EXPECT_EQ(part->rawHeader(), "Content-Type: a/b\n\n");
  EXPECT_EQ(part->rawBody(), "Hello");
}

TEST(MimePart, TakesContentThatACallerSets) {
  const AutoreleasePool pool;
  const Ref<MimePart> part = parse("Content-Transfer-Encoding: base64\n\nSGVsbG8=\n");
  part->setData(Data::dataWithBytes("new", 3));
  EXPECT_EQ(part->data()->view(), "new");
  EXPECT_EQ(part->decodedString()->view(), "new");
  part->setData(nullptr);
  EXPECT_EQ(part->data(), nullptr);
  EXPECT_EQ(part->decodedString(), nullptr);
}

TEST(MimePart, HandsOutItsFieldsToACopy) {
  const AutoreleasePool pool;
  const Ref<MimePart> part =
      parse("Content-Transfer-Encoding: base64\nContent-Type: a/b; name=c\n\nSGVsbG8=\n");
  auto* const copy = static_cast<Attachment*>(part->copy());
  EXPECT_EQ(copy->data()->view(), "Hello");
  EXPECT_EQ(copy->filename()->view(), "c");
}

// `levels` messages inside one another, each in base64.
std::string wrapped(int levels) {
  std::string mail = "Subject: inside\n\ntext";
  for (int i = 0; i < levels; ++i) {
    mail = "Content-Type: message/rfc822\nContent-Transfer-Encoding: base64\n\n" + base64(mail);
  }
  return mail;
}

int messagesIn(std::string_view mail) {
  const AutoreleasePool pool;
  const Ref<MimePart> root = parse(mail);
  int count = 0;
  for (AbstractPart* part = root.get(); part->partType() == PartType::Message;
       part = part->mainPart()) {
    ++count;
  }
  return count;
}

TEST(MimePart, OpensEightEncodingsAndLeavesTheRestALeaf) {
  EXPECT_EQ(messagesIn(wrapped(8)), 8);
  EXPECT_EQ(messagesIn(wrapped(9)), 8);
}

TEST(MimePart, BoundsDepthOverEncodings) {
  std::string mail = "\n\ntext";
  for (int i = 0; i < 4; ++i) {
    std::string outer;
    for (int level = 0; level < 100; ++level) {
      outer += "Content-Type: message/rfc822\n\n";
    }
    mail = outer + "Content-Type: message/rfc822\nContent-Transfer-Encoding: base64\n\n" +
           base64(mail);
  }
  EXPECT_EQ(messagesIn(mail), static_cast<int>(kMaxEntityDepth));
}

TEST(MimePart, SurvivesTenThousandLevels) {
  const AutoreleasePool pool;
  std::string mail;
  for (int i = 0; i < 10'000; ++i) {
    const std::string boundary = "b" + std::to_string(i);
    mail += "Content-Type: multipart/mixed; boundary=" + boundary + "\n\n--" + boundary + "\n";
  }
  mail += "\nlost?\n";
  const Ref<MimePart> root = parse(mail);
  AbstractPart* part = root.get();
  unsigned int depth = 0;
  while (part->parts() != nullptr) {
    ASSERT_EQ(part->parts()->count(), 1U);
    part = part->parts()->at<AbstractPart>(0);
    ++depth;
  }
  EXPECT_EQ(depth, kMaxEntityDepth);
  // The rest is there.
  const std::string_view rest = static_cast<Attachment*>(part)->data()->view();
  EXPECT_NE(rest.find("lost?"), std::string_view::npos);
}

TEST(MimePart, OpensAHundredThousandParts) {
  const AutoreleasePool pool;
  std::string mail = "Content-Type: multipart/mixed; boundary=b\n\n";
  for (int i = 0; i < 100'000; ++i) {
    mail += "--b\n\nx\n";
  }
  EXPECT_EQ(parse(mail)->parts()->count(), 100'000U);
}

TEST(MimePart, LeavesOutWhatStandsBetweenTwoBoundaryLinesWithoutAByte) {
  EXPECT_EQ(listed("Content-Type: multipart/mixed; boundary=b\n\n--b\n--b\n\n--b\n\none\n--b--\n"),
            "[ 0 multipart/mixed][3 3 text/plain]");
}

TEST(MimePart, HasARootInAnEmptyMessage) {
  const AutoreleasePool pool;
  const Ref<MimePart> part = parse("Content-Type: message/rfc822\n\n");
  EXPECT_NE(part->mainPart(), nullptr);
  EXPECT_NE(part->header(), nullptr);
}

TEST(MimePart, DecodesAgainWhenTheCharsetChanges) {
  const AutoreleasePool pool;
  const Ref<MimePart> part = parse("Content-Type: text/plain; charset=iso-8859-1\n\n\xCF");
  EXPECT_EQ(part->decodedString()->view(), "\xC3\x8F");
  EXPECT_EQ(part->decodedString(), part->decodedString());
  part->setCharset(String::stringWithText("windows-1251"));
  EXPECT_EQ(part->decodedString()->view(), "\xD0\x9F");
}

TEST(MimePart, GivesTheHeaderOfAnEmbeddedMessage) {
  const AutoreleasePool pool;
  const Ref<MimePart> part = parse("Content-Type: message/rfc822\n\nSubject: inner\n\nx");
  ASSERT_NE(part->header(), nullptr);
  EXPECT_EQ(part->header()->subject()->view(), "inner");
  EXPECT_EQ(parse("\n\nx")->header(), nullptr);
}

}  // namespace
}  // namespace brennox::mime
