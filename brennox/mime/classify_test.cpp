#include "mime/classify.h"

#include <brennox/Array.h>
#include <gtest/gtest.h>

namespace brennox::mime {
namespace {

// A part tree that was not parsed from bytes, as an IMAP server describes one.
class Node : public AbstractPart {
 public:
  explicit Node(const char* type, std::vector<Ref<Node>> children = {}) {
    setMimeType(String::uniquedStringWithUTF8Characters(type));
    const std::string_view name(type);
    if (name.substr(0, 10) == "multipart/") {
      setPartType(name == "multipart/alternative" ? PartType::MultipartAlternative
                  : name == "multipart/related"   ? PartType::MultipartRelated
                  : name == "multipart/signed"    ? PartType::MultipartSigned
                                                  : PartType::MultipartMixed);
      children_ = make<Array>();
      for (const Ref<Node>& child : children) {
        children_->addObject(child.get());
      }
    } else if (name == "message/rfc822") {
      setPartType(PartType::Message);
    }
  }
  Array* parts() override { return children_.get(); }

 private:
  Ref<Array> children_;
};

Ref<Node> node(const char* type, std::vector<Ref<Node>> children = {}) {
  return make<Node>(type, std::move(children));
}
Ref<Node> named(Ref<Node> part, const char* name) {
  part->setFilename(make<String>(name).get());
  return part;
}
Ref<Node> withID(Ref<Node> part, const char* id) {
  part->setContentID(make<String>(id).get());
  return part;
}
Ref<Node> attached(Ref<Node> part) {
  part->setAttachment(true);
  return part;
}

std::string list(const std::vector<AbstractPart*>& parts) {
  std::string text;
  for (AbstractPart* part : parts) {
    text += text.empty() ? "" : " ";
    text += part->mimeType()->view();
    if (part->filename() != nullptr) {
      text += "=" + std::string(part->filename()->view());
    }
  }
  return text;
}

// "html/plain" of each body, then the inlined parts, then the attachments.
std::string sorted(const Ref<Node>& root, const CidReferences* references = nullptr) {
  const Sorting sorting = sortParts(root.get(), references);
  std::string text;
  for (const Body& body : sorting.bodies) {
    text += "[" + list(body.html) + " / " + list(body.plain) + "]";
  }
  return text + " inlined: " + list(sorting.inlined) + " attached: " + list(sorting.attachments);
}

TEST(Classify, ChoosesBodies) {
  EXPECT_EQ(sorted(node("text/plain")), "[text/plain / text/plain] inlined:  attached: ");
  EXPECT_EQ(sorted(named(node("text/plain"), "body.txt")),
            "[text/plain=body.txt / text/plain=body.txt] inlined:  attached: ");
  EXPECT_EQ(sorted(attached(node("text/plain"))), " inlined:  attached: text/plain");
  EXPECT_EQ(sorted(node("multipart/alternative", {node("text/plain"), node("text/html")})),
            "[text/html / text/plain] inlined:  attached: ");
  EXPECT_EQ(sorted(node("multipart/alternative", {node("text/html"), node("text/plain")})),
            "[text/html / text/plain] inlined:  attached: ");
  EXPECT_EQ(sorted(node("multipart/alternative", {node("text/plain")})),
            "[text/plain / text/plain] inlined:  attached: ");
  EXPECT_EQ(
      sorted(node("multipart/mixed", {node("text/plain"), node("image/png"), node("text/plain")})),
      "[text/plain / text/plain][text/plain / text/plain] inlined:  attached: image/png");
  EXPECT_EQ(sorted(node("multipart/mixed",
                        {named(node("text/plain"), "a"), named(node("text/plain"), "b")})),
            "[text/plain=a / text/plain=a] inlined:  attached: text/plain=b");
  EXPECT_EQ(sorted(node("multipart/alternative",
                        {named(node("text/plain"), "a"), named(node("text/plain"), "b")})),
            "[text/plain=b / text/plain=a] inlined:  attached: ");
  EXPECT_EQ(sorted(node("image/png")), " inlined:  attached: image/png");
  EXPECT_EQ(sorted(node("multipart/mixed")), " inlined:  attached: ");
}

TEST(Classify, KeepsAttachmentsOfEveryAlternative) {
  // The way one widespread mailer sends an HTML mail with a file.
  EXPECT_EQ(
      sorted(node("multipart/alternative",
                  {node("text/plain"),
                   node("multipart/mixed", {node("text/html"), named(node("application/pdf"), "a"),
                                            node("text/html")})})),
      "[text/html text/html / text/plain] inlined:  attached: application/pdf=a");
  EXPECT_EQ(sorted(node("multipart/alternative",
                        {node("text/plain"), node("text/html"), node("text/calendar")})),
            "[text/html / text/plain] inlined:  attached: text/calendar");
  EXPECT_EQ(sorted(node("multipart/alternative",
                        {node("text/plain"), node("text/x-amp-html"), node("text/html")})),
            "[text/html / text/plain] inlined:  attached: ");
}

TEST(Classify, NestsAlternativesAndRelated) {
  EXPECT_EQ(
      sorted(node(
          "multipart/mixed",
          {node("multipart/alternative",
                {node("text/plain"),
                 node("multipart/related", {node("text/html"), withID(node("image/png"), "a")})}),
           named(node("application/zip"), "z")})),
      "[text/html / text/plain] inlined: image/png attached: application/zip=z");
  EXPECT_EQ(sorted(node("multipart/related",
                        {node("multipart/alternative", {node("text/plain"), node("text/html")}),
                         withID(node("image/png"), "a")})),
            "[text/html / text/plain] inlined: image/png attached: ");
  // The root is not always first.
  EXPECT_EQ(sorted(node("multipart/related", {withID(node("image/png"), "a"), node("text/html")})),
            "[text/html / text/html] inlined: image/png attached: ");
}

TEST(Classify, InlinesWhatTheHtmlRefersTo) {
  const auto tree = [] {
    return node("multipart/related",
                {node("text/html"), withID(named(node("image/png"), "a"), "a@x"),
                 withID(named(node("image/gif"), "b"), "b@x")});
  };
  const CidReferences references = {"b@x"};
  EXPECT_EQ(sorted(tree(), &references),
            "[text/html / text/html] inlined: image/gif=b attached: image/png=a");
  // Referred to from outside of its multipart/related, and marked as an attachment: still part of
  // the HTML.
  const Ref<Node> mixed =
      node("multipart/mixed",
           {node("text/html"), withID(attached(named(node("image/png"), "b")), "b@x")});
  EXPECT_EQ(sorted(mixed, &references), "[text/html / text/html] inlined: image/png=b attached: ");
  EXPECT_TRUE(needsCidReferences(sortParts(mixed.get())));
  EXPECT_FALSE(needsCidReferences(sortParts(node("multipart/mixed", {node("image/png")}).get())));
}

TEST(Classify, DoesNotLookIntoMessages) {
  EXPECT_EQ(sorted(node("multipart/digest", {node("message/rfc822"), node("message/rfc822")})),
            " inlined:  attached: message/rfc822 message/rfc822");
  EXPECT_EQ(
      sorted(node("multipart/report", {node("text/plain"), node("message/delivery-status"),
                                       node("text/rfc822-headers")})),
      "[text/plain / text/plain] inlined:  attached: message/delivery-status text/rfc822-headers");
  EXPECT_EQ(
      sorted(node("multipart/signed", {node("text/plain"), node("application/pgp-signature")})),
      "[text/plain / text/plain] inlined:  attached: application/pgp-signature");
}

TEST(Classify, CollectsContentIDs) {
  CidReferences references;
  collectCidReferences(
      "<img src=\"cid:a@b\"><img src=CID:c%20d><a href='cid:e&amp;f'>acid: x <b "
      "style=\"url(cid:g)\">cid:",
      references);
  EXPECT_EQ(references, (CidReferences{"a@b", "c d", "e&f", "g"}));
}

}  // namespace
}  // namespace brennox::mime
