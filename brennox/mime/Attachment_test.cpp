#include <brennox/Attachment.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/String.h>
#include <gtest/gtest.h>

#include <string>

namespace brennox {
namespace {

Attachment* attachmentOf(std::string_view bytes, const char* charset) {
  Attachment* const attachment = makeAutoreleased<Attachment>();
  attachment->setData(Data::dataWithBytes(bytes.data(), bytes.size()));
  if (charset != nullptr) {
    attachment->setCharset(String::stringWithUTF8Characters(charset));
  }
  return attachment;
}

TEST(Attachment, IsEmptyWhenNew) {
  AutoreleasePool pool;
  const auto attachment = make<Attachment>();
  EXPECT_EQ(attachment->data(), nullptr);
  EXPECT_EQ(attachment->partID(), nullptr);
  EXPECT_EQ(attachment->filename(), nullptr);
  EXPECT_EQ(attachment->mimeType(), nullptr);
  EXPECT_EQ(attachment->decodedString(), nullptr);
}

TEST(Attachment, HasTheTypeOfItsFileName) {
  AutoreleasePool pool;
  Data* const data = Data::dataWithBytes("x", 1);
  EXPECT_EQ(
      Attachment::attachmentWithData(String::stringWithText("a.PNG"), data)->mimeType()->view(),
      "image/png");
  Attachment* const unnamed = Attachment::attachmentWithData(nullptr, data);
  EXPECT_EQ(unnamed->mimeType()->view(), "application/octet-stream");
  EXPECT_EQ(unnamed->filename(), nullptr);
  EXPECT_EQ(unnamed->data(), data);
}

TEST(Attachment, CopySharesBytesButNotFields) {
  AutoreleasePool pool;
  const auto original = make<Attachment>();
  original->setData(Data::dataWithBytes("abc", 3));
  original->setPartID(String::stringWithText("1.2"));
  original->setContentID(String::stringWithText("a@b"));
  original->setInlineAttachment(true);
  auto* const copy = dynamic_cast<Attachment*>(original->copy());
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->data()->bytes(), original->data()->bytes());
  EXPECT_TRUE(copy->isInlineAttachment());
  copy->setContentID(String::stringWithText("c@d"));
  EXPECT_EQ(original->contentID()->view(), "a@b");
  EXPECT_EQ(copy->partID()->view(), "1.2");
}

TEST(Attachment, TextIsReadInItsCharset) {
  AutoreleasePool pool;
  struct Case {
    const char* bytes;
    const char* charset;
    const char* text;
  };
  const Case cases[] = {
      {"\xCF\xF0\xE8\xE2\xE5\xF2", "windows-1251", "Привет"},
      {"\xF0\xD2\xC9\xD7\xC5\xD4", "KOI8-R", "Привет"},
      {"\x93\xFA\x96\x7B", "Shift_JIS", "日本"},
      {"\x1B$BF|K\\\x1B(B", "iso-2022-jp", "日本"},
      {"caf\xE9", "iso-8859-1", "café"},
      {"caf\xC3\xA9", "utf-8", "café"},
      {"caf\xC3\xA9", nullptr, "café"},
      {"caf\xC3\xA9", "no-such-charset", "café"},
      {"caf\xE9 du monde", nullptr, "café du monde"},
      {"", nullptr, ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(attachmentOf(c.bytes, c.charset)->decodedString()->view(), c.text)
        << (c.charset == nullptr ? "none" : c.charset);
  }
}

TEST(Attachment, OfATextIsUtf8) {
  AutoreleasePool pool;
  Attachment* const text = Attachment::attachmentWithText(String::stringWithText("é"));
  EXPECT_EQ(text->mimeType()->view(), "text/plain");
  EXPECT_EQ(text->charset()->view(), "utf-8");
  EXPECT_EQ(text->decodedString()->view(), "é");
  EXPECT_FALSE(text->isAttachment());
  EXPECT_EQ(Attachment::attachmentWithHTMLString(nullptr)->mimeType()->view(), "text/html");
  EXPECT_EQ(Attachment::attachmentWithHTMLString(nullptr)->data()->length(), 0U);
}

}  // namespace
}  // namespace brennox
