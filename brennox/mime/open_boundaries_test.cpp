#include "mime/open_boundaries.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace brennox::mime {
namespace {

// With few open, with many, and on the way between.
TEST(OpenBoundaries, FindsTheInnermostOfAName) {
  std::mt19937 random(1);
  OpenBoundaries boundaries;
  std::vector<std::pair<std::string, std::uint32_t>> all;
  for (std::uint32_t step = 0; step < 20'000; ++step) {
    const bool grows = step / 100 % 2 == 0;
    if (all.empty() || (all.size() < 400 && random() % 10 < (grows ? 7U : 3U))) {
      all.emplace_back("b" + std::to_string(random() % 50), step);
      boundaries.push(step, all.back().first);
    } else {
      all.pop_back();
      boundaries.pop();
    }
    ASSERT_EQ(boundaries.empty(), all.empty());
    const std::string name = "b" + std::to_string(random() % 60);
    std::uint32_t wanted = kNoEntity;
    std::size_t longest = 0;
    for (const auto& [boundary, entity] : all) {
      wanted = boundary == name ? entity : wanted;
      longest = std::max(longest, boundary.size());
    }
    ASSERT_EQ(boundaries.find(name), wanted) << step;
    ASSERT_EQ(boundaries.longest(), longest);
    if (!all.empty()) {
      ASSERT_EQ(boundaries.innermost(), all.back().second);
    }
  }
}

}  // namespace
}  // namespace brennox::mime
