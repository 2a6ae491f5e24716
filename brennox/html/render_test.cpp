#include "html/render.h"

#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/Attachment.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/HTMLRendererCallback.h>
#include <brennox/MessageHeader.h>
#include <gtest/gtest.h>

#include <map>

#include "html/reparse_for_test.h"
#include "html/templates.h"
#include "mime/MimePart.h"
#include "text/base64.h"

namespace brennox::html {
namespace {

constexpr const char* kPixel =
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJg"
    "gg==";

std::string pixel() {
  return text::base64Decode(kPixel);
}

String* str(std::string_view text) {
  return String::stringWithText(text);
}

// A multipart or an embedded message.
class Group : public AbstractPart {
 public:
  Group(PartType type, std::initializer_list<AbstractPart*> children) {
    setPartType(type);
    for (AbstractPart* child : children) {
      parts_.addObject(child);
    }
  }
  Array* parts() override { return partType() == PartType::Message ? nullptr : &parts_; }
  AbstractPart* mainPart() override {
    return partType() == PartType::Message ? parts_.at<AbstractPart>(0) : nullptr;
  }
  MessageHeader* header() override { return header_.get(); }
  void setHeader(MessageHeader* header) { header_ = header; }

 private:
  Array parts_;
  Ref<MessageHeader> header_;
};

Attachment* leaf(std::string_view type, std::string_view content) {
  auto* const part = makeAutoreleased<Attachment>();
  part->setMimeType(str(type));
  part->setData(Data::dataWithBytes(content.data(), content.size()));
  return part;
}

Attachment* file(std::string_view type, std::string_view content, std::string_view name) {
  Attachment* const part = leaf(type, content);
  part->setAttachment(true);
  part->setFilename(str(name));
  return part;
}

template <class... Parts>
Group* group(PartType type, Parts*... parts) {
  return makeAutoreleased<Group>(type, std::initializer_list<AbstractPart*>{parts...});
}

Group* embedded(std::string_view subject, AbstractPart* content) {
  Group* const message = group(PartType::Message, content);
  message->setMimeType(str("message/rfc822"));
  auto* const header = makeAutoreleased<MessageHeader>();
  header->setSubject(str(subject));
  message->setHeader(header);
  return message;
}

class Source : public ContentSource {
 public:
  Data* contentOf(AbstractPart* part) override {
    auto* const leaf = dynamic_cast<Attachment*>(part);
    ++fetched[part];
    return leaf == nullptr ? nullptr : leaf->data();
  }
  String* textOf(AbstractPart* part) override {
    Data* const data = contentOf(part);
    return data == nullptr ? nullptr : str(data->view());
  }
  std::map<AbstractPart*, int> fetched;
};

// The templates of the module: no rows for attachments and nothing before them.
class NoRows : public HTMLRendererTemplateCallback {
 public:
  String* templateForAttachment(AbstractPart* /*part*/) override { return str(""); }
  String* templateForAttachmentSeparator() override { return str(""); }
};

// Shows the order and the names of everything.
class Bare : public HTMLRendererTemplateCallback {
 public:
  String* templateForMainHeader(MessageHeader* /*header*/) override {
    return str("H({{SUBJECT}}|{{{FROM}}}|{{#CC}}cc{{/CC}}{{^CC}}no cc{{/CC}}|{{DATE}})");
  }
  String* templateForImage(AbstractPart* /*part*/) override { return str("I({{FILENAME}})"); }
  String* templateForAttachment(AbstractPart* /*part*/) override {
    return str("A({{FILENAME}},{{SIZE}},{{MIMETYPE}})");
  }
  String* templateForMessage() override { return str("M[{{HEADER}}{{ATTACHMENTS}}]"); }
  String* templateForEmbeddedMessage(AbstractPart* /*part*/) override {
    return str("E[{{HEADER}}{{ATTACHMENTS}}]");
  }
  String* templateForEmbeddedMessageHeader(MessageHeader* /*header*/) override {
    return str("h({{SUBJECT}})");
  }
  String* templateForAttachmentSeparator() override { return str("-"); }
};

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

class Render : public testing::Test {
 protected:
  std::string html(AbstractPart* root, HTMLRendererTemplateCallback* templates = nullptr) {
    std::string result(htmlRendering(header(), root, source_, templates)->view());
    return result;
  }
  std::string body(AbstractPart* root) {
    std::string result(htmlBodyRendering(root, source_)->view());
    EXPECT_EQ(reparsed(result), result);
    return result;
  }
  std::string plain(AbstractPart* root) {
    return std::string(plainTextBodyRendering(root, source_, false)->view());
  }
  MessageHeader* header() {
    auto* const header = makeAutoreleased<MessageHeader>();
    header->setSubject(str("<b>S</b>"));
    header->setFrom(Address::addressWithDisplayName(str("A\xE2\x80\xAE\n\"<i>"), str("a@ok.test")));
    header->setTo(Array::arrayWithObject(Address::addressWithMailbox(str("b@ok.test"))));
    header->setDate(1772445600);
    return header;
  }

