#include "text/scan.h"

#include <gtest/gtest.h>

#include <string>

namespace brennox::text {
namespace {

TEST(Scanner, FindsEachOfItsCharactersAndNoOther) {
  for (const std::string_view set :
       {"\r\n&<>:@wW", "=\n", "\t", "\x7F~\x01", "0@P`p", "\n\xC2", "\xFF"}) {
    const Scanner scanner{CharacterSet(set)};
    for (unsigned byte = 0; byte < 256; ++byte) {
      // At each place of a vector and behind the last one.
      for (const std::size_t at : {0, 1, 31, 32, 63, 64, 70}) {
        std::string text(71, '\xD0');
        text[at] = static_cast<char>(byte);
        const bool isIn = set.find(text[at]) != std::string_view::npos;
        const std::size_t wanted = isIn ? at : text.size();
        EXPECT_EQ(scanner.find(text), wanted) << byte << " at " << at;
        std::string copy(text.size() + Scanner::kOverhang, '\0');
        EXPECT_EQ(scanner.copyRun(text, copy.data()), wanted) << byte << " at " << at;
        EXPECT_EQ(copy.substr(0, wanted), text.substr(0, wanted));
      }
    }
  }
}

TEST(Scanner, StartsWhereItIsTold) {
  constexpr Scanner kScanner(CharacterSet("x"));
  const std::string text = "x" + std::string(40, '-') + "x" + std::string(3, '-') + "x";
  EXPECT_EQ(kScanner.find(text), 0U);
  EXPECT_EQ(kScanner.find(text, 1), 41U);
  EXPECT_EQ(kScanner.find(text, 42), 45U);
  EXPECT_EQ(kScanner.find(text, 46), 46U);
  EXPECT_EQ(kScanner.find(""), 0U);
}

}  // namespace
}  // namespace brennox::text
