#include "text/quoted_printable.h"

#include <gtest/gtest.h>

#include <random>

namespace brennox::text {
namespace {

std::string encoded(std::string_view bytes) {
  std::string out;
  quotedPrintableEncode(bytes, out);
  return out;
}

TEST(QuotedPrintable, DecodesEscapesSoftBreaksAndWhatIsNeither) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"", ""},
      {"plain", "plain"},
      {"=D0=9F=D1=80", "Пр"},
      {"=d0=9f", "П"},
      {"a=20b", "a b"},
      {"soft=\r\nbreak", "softbreak"},
      {"soft=\nbreak", "softbreak"},
      {"soft=  \t\r\nbreak", "softbreak"},
      {"end=", "end"},
      {"end= ", "end"},
      {"bad=ZZ", "bad=ZZ"},
      {"bad=4", "bad=4"},
      {"a=b=3D", "a=b="},
      {"==41", "=A"},
      {"trailing  \r\nnext\t\nlast  ", "trailing\r\nnext\nlast"},
      {"kept=20\r\nnext", "kept \r\nnext"},
      {"kept =20 \r\nnext", "kept  \r\nnext"},
      {"=0D=0A", "\r\n"},
      {"blank =\r\n next", "blank  next"},
      {"x\r\n\r\ny", "x\r\n\r\ny"},
      {"raw \xE9 byte", "raw \xE9 byte"},
  };
  for (const auto& [text, bytes] : cases) {
    EXPECT_EQ(quotedPrintableDecode(text), bytes) << text;
  }
}

TEST(QuotedPrintable, EscapesWhatTheWayMayHarm) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"", ""},
      {"plain text", "plain text"},
      {"a=b", "a=3Db"},
      {"é", "=C3=A9"},
      {"blank \r\nx", "blank=20\r\nx"},
      {"tab\t", "tab=09"},
      {"a\nb\rc", "a=0Ab=0Dc"},
      {".\r\n.x", "=2E\r\n=2Ex"},
      {"From me\r\nFrom you", "=46rom me\r\n=46rom you"},
      {"Fromage", "Fromage"},
      {std::string_view("\0", 1), "=00"},
  };
  for (const auto& [bytes, text] : cases) {
    EXPECT_EQ(encoded(bytes), text);
  }
}

TEST(QuotedPrintable, LinesStayWithinTheirLength) {
  for (std::size_t length = 70; length < 160; ++length) {
    for (const std::string_view end : {"", "\r\n", "\r\nFrom x", " \r\n", "é", "é\r\n", "."}) {
      const std::string bytes = std::string(length, 'a') + std::string(end);
      const std::string text = encoded(bytes);
      ASSERT_EQ(quotedPrintableDecode(text), bytes);
      std::size_t start = 0;
      while (start <= text.size()) {
        const std::size_t lineEnd = std::min(text.find("\r\n", start), text.size());
        ASSERT_LE(lineEnd - start, 76U) << text;
        start = lineEnd + 2;
      }
    }
  }
}

TEST(QuotedPrintable, NoCharacterIsDividedBetweenLines) {
  std::string bytes;
  for (int i = 0; i < 200; ++i) {
    bytes += i % 3 == 0 ? "€" : i % 3 == 1 ? "é" : "x";
  }
  const std::string text = encoded(bytes);
  for (std::size_t at = text.find("=\r\n"); at != std::string::npos;
       at = text.find("=\r\n", at + 1)) {
    const std::string next = text.substr(at + 3, 2);
    EXPECT_FALSE(next.front() == '=' && next.back() >= '8' && next.back() <= 'B') << next;
  }
  EXPECT_EQ(quotedPrintableDecode(text), bytes);
}

TEST(QuotedPrintable, AnyBytesComeBack) {
  std::mt19937 random(3);
  constexpr std::string_view kFavourites = "= \t\r\n.FromA\xC3\xA9";
  for (int round = 0; round < 5000; ++round) {
    std::string bytes;
    const std::size_t length = random() % 300;
    while (bytes.size() < length) {
      bytes += random() % 4 == 0 ? static_cast<char>(random())
                                 : kFavourites[random() % kFavourites.size()];
    }
    ASSERT_EQ(quotedPrintableDecode(encoded(bytes)), bytes) << testing::PrintToString(bytes);
  }
}

TEST(QuotedPrintable, TheEstimatedLengthLeavesOutSoftBreaksOnly) {
  EXPECT_EQ(quotedPrintableLength("a\xC3\xA9\r\n\n"), 1U + 6 + 2 + 3);
}

}  // namespace
}  // namespace brennox::text
