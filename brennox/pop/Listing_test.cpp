#include "pop/Listing.h"

#include <gtest/gtest.h>

#include <string>

namespace brennox::pop {
namespace {

std::string textOf(const Listing& listing) {
  std::string text;
  for (const Entry& entry : listing.entries()) {
    text += std::to_string(entry.index) + ":" + std::to_string(entry.size) + ":" + entry.uid + " ";
  }
  return text;
}

TEST(PopListing, JoinsSizesAndIdentifiers) {
  Listing listing;
  for (const char* line : {"1 10", "2 20", "3 30"}) {
    EXPECT_TRUE(listing.addSize(line));
  }
  for (const char* line : {"1 a", "2 b", "3 c"}) {
    EXPECT_TRUE(listing.addUid(line));
  }
  EXPECT_EQ(textOf(listing), "1:10:a 2:20:b 3:30:c ");
  EXPECT_EQ(listing.find(2)->uid, "b");
  EXPECT_EQ(listing.find(0), nullptr);
  EXPECT_EQ(listing.find(4), nullptr);
  listing.clear();
  EXPECT_EQ(listing.find(2), nullptr);
}

TEST(PopListing, KeepsTheServersOrderAndNumbers) {
  Listing listing;
  // Deleted messages are missing, numbers jump and come twice, one command knows more than the
  // other.
  for (const char* line : {"4 40", "2 20", "9 90", "4 41", "3 30"}) {
    EXPECT_TRUE(listing.addSize(line));
  }
  for (const char* line : {"9 i", "7 g", "4 d", "2 b"}) {
    EXPECT_TRUE(listing.addUid(line));
  }
  EXPECT_EQ(textOf(listing), "4:41:d 2:20:b 9:90:i 3:30: 7:0:g ");
  for (const Entry& entry : listing.entries()) {
    EXPECT_EQ(listing.find(entry.index), &entry);
  }
}

TEST(PopListing, PassesOverLinesWithoutSense) {
  Listing listing;
  for (const char* line : {"", "x", "1", "0 5", "-1 5", "1 five"}) {
    EXPECT_TRUE(listing.addSize(line)) << line;
  }
  for (const char* line : {"", "2", "0 a"}) {
    EXPECT_TRUE(listing.addUid(line)) << line;
  }
  EXPECT_TRUE(listing.entries().empty());
}

TEST(PopListing, EndsAtItsBound) {
  Listing listing;
  for (std::size_t i = 1; i <= kMaxMessages; ++i) {
    ASSERT_TRUE(listing.addSize(std::to_string(i) + " 1"));
  }
  EXPECT_TRUE(listing.addUid("1 known"));
  EXPECT_FALSE(listing.addUid(std::to_string(kMaxMessages + 1) + " new"));
  EXPECT_EQ(listing.entries().size(), kMaxMessages);
}

}  // namespace
}  // namespace brennox::pop