  AutoreleasePool pool_;
  Source source_;
};

TEST_F(Render, NothingGivesNothing) {
  EXPECT_EQ(body(nullptr), "");
  EXPECT_EQ(plain(nullptr), "");
  EXPECT_EQ(htmlRendering(nullptr, nullptr, source_, nullptr)->view(), "");
  EXPECT_EQ(plainTextRendering(nullptr, nullptr, source_)->view(), "");
}

TEST_F(Render, HooksComeInTheirPlaces) {
  Bare templates;
  AbstractPart* const root =
      group(PartType::MultipartMixed, leaf("text/plain", "x"),
            file("application/pdf", "12345", "a.pdf"), file("image/png", pixel(), "p.png"),
            embedded("inner", group(PartType::MultipartMixed, leaf("text/plain", "y"),
                                    file("text/csv", "1", "c.csv"))),
            file("image/svg+xml", "<svg/>", "s.svg"));
  const std::string result = html(root, &templates);
  EXPECT_TRUE(contains(result, "M[H(&lt;b&gt;S&lt;/b&gt;|")) << result;
  EXPECT_TRUE(contains(result, "|no cc|Mon, 02 Mar 2026 10:00:00 +0000)")) << result;
  EXPECT_TRUE(contains(result,
                       "I(p.png)-A(a.pdf,5 bytes,application/pdf)A(s.svg,6 bytes,image/svg+xml)"
                       "E[h(inner)-A(c.csv,1 byte,text/csv)]]"))
      << result;
}

TEST_F(Render, ForeignNamesNeverBecomeMarkup) {
  AbstractPart* const root =
      group(PartType::MultipartMixed, leaf("text/plain", "x"),
            file("application/pdf", "1", "<img src=x onerror=alert(1)>\".pdf"),
            file("application/pdf", "1", "{{BODY}}{{>FROM}}"),
            file("image/png", pixel(), "\"><script>.png"));
  const std::string result = html(root);
  EXPECT_EQ(reparsed(reparsed(result)), reparsed(result));
  EXPECT_FALSE(contains(result, "<script"));
  EXPECT_FALSE(contains(result, "<img src=x"));
  EXPECT_TRUE(contains(result, "{{BODY}}{{&gt;FROM}}"));
  // Direction marks and line ends are taken out of names.
  EXPECT_FALSE(contains(result, "\xE2\x80\xAE"));
}

TEST_F(Render, EmptyTemplatesRenderAsNothing) {
  NoRows templates;
  AbstractPart* const root = group(
      PartType::MultipartMixed, leaf("text/plain", "text"), file("application/pdf", "1", "a.pdf"),
      file("image/png", pixel(), "p.png"), embedded("inner", leaf("text/plain", "forwarded")));
  const std::string result = html(root, &templates);
  EXPECT_FALSE(contains(result, "a.pdf"));
  EXPECT_FALSE(contains(result, "<hr"));
  EXPECT_TRUE(contains(result, "data:image/png;base64," + std::string(kPixel)));
  EXPECT_TRUE(contains(result, "forwarded"));
  EXPECT_TRUE(contains(result, "inner"));
  // What is not listed is not fetched for its size.
  EXPECT_EQ(source_.fetched[root->parts()->at<AbstractPart>(1)], 0);
}

TEST_F(Render, PicturesAreFoundByContentIdAndLocation) {
  Attachment* const byId = leaf("image/png", pixel());
  byId->setContentID(str("a b@x"));
  Attachment* const byLocation = leaf("image/png", pixel());
  byLocation->setContentLocation(str("http://x.test/l.png"));
  Attachment* const svg = leaf("image/png", "<svg xmlns='http://www.w3.org/2000/svg'/>");
  svg->setContentID(str("svg"));
  AbstractPart* const root =
      group(PartType::MultipartRelated,
            leaf("text/html",
                 "<img src='cid:a%20b@x'><img src='http://x.test/l.png'><img src=cid:svg alt=S>"
                 "<img src=cid:none alt=N>"),
            byId, byLocation, svg);
  const std::string result = body(root);
  const std::string uri = "<img src=\"data:image/png;base64," + std::string(kPixel) + "\">";
  EXPECT_TRUE(contains(result, uri + uri + "<img alt=\"S\"><img alt=\"N\">")) << result;
}

TEST_F(Render, RepeatedPicturesDoNotPileUp) {
  const std::string large = pixel() + std::string(200'000, 'x');
  Attachment* const picture = leaf("image/png", large);
  picture->setContentID(str("p"));
  std::string text;
  for (int i = 0; i < 1000; ++i) {
    text += "<img src=cid:p>";
  }
  const std::string result =
      std::string(htmlBodyRendering(
                      group(PartType::MultipartRelated, leaf("text/html", text), picture), source_)
                      ->view());
  EXPECT_LT(result.size(), std::size_t{12} << 20);
  EXPECT_TRUE(contains(result, "data:image/png"));
}

TEST_F(Render, EveryPartIsClosedOnItsOwn) {
  for (const char* const open :
       {"<div><b>", "<!--", "<a href='http://leak.test/?", "<table><tr>", "<style>p{", "<textarea>",
        "<plaintext>", "<svg><title>", "<script>", "<form action=x>"}) {
    const std::string result = body(group(PartType::MultipartMixed, leaf("text/html", open),
                                          leaf("text/html", "<p>SECRET</p>")));
    EXPECT_TRUE(contains(result, "<p>SECRET</p>")) << open;
  }
}

TEST_F(Render, StyleSheetsOfTwoPartsDoNotMeet) {
  const std::string sheet = "<style>p{color:red}</style><p>x</p>";
  const std::string result =
      body(group(PartType::MultipartMixed, leaf("text/html", sheet), leaf("text/html", sheet)));
  const std::size_t first = result.find("<style>\n.bx-");
  const std::size_t second = result.find("<style>\n.bx-", first + 1);
  ASSERT_NE(second, std::string::npos);
  EXPECT_NE(result.substr(first, 24), result.substr(second, 24));
}

TEST_F(Render, MessagesInsideMessagesEndSomewhere) {
  AbstractPart* content = leaf("text/plain", "innermost");
  for (int i = 0; i < 200; ++i) {
    content = embedded("level", content);
  }
  const std::string result = html(content);
  EXPECT_EQ(reparsed(reparsed(result)), reparsed(result));
  EXPECT_FALSE(contains(result, "innermost"));
}

TEST_F(Render, MessagesBesideMessagesEndSomewhere) {
  std::string mail = "Content-Type: multipart/digest; boundary=b\n\n";
  for (int i = 0; i < 1500; ++i) {
    mail += "--b\n\nSubject: s\n\nWORD\n";
  }
  const Ref<mime::MimePart> root =
      mime::MimePart::parse(Data::dataWithBytes(mail.data(), static_cast<unsigned>(mail.size())));
  const std::string result = html(root.get());
  std::size_t count = 0;
  for (std::size_t at = result.find("WORD"); at != std::string::npos;
       at = result.find("WORD", at + 1)) {
    ++count;
  }
  EXPECT_EQ(count, 1000U);
}

TEST(Templates, AreFilledHoweverManyThereAre) {
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 20; ++i) {
      const std::string number = std::to_string(i);
      EXPECT_EQ(fillTemplate("{{A}}-" + number, {{"A", "<"}}), "&lt;-" + number);
      EXPECT_EQ(fillTemplate("{{#A}" + number, {{"A", "x"}}), "");
      EXPECT_EQ(fillTemplate("{{> A}}" + number, {{"A", "x"}}), "");
    }
  }
}

TEST_F(Render, PlainTextPrefersTheSendersOwn) {
  const auto both = [&](std::string_view plainText) {
    return group(PartType::MultipartAlternative, leaf("text/plain", plainText),
                 leaf("text/html", "<p>HTML <b>words</b></p>"));
  };
  EXPECT_EQ(plain(both("Plain  words,\r\n  kept\r\n\r\n \r\n")), "Plain  words,\n  kept");
  EXPECT_EQ(plain(both(" \r\n")), "HTML words");
  EXPECT_TRUE(contains(body(both("x")), "HTML <b>words</b>"));
  EXPECT_EQ(plainTextBodyRendering(both("a \n b\t"), source_, true)->view(), "a b");
  EXPECT_EQ(plain(group(PartType::MultipartMixed, leaf("text/plain", "a\n"), leaf("text/plain", ""),
                        leaf("text/html", "<p>b"))),
            "a\n\nb");
}

TEST_F(Render, PlainTextHasAHeaderBlock) {
  AbstractPart* const root = group(PartType::MultipartMixed, leaf("text/plain", "text"),
                                   embedded("Old news", leaf("text/plain", "z")));
  EXPECT_EQ(plainTextRendering(header(), root, source_)->view(),
            "From: \"A \\\"<i>\" <a@ok.test>\nTo: b@ok.test\nSubject: <b>S</b>\n"
            "Date: Mon, 02 Mar 2026 10:00:00 +0000\n\ntext\n\n[Old news]");
}

}  // namespace
}  // namespace brennox::html
