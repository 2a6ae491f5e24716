#include "core/unique_token.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace brennox::core {
namespace {

TEST(UniqueToken, IsNeverTheSame) {
  std::set<std::string> seen;
  for (int i = 0; i < 100000; ++i) {
    EXPECT_TRUE(seen.insert(uniqueToken()).second);
  }
}

TEST(UniqueToken, HasDigitsAndLowerCaseLetters) {
  for (int i = 0; i < 1000; ++i) {
    const std::string token = uniqueToken();
    EXPECT_EQ(token.size(), 24U);
    EXPECT_EQ(token.find_first_not_of("0123456789abcdefghijklmnopqrstuv"), std::string::npos);
  }
}

}  // namespace
}  // namespace brennox::core
