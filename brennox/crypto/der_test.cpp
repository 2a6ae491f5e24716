#include "crypto/der.h"

#include <gtest/gtest.h>

namespace brennox::crypto {
namespace {

using namespace std::string_view_literals;

TEST(Der, ReadsDefiniteLengths) {
  DerReader reader("\x04\x02hi\x05\x00"sv);
  const auto first = reader.next();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->tag, kDerOctetString);
  EXPECT_EQ(first->content, "hi");
  EXPECT_EQ(first->whole, "\x04\x02hi"sv);
  EXPECT_TRUE(reader.isNext(kDerNull));
  EXPECT_FALSE(reader.next(kDerInteger));
  EXPECT_TRUE(reader.next(kDerNull));
  EXPECT_TRUE(reader.atEnd());
  EXPECT_FALSE(reader.next());
}

TEST(Der, ReadsIndefiniteLengths) {
  DerReader reader("\x30\x80\x30\x80\x04\x01x\x00\x00\x05\x00\x00\x00\x02\x01\x07"sv);
  const auto sequence = reader.next();
  ASSERT_TRUE(sequence);
  EXPECT_EQ(sequence->content, "\x30\x80\x04\x01x\x00\x00\x05\x00"sv);
  EXPECT_TRUE(reader.next(kDerInteger));
  EXPECT_TRUE(reader.atEnd());
}

TEST(Der, RefusesWhatDoesNotFit) {
  const std::string_view rows[] = {
      ""sv,
      "\x04"sv,
      "\x04\x02h"sv,
      "\x04\x81"sv,
      "\x04\x84\xFF\xFF\xFF\xFF"sv,
      "\x04\x88\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFFx"sv,
      "\x04\x89\x00\x00\x00\x00\x00\x00\x00\x00\x01x"sv,
      "\x1F\x01x"sv,          // a tag number above 30
      "\x04\x80x\x00\x00"sv,  // a primitive value has a length
      "\x30\x80\x04\x01x"sv,  // no end marker
      "\x30\x80\x04\x05x\x00\x00"sv,
  };
  for (const std::string_view row : rows) {
    EXPECT_FALSE(DerReader(row).next()) << row.size();
  }
}

TEST(Der, BoundsTheDepthOfIndefiniteLengths) {
  const auto nested = [](std::size_t depth) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) {
      text += "\x30\x80"sv;
    }
    for (std::size_t i = 0; i < depth; ++i) {
      text += "\x00\x00"sv;
    }
    return text;
  };
  EXPECT_TRUE(DerReader(nested(32)).next());
  EXPECT_FALSE(DerReader(nested(33)).next());
  EXPECT_FALSE(DerReader(nested(1'000'000)).next());
}

TEST(Der, JoinsStringsInPieces) {
  std::vector<std::string_view> pieces;
  const auto value = DerReader("\x24\x80\x04\x01x\x24\x04\x04\x02yz\x04\x00\x00\x00"sv).next();
  ASSERT_TRUE(value);
  ASSERT_TRUE(derOctets(*value, pieces));
  EXPECT_EQ(pieces, (std::vector<std::string_view>{"x", "yz", ""}));

  pieces.clear();
  const auto other = DerReader("\x24\x03\x02\x01x"sv).next();
  ASSERT_TRUE(other);
  EXPECT_FALSE(derOctets(*other, pieces));
}

TEST(Der, BoundsTheDepthOfStringsInPieces) {
  const auto nested = [](int depth) {
    std::string text = derWrap(kDerOctetString, "x");
    for (int i = 0; i < depth; ++i) {
      text = derWrap(kDerOctetString | kDerConstructed, text);
    }
    std::vector<std::string_view> pieces;
    return derOctets(*DerReader(text).next(), pieces);
  };
  EXPECT_TRUE(nested(5));
  EXPECT_FALSE(nested(6));
}

TEST(Der, WritesObjectIdentifiersWithDots) {
  EXPECT_EQ(derObjectIdentifierText("\x2A\x86\x48\x86\xF7\x0D\x01\x07\x02"),
            "1.2.840.113549.1.7.2");
  EXPECT_EQ(derObjectIdentifierText("\x60\x86\x48\x01\x65\x03\x04\x01\x2A"),
            "2.16.840.1.101.3.4.1.42");
  EXPECT_EQ(derObjectIdentifierText("\x88\x37"), "2.999");
  EXPECT_EQ(derObjectIdentifierText(""), "");
  EXPECT_EQ(derObjectIdentifierText("\x2A\x86"), "");      // ends inside a number
  EXPECT_EQ(derObjectIdentifierText("\x2A\x80\x01"), "");  // a number with a leading zero
  EXPECT_EQ(derObjectIdentifierText(std::string(11, '\xFF') + "\x01"), "");
  EXPECT_EQ(derObjectIdentifierText(std::string(65, '\x01')), "");
}

TEST(Der, WritesWhatItReads) {
  for (const std::size_t length : {0, 1, 127, 128, 255, 256, 65535, 65536}) {
    const std::string content(length, 'x');
    const std::string written = derWrap(kDerSequence, content);
    EXPECT_EQ(written, derHead(kDerSequence, length) + content);
    DerReader reader(written);
    const auto value = reader.next(kDerSequence);
    ASSERT_TRUE(value);
    EXPECT_TRUE(value->content == content);
    EXPECT_TRUE(reader.atEnd());
  }
}

}  // namespace
}  // namespace brennox::crypto
