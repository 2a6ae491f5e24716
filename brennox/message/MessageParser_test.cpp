#include <brennox/AutoreleasePool.h>
#include <brennox/MessageParser.h>
#include <brennox/String.h>
#include <gtest/gtest.h>

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

TEST(MessageParser, NoDataNoParser) {
  const AutoreleasePool pool;
  EXPECT_EQ(MessageParser::messageParserWithData(nullptr), nullptr);
  EXPECT_EQ(MessageParser::messageParserWithContentsOfFile(
                String::stringWithText("/nonexistent/mail.eml"), nullptr),
            nullptr);
}

}  // namespace
}  // namespace brennox
