#include "mime/entity.h"

#include <gtest/gtest.h>

#include <string>

#include "core/processor_time_for_test.h"
#include "mime/content_fields.h"

namespace brennox::mime {
namespace {

// One line per entity: its kind, depth, type and the bytes of its body, as far as it is a leaf.
std::string dump(std::string_view bytes) {
  std::string text;
  for (const Entity& entity : scanEntities(bytes)) {
    text += std::string(2U * entity.depth, ' ');
    text += entity.kind == EntityKind::Leaf        ? "leaf "
            : entity.kind == EntityKind::Multipart ? "multipart "
                                                   : "message ";
    const MediaTypeView media = mediaTypeOf(entity.contentType);
    text += std::string(media.type) + "/" + std::string(media.subtype);
    if (entity.kind == EntityKind::Leaf) {
      text += " [" + std::string(bytes.substr(entity.body, entity.end - entity.body)) + "]";
    }
    text += "\n";
  }
  return text;
}

TEST(Entity, FindsPartsAndEnds) {
  EXPECT_EQ(dump("Content-Type: multipart/mixed; boundary=\"b\"\r\n\r\npreamble\r\n--b\r\n"
                 "Content-Type: text/plain\r\n\r\none\r\n--b\r\n\r\ntwo\r\n\r\n--b--\r\nepilogue"),
            "multipart multipart/mixed\n  leaf text/plain [one]\n  leaf / [two\r\n]\n");
}

TEST(Entity, TakesBareLineFeeds) {
  EXPECT_EQ(dump("Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b\n\ntwo\n--b--\n"),
            "multipart multipart/mixed\n  leaf / [one]\n  leaf / [two]\n");
}

TEST(Entity, ToleratesWhatRealMailsBreak) {
  struct Case {
    const char* why;
    std::string mail;
    const char* tree;
  };
  const Case cases[] = {
      {"empty mail", "", "leaf / []\n"},
      {"header only", "Subject: x", "leaf / []\n"},
      {"body only", "just text\nmore: x\n", "leaf / [just text\nmore: x\n]\n"},
      {"leading empty lines", "\r\n\r\nContent-Type: text/html\r\n\r\nx", "leaf text/html [x]\n"},
      {"mailbox separator", "From a@b Thu\nContent-Type: text/html\n\nx", "leaf text/html [x]\n"},
      {"byte order mark",
       "\xEF\xBB\xBF"
       "Content-Type: text/html\n\nx",
       "leaf text/html [x]\n"},
      {"missing close", "Content-Type: multipart/mixed; boundary=b\n\n--b\n\none",
       "multipart multipart/mixed\n  leaf / [one]\n"},
      {"close without open", "Content-Type: multipart/mixed; boundary=b\n\ntext\n--b--\n",
       "leaf multipart/mixed [text]\n"},
      {"text behind a close without open",
       "Content-Type: multipart/mixed; boundary=b\n\ntext\n--b--\nmore",
       "leaf multipart/mixed [text\n--b--\nmore]\n"},
      {"apostrophes for quotes",
       "Content-Type: multipart/mixed; boundary='b'\n\n--b\n\none\n--b--\n",
       "multipart multipart/mixed\n  leaf / [one]\n"},
      {"apostrophes that are meant",
       "Content-Type: multipart/mixed; boundary='b'\n\n--'b'\n\none\n--'b'--\n",
       "multipart multipart/mixed\n  leaf / [one]\n"},
      {"nothing but a close", "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b--\r\n",
       "leaf multipart/mixed []\n"},
      {"text behind an empty line", "\nNote: this is text\nand more\n",
       "leaf / [Note: this is text\nand more\n]\n"},
      {"no boundary line", "Content-Type: multipart/mixed; boundary=b\n\ntext\n",
       "leaf multipart/mixed [text\n]\n"},
      {"no boundary parameter",
       "Content-Type: multipart/mixed\n\n--x\nContent-Type: a/b\n\none\n--x--\n",
       "multipart multipart/mixed\n  leaf a/b [one]\n"},
      {"repeated boundary parameter",
       "Content-Type: multipart/mixed; boundary=a; boundary=b\n\n--b\n\none\n--b--\n",
       "multipart multipart/mixed\n  leaf / [one]\n"},
      {"boundary in pieces",
       "Content-Type: multipart/mixed; boundary*0=\"a\"; boundary*1=b\n\n--ab\n\none\n--ab--\n",
       "multipart multipart/mixed\n  leaf / [one]\n"},
      {"boundary with comments and folds",
       "Content-Type: (c) multipart/mixed (d);\n boundary = (e) \"a b\" ; x=y\n\n--a b "
       "\n\none\n--a b--\n",
       "multipart multipart/mixed\n  leaf / [one]\n"},
      {"folded behind the colon",
       "Content-Type:\r\n multipart/mixed;\r\n\tboundary=b\r\n\r\n--b\r\n\r\none\r\n--b--\r\n",
       "multipart multipart/mixed\n  leaf / [one]\n"},
      {"missing quote at the end",
       "Content-Type: multipart/mixed; boundary=\"b\n\n--b\n\none\n--b--\n",
       "multipart multipart/mixed\n  leaf / [one]\n"},
      {"boundary at once, no empty line",
       "Content-Type: multipart/mixed; boundary=b\n--b\n\none\n--b--\n",
       "multipart multipart/mixed\n  leaf / [one]\n"},
      {"a boundary cuts a part's header",
       "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: "
       "text/html\n--b\n\ntwo\n--b--\n",
       "multipart multipart/mixed\n  leaf text/html []\n  leaf / [two]\n"},
      {"boundaries that are prefixes of one another",
       "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: multipart/mixed; "
       "boundary=b-1\n\n"
       "--b-1\n\none\n--b-1--\n--b\n\ntwo\n--b--\n",
       "multipart multipart/mixed\n  multipart multipart/mixed\n    leaf / [one]\n  leaf / "
       "[two]\n"},
      {"an inner boundary that reads as the outer one's end",
       "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: multipart/mixed; "
       "boundary=b--\n\n"
       "--b--\n\none\n--b----\n--b\n\ntwo\n--b--\n",
       "multipart multipart/mixed\n  multipart multipart/mixed\n    leaf / [one]\n  leaf / "
       "[two]\n"},
      {"inner multipart without end",
       "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: multipart/mixed; "
       "boundary=c\n\n"
       "--c\n\none\n--b\n\ntwo\n--b--\n",
       "multipart multipart/mixed\n  multipart multipart/mixed\n    leaf / [one]\n  leaf / "
       "[two]\n"},
      {"same boundary inside and outside",
       "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: multipart/mixed; "
       "boundary=b\n\n"
       "--b\n\none\n--b--\n--b\n\ntwo\n--b--\n",
       "multipart multipart/mixed\n  multipart multipart/mixed\n    leaf / [one]\n  leaf / "
       "[two]\n"},
      {"embedded message", "Content-Type: message/rfc822\n\nContent-Type: text/html\n\nx",
       "message message/rfc822\n  leaf text/html [x]\n"},
      {"digest", "Content-Type: multipart/digest; boundary=b\n\n--b\n\nSubject: a\n\nx\n--b--\n",
       "multipart multipart/digest\n  message /\n    leaf / [x]\n"},
      {"garbage inside the header", "Received: a\ngarbage\nContent-Type: text/html\n\nx",
       "leaf text/html [x]\n"},
      {"a field name with blanks", "X-Strange (name) / \t+: a\n b\nContent-Type: text/html\n\nx",
       "leaf text/html [x]\n"},
      {"missing empty line", "Content-Type: text/html\n<p>one</p>\n\ntwo",
       "leaf text/html [<p>one</p>\n\ntwo]\n"},
      {"an inner multipart without its first boundary line",
       "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: multipart/alternative; "
       "boundary=c\nContent-Type: text/plain\n\none\n--c\nContent-Type: "
       "text/html\n\ntwo\n--c--\n--b--\n",
       "multipart multipart/mixed\n  multipart multipart/alternative\n    leaf text/plain [one]\n"
       "    leaf text/html [two]\n"},
      {"first of two Content-Types", "Content-Type: text/html\nContent-Type: text/plain\n\nx",
       "leaf text/html [x]\n"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(dump(c.mail), c.tree) << c.why;
  }
}

TEST(Entity, RefusesEncodedMessages) {
  EXPECT_EQ(dump("Content-Type: message/rfc822\nContent-Transfer-Encoding: base64\n\nU3ViOiB4Cgp4"),
            "leaf message/rfc822 [U3ViOiB4Cgp4]\n");
  // A message that is not encoded, whatever its header says.
  EXPECT_EQ(
      dump("Content-Type: message/rfc822\nContent-Transfer-Encoding: base64\n\nSubject: x\n\nx"),
      "message message/rfc822\n  leaf / [x]\n");
}

std::string nested(std::size_t levels) {
  std::string mail;
  for (std::size_t i = 0; i < levels; ++i) {
    const std::string boundary = "b" + std::to_string(i);
    mail += "Content-Type: multipart/mixed; boundary=" + boundary + "\n\n--" + boundary + "\n";
  }
  return mail + "\ntext\n";
}

TEST(Entity, LeavesWhatIsTooDeepInALeaf) {
  const std::string mail = nested(10'000);
  const std::vector<Entity> entities = scanEntities(mail);
  ASSERT_EQ(entities.size(), kMaxEntityDepth + 1);
  EXPECT_EQ(entities.back().kind, EntityKind::Leaf);
  EXPECT_EQ(entities.back().end, mail.size());
  EXPECT_EQ(scanEntities(nested(kMaxEntityDepth)).back().contentType, "");
}

// A field of the multipart is not read again for each of its parts or repetitions.
TEST(Entity, ReadsLongFieldsOnce) {
  const std::string comment(200'000, '(');
  std::string parts = "Content-Type: multipart/digest; boundary=b; x=" + comment + "\n\n";
  std::string repeated =
      "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: " + comment + "\n";
  for (int i = 0; i < 20'000; ++i) {
    parts += "--b\nContent-Type: a/b\n\nx\n";
    repeated += "Content-Type: text/plain\n";
  }
  // Read again each time it would take minutes.
  EXPECT_LT(processorSeconds([&] {
              EXPECT_EQ(scanEntities(parts).size(), 20'001U);
              EXPECT_EQ(scanEntities(repeated).size(), 2U);
            }),
            5);
}

TEST(Entity, CountsManyParts) {
  std::string mail = "Content-Type: multipart/mixed; boundary=b\n\n";
  for (int i = 0; i < 100'000; ++i) {
    mail += "--b\n\nx\n";
  }
  EXPECT_EQ(scanEntities(mail).size(), 100'001U);
}

TEST(Entity, LeavesTheRestToTheLastPart) {
  std::string mail = "Content-Type: multipart/mixed; boundary=b\n\n";
  for (std::size_t i = 0; i < kMaxEntities + 10; ++i) {
    mail += "--b\n\nx\n";
  }
  const std::vector<Entity> entities = scanEntities(mail);
  EXPECT_EQ(entities.size(), kMaxEntities);
  EXPECT_EQ(entities.back().end, mail.size());
}

TEST(Entity, TellsWhetherOtherFieldsOfAPartMayBeThere) {
  const struct {
    const char* header;
    bool expected;
  } rows[] = {
      {"Subject: x\r\nContent-Type: text/plain\r\nContent-Transfer-Encoding: 7bit\r\n\r\n", false},
      {"Subject: x\nX: y\n Content-ID: folded\n\nContent-ID: <in the body>\n", false},
      {"Content-ID: <a@b>\r\n\r\n", true},
      {"X: y\ncontent-disposition : inline\n\n", true},
      {"CONTENT-LOCATION: a\n\n", true},
      {"X: y\nContent-Description: a\n\n", true},
      // Readers of fields find more lines in it.
      {"X: y\rContent-ID: <a@b>\r\rbody\n", true},
      {"X: y\rContent-ID: <a@b>", true},
      // And may go on behind what is no field.
      {"Content-Type: text/plain\nno field\nContent-ID: <a@b>\n\n", true},
      {" no field\nContent-ID: <a@b>\n\n", true},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(scanEntities(row.header).front().hasOtherFields, row.expected) << row.header;
  }
}

TEST(Entity, HasTheDispositionThatNeedsNoCloserLook) {
  const struct {
    const char* header;
    const char* expected;
  } rows[] = {
      {"Content-Type: text/plain\r\nContent-Disposition: inline\r\n\r\n", " inline\r"},
      {"content-disposition : attachment;\n filename=a\nX: y\n\n", " attachment;\n filename=a"},
      {"X: y\n\nContent-Disposition: inline\n", nullptr},
      {"Content-Disposition: inline\nContent-Disposition: attachment\n\n", nullptr},
      {"Content-Disposition: inline\nContent-ID: <a@b>\n\n", nullptr},
      {"Content-Description: a\nContent-Disposition: inline\n\n", nullptr},
      {"Content-Disposition: inline\n \nX: y\n\n", nullptr},
      {"Content-Disposition: inline\nno field\nTo: a\n\n", nullptr},
      {"X: y\rContent-Disposition: inline\n\n", nullptr},
  };
  for (const auto& row : rows) {
    const std::vector<Entity> entities = scanEntities(row.header);
    const std::string_view found = entities.front().disposition;
    EXPECT_EQ(found.data() == nullptr, row.expected == nullptr) << row.header;
    EXPECT_EQ(found, row.expected == nullptr ? std::string_view() : row.expected) << row.header;
  }
}

TEST(Entity, ReadsMediaTypesAndEncodings) {
  EXPECT_EQ(mediaTypeOf(" (a) Text (b) / (c) HTML (d); x=y").subtype, "HTML");
  EXPECT_EQ(mediaTypeOf("text").type, "text");
  EXPECT_EQ(mediaTypeOf("text;charset=x").subtype, "");
  EXPECT_EQ(mediaTypeOf("").type, "");
  EXPECT_EQ(transferEncodingOf(" (c) BASE64 (d)"), TransferEncoding::Base64);
  EXPECT_EQ(transferEncodingOf("Quoted-Printable;"), TransferEncoding::QuotedPrintable);
  EXPECT_EQ(transferEncodingOf("x-uue"), TransferEncoding::Uuencode);
  EXPECT_EQ(transferEncodingOf("\"base64\""), TransferEncoding::Base64);
  EXPECT_EQ(transferEncodingOf("klingon"), TransferEncoding::Identity);
  EXPECT_EQ(transferEncodingOf(""), TransferEncoding::Identity);
}

// Parts that need nothing from around them read the same alone.
TEST(EntitiesBelow, AreThoseOfTheEntityAlone) {
  const std::string mail =
      "Content-Type: multipart/mixed; boundary=a\r\n\r\n--a\r\nContent-Type: text/plain\r\n\r\none"
      "\r\n--a\r\nContent-Type: multipart/digest; boundary=b\r\n\r\n--b\r\n\r\nSubject: "
      "x\r\n\r\ntwo"
      "\r\n--b\r\n\r\nSubject: y\r\n\r\nthree\r\n--b--\r\n--a\r\nContent-Type: message/rfc822\r\n"
      "Content-Transfer-Encoding: 8bit\r\n\r\nContent-Type: multipart/mixed; "
      "boundary=a\r\n\r\n--a\r\n\r\n"
      "four\r\n--a--\r\n";
  const std::vector<Entity> entities = scanEntities(mail);
  ASSERT_EQ(entities.size(), 10U);
  for (std::uint32_t root = 0; root < entities.size(); ++root) {
    if (entities[root].inDigest) {
      continue;
    }
    const std::vector<Entity> below = entitiesBelow(entities, root);
    const std::size_t start = entities[root].header;
    const std::vector<Entity> alone =
        scanEntities(std::string_view(mail).substr(start, entities[root].end - start));
    ASSERT_EQ(below.size(), alone.size()) << root;
    for (std::size_t i = 0; i < below.size(); ++i) {
      EXPECT_EQ(below[i].header, alone[i].header);
      EXPECT_EQ(below[i].body, alone[i].body);
      EXPECT_EQ(below[i].end, alone[i].end);
      EXPECT_EQ(below[i].contentType, alone[i].contentType);
      EXPECT_EQ(below[i].encoding, alone[i].encoding);
      EXPECT_EQ(below[i].parent, alone[i].parent);
      EXPECT_EQ(below[i].firstChild, alone[i].firstChild);
      EXPECT_EQ(below[i].nextSibling, alone[i].nextSibling);
      EXPECT_EQ(below[i].depth, alone[i].depth);
      EXPECT_EQ(below[i].kind, alone[i].kind);
      EXPECT_EQ(below[i].isDigest, alone[i].isDigest);
      EXPECT_EQ(below[i].inDigest, alone[i].inDigest);
    }
  }
}

}  // namespace
}  // namespace brennox::mime
