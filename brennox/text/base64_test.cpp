#include "text/base64.h"

#include <gtest/gtest.h>

#include <random>

namespace brennox::text {
namespace {

std::string randomBytes(std::size_t length, unsigned seed) {
  std::mt19937 random(seed);
  std::string bytes(length, '\0');
  for (char& c : bytes) {
    c = static_cast<char>(random());
  }
  return bytes;
}

std::string encoded(std::string_view bytes) {
  std::string out(base64EncodedLength(bytes.size()), '\0');
  base64Encode(bytes, out.data());
  return out;
}

std::string encodedLines(std::string_view bytes) {
  std::string out(base64EncodedLinesLength(bytes.size()), '\0');
  base64EncodeLines(bytes, out.data());
  return out;
}

// One character at a time, straight from the definition.
std::string slowEncoded(std::string_view bytes) {
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  unsigned bits = 0;
  int count = 0;
  for (const char c : bytes) {
    bits = bits << 8 | static_cast<unsigned char>(c);
    count += 8;
    while (count >= 6) {
      count -= 6;
      out += kAlphabet[bits >> count & 63];
    }
  }
  if (count > 0) {
    out += kAlphabet[bits << (6 - count) & 63];
  }
  while (out.size() % 4 != 0) {
    out += '=';
  }
  return out;
}

TEST(Base64, EncodesAndDecodesEveryLength) {
  for (std::size_t length = 0; length < 400; ++length) {
    const std::string bytes = randomBytes(length, static_cast<unsigned>(length));
    const std::string text = encoded(bytes);
    ASSERT_EQ(text, slowEncoded(bytes));
    ASSERT_EQ(base64Decode(text), bytes) << length;
    const std::string lines = encodedLines(bytes);
    std::string expected;
    for (std::size_t i = 0; i < text.size(); i += 76) {
      expected += text.substr(i, 76) + "\r\n";
    }
    ASSERT_EQ(lines, expected);
    ASSERT_EQ(base64Decode(lines), bytes) << length;
  }
}

TEST(Base64, DecodesLinesOfAnyLengthAndEnd) {
  const std::string bytes = randomBytes(5000, 1);
  const std::string text = encoded(bytes);
  for (std::size_t length = 1; length < 200; ++length) {
    for (const std::string_view end : {"\n", "\r\n", "\r", " \r\n"}) {
      std::string lines;
      for (std::size_t i = 0; i < text.size(); i += length) {
        lines += text.substr(i, length);
        lines += end;
      }
      ASSERT_EQ(base64Decode(lines), bytes) << length;
    }
  }
}

// Every byte value at every place of a vector step.
TEST(Base64, SkipsForeignCharactersWhereverTheyStand) {
  const std::string bytes = randomBytes(171, 2);
  const std::string lines = encodedLines(bytes);
  for (std::size_t at = 0; at < lines.size(); ++at) {
    for (int value = 0; value < 256; ++value) {
      const char c = static_cast<char>(value);
      const bool alphabet = std::isalnum(value) != 0 || c == '+' || c == '/';
      if (alphabet || c == '=') {
        continue;
      }
      std::string broken = lines;
      broken.insert(at, 1, c);
      ASSERT_EQ(base64Decode(broken), bytes) << at << ' ' << value;
    }
  }
}

TEST(Base64, NeverWritesBeyondItsBound) {
  for (std::size_t length = 0; length < 300; ++length) {
    const std::string text(length, 'A');
    const std::size_t bound = base64DecodedBound(length);
    std::string out(bound + 64, '#');
    base64Decode(text, out.data());
    ASSERT_EQ(out.substr(bound), std::string(64, '#')) << length;
  }
}

TEST(Base64, ForgivesWhatSendersDoToIt) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"YWJj", "abc"},
      {"YWI=", "ab"},
      {"YWI", "ab"},
      {"YQ", "a"},
      {"Y", ""},
      {"Y Q = =", "a"},
      {"YQ==YmM=", "abc"},
      {"YQ==\r\nYmM=\r\n", "abc"},
      {"YQ==\r\nYmNk\r\n", "abcd"},
      {"Y!W#I*=", "ab"},
      {"YWI=\r\n\r\n--\r\nMailing list footer\r\n", "ab"},
      {"YWI=\r\n___________\r\nlist\r\n", "ab"},
      {"YWI=\r\nRegards\r\n", "ab"},
      {"YWI=\r\nSent from my phone", "ab"},
      {"YWI====", "ab"},
      {"====", ""},
      {"", ""},
      {"\xEF\xBB\xBFYWJj", "abc"},
  };
  for (const auto& [text, bytes] : cases) {
    EXPECT_EQ(base64Decode(text), bytes) << text;
  }
}

TEST(Base64, PaddingEverywhereIsReadInOnePass) {
  std::string text;
  for (int i = 0; i < 200000; ++i) {
    text += "YQ==";
  }
  EXPECT_EQ(base64Decode(text), std::string(200000, 'a'));
}

}  // namespace
}  // namespace brennox::text
