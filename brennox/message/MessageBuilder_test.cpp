#include <brennox/Array.h>
#include <brennox/Attachment.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/MessageBuilder.h>
#include <brennox/String.h>
#include <gtest/gtest.h>

namespace brennox {
namespace {

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

}  // namespace
}  // namespace brennox
