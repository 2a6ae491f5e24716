#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/Data.h>
#include <brennox/MessageParser.h>
#include <brennox/String.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace brennox {
namespace {

TEST(MessageParser, EmptyParserGivesEmptyResults) {
  const AutoreleasePool pool;
  const Ref<MessageParser> parser = make<MessageParser>();
  EXPECT_EQ(parser->header(), nullptr);
  EXPECT_EQ(parser->mainPart(), nullptr);
  EXPECT_EQ(parser->attachments(), nullptr);
  EXPECT_EQ(parser->htmlInlineAttachments(), nullptr);
  EXPECT_EQ(parser->data(), nullptr);
  EXPECT_EQ(parser->htmlRendering()->view(), "");
  EXPECT_EQ(parser->htmlBodyRendering()->view(), "");
  EXPECT_EQ(parser->plainTextRendering()->view(), "");
  EXPECT_EQ(parser->plainTextBodyRendering(false)->view(), "");
  EXPECT_FALSE(parser->doNotDecrypt());
  EXPECT_EQ(parser->keyUsagePolicy(), nullptr);
  EXPECT_EQ(parser->getTempFolder(), nullptr);
}

TEST(MessageParser, UnsignedUnencryptedMessageHasNoResults) {
  const AutoreleasePool pool;
  MessageParser* parser =
      MessageParser::messageParserWithData(Data::dataWithBytes("A: b\r\n\r\nc", 9));
  EXPECT_FALSE(parser->isSigned());
  EXPECT_FALSE(parser->isEncrypted());
  EXPECT_FALSE(parser->VerifyResult());
  EXPECT_FALSE(parser->DecryptResult());
  EXPECT_EQ(parser->DecryptResultMessage()->view(), "");
  EXPECT_EQ(parser->SignerCert(), nullptr);
  EXPECT_EQ(parser->CreationDate()->view(), "");
  EXPECT_EQ(parser->SignAlg()->view(), "");
  EXPECT_EQ(parser->HashAlg()->view(), "");
}

TEST(MessageParser, TakesItsSettings) {
  const AutoreleasePool pool;
  MessageParser* parser = MessageParser::messageParserWithData(
      Data::data(), String::stringWithText("/tmp/x"), true, String::stringWithText("kupEmail"));
  EXPECT_TRUE(parser->doNotDecrypt());
  EXPECT_EQ(parser->keyUsagePolicy()->view(), "kupEmail");
  EXPECT_EQ(parser->getTempFolder()->view(), "/tmp/x");
}

// Naming a part that is also shown as the body must not take it out of the body.
TEST(MessageParser, RenderingsAreTheSameBeforeAndAfterAttachmentsAreRead) {
  const AutoreleasePool pool;
  const std::string_view mail = "Subject: x\r\nContent-Type: text/enriched\r\n\r\nhello\r\n";
  MessageParser* parser =
      MessageParser::messageParserWithData(Data::dataWithBytes(mail.data(), mail.size()));
  EXPECT_EQ(parser->plainTextBodyRendering(false)->view(), "hello");
  const std::string html(parser->htmlBodyRendering()->view());
  EXPECT_NE(html.find("hello"), std::string::npos);
  ASSERT_EQ(parser->attachments()->count(), 1U);
  EXPECT_EQ(parser->plainTextBodyRendering(false)->view(), "hello");
  EXPECT_EQ(parser->htmlBodyRendering()->view(), html);
  EXPECT_NE(parser->htmlRendering()->view().find("hello"), std::string_view::npos);
}

TEST(MessageParser, NoDataNoParser) {
  const AutoreleasePool pool;
  EXPECT_EQ(MessageParser::messageParserWithData(nullptr), nullptr);
  EXPECT_EQ(MessageParser::messageParserWithContentsOfFile(
                String::stringWithText("/nonexistent/mail.eml"), nullptr),
            nullptr);
}

}  // namespace
}  // namespace brennox
