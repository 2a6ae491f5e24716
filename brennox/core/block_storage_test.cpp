#include "core/block_storage.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <thread>
#include <vector>

namespace brennox {
namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

// More than all that can be kept leaves no room for anything that earlier tests left behind.
void releaseAll() {
  freeStorage(allocateStorage(kKeptStorage + 1));
}

class BlockStorageTest : public testing::Test {
 protected:
  void SetUp() override {
    releaseAll();
    const BlockStorage probe = allocateStorage(kMiB);
    freeStorage(probe);
    if (keptStorage() == 0) {
      GTEST_SKIP() << "built for a sanitizer: storage comes from the heap";
    }
    releaseAll();
    ASSERT_EQ(keptStorage(), 0U);
  }
};

TEST_F(BlockStorageTest, KeepsOnlyLargeStorage) {
  freeStorage(allocateStorage(kLargeBlock - 1));
  EXPECT_EQ(keptStorage(), 0U);
  freeStorage(allocateStorage(kLargeBlock));
  EXPECT_EQ(keptStorage(), kLargeBlock);
  freeStorage(allocateStorage(0));
}

TEST_F(BlockStorageTest, EndsWithALargePageThatItNearlyFills) {
  constexpr struct {
    std::size_t size;
    std::size_t capacity;
  } kRows[] = {
      {kMiB, kMiB},           {kMiB * 8 / 5, kMiB * 26 / 16},       {kMiB * 13 / 8, 2 * kMiB},
      {4 * kMiB, 4 * kMiB},   {4 * kMiB + 1, 4 * kMiB + kMiB / 16}, {5 * kMiB, 6 * kMiB},
      {25 * kMiB, 26 * kMiB},
  };
  for (const auto& row : kRows) {
    const BlockStorage storage = allocateStorage(row.size);
    EXPECT_EQ(storage.capacity, row.capacity) << row.size;
    std::memset(storage.bytes, 1, storage.capacity);
    freeStorage(storage);
    releaseAll();
  }
}

TEST_F(BlockStorageTest, GivesWhatFitsBest) {
  const BlockStorage five = allocateStorage(5 * kMiB);
  BlockStorage four = allocateStorage(4 * kMiB + 5);
  // Neighbours would become one piece: those that the system happens to put side by side are held.
  std::vector<BlockStorage> held;
  while (four.bytes + four.capacity == five.bytes || five.bytes + five.capacity == four.bytes) {
    held.push_back(four);
    four = allocateStorage(4 * kMiB + 5);
  }
  freeStorage(four);
  freeStorage(five);
  const BlockStorage again = allocateStorage(4 * kMiB);
  EXPECT_EQ(again.bytes, four.bytes);
  EXPECT_EQ(again.capacity, four.capacity);
  EXPECT_EQ(keptStorage(), five.capacity);
  freeStorage(again);
  for (const BlockStorage& storage : held) {
    freeStorage(storage);
  }
}

TEST_F(BlockStorageTest, LeavesLittleUnused) {
  freeStorage(allocateStorage(5 * kMiB + 1));
  const BlockStorage small = allocateStorage(4 * kMiB);
  EXPECT_EQ(small.capacity, 4 * kMiB);
  freeStorage(small);
}

TEST_F(BlockStorageTest, CutsWhatIsTooLarge) {
  const BlockStorage large = allocateStorage(20 * kMiB);
  freeStorage(large);
  const BlockStorage first = allocateStorage(6 * kMiB);
  const BlockStorage second = allocateStorage(7 * kMiB);
  EXPECT_EQ(first.bytes, large.bytes);
  EXPECT_EQ(first.capacity, 6 * kMiB);
  EXPECT_EQ(second.bytes, large.bytes + 6 * kMiB);
  EXPECT_EQ(second.capacity, 8 * kMiB);
  EXPECT_EQ(keptStorage(), 6 * kMiB);
  // Whatever comes back first, the whole serves again.
  freeStorage(first);
  freeStorage(second);
  EXPECT_EQ(keptStorage(), 20 * kMiB);
  const BlockStorage again = allocateStorage(20 * kMiB);
  EXPECT_EQ(again.bytes, large.bytes);
  EXPECT_EQ(again.capacity, large.capacity);
  std::memset(again.bytes, 1, again.capacity);
  freeStorage(again);
}

// Blocks of all sizes that come and go share pages, and nobody gets what another one holds.
TEST_F(BlockStorageTest, PiecesNeverOverlap) {
  std::mt19937 random(3);
  struct Owned {
    BlockStorage storage;
    char mark;
  };
  std::vector<Owned> all;
  for (int round = 0; round < 3000; ++round) {
    if (all.size() < 12 && random() % 2 == 0) {
      const std::size_t size = kLargeBlock + random() % (9 * kMiB);
      const BlockStorage storage = allocateStorage(size);
      ASSERT_GE(storage.capacity, size);
      const char mark = static_cast<char>(round);
      for (std::size_t at = 0; at < storage.capacity; at += kMiB / 4) {
        storage.bytes[at] = mark;
      }
      storage.bytes[storage.capacity - 1] = mark;
      all.push_back({storage, mark});
    } else if (!all.empty()) {
      std::swap(all[random() % all.size()], all.back());
      const auto [storage, mark] = all.back();
      for (std::size_t at = 0; at < storage.capacity; at += kMiB / 4) {
        ASSERT_EQ(storage.bytes[at], mark);
      }
      ASSERT_EQ(storage.bytes[storage.capacity - 1], mark);
      freeStorage(storage);
      all.pop_back();
    }
    ASSERT_LE(keptStorage(), kKeptStorage);
  }
  for (const Owned& owned : all) {
    freeStorage(owned.storage);
  }
}

TEST_F(BlockStorageTest, MakesRoomForWhatItCannotServe) {
  for (const std::size_t size : {2 * kMiB, 3 * kMiB, 20 * kMiB}) {
    const BlockStorage other = allocateStorage(10 * kMiB);
    const BlockStorage storage = allocateStorage(size);
    freeStorage(storage);
    EXPECT_EQ(keptStorage(), size);
    freeStorage(allocateStorage(size + size));
    EXPECT_EQ(keptStorage(), size + size);
    freeStorage(other);
    releaseAll();
  }
}

TEST_F(BlockStorageTest, KeepsWithinItsBound) {
  std::vector<BlockStorage> all;
  for (int i = 0; i < 100; ++i) {
    all.push_back(allocateStorage(kMiB + static_cast<std::size_t>(i) * kMiB / 4));
  }
  for (const BlockStorage& storage : all) {
    freeStorage(storage);
    EXPECT_LE(keptStorage(), kKeptStorage);
  }
  EXPECT_GE(keptStorage(), kKeptStorage / 2);
  freeStorage(allocateStorage(kKeptStorage));
  EXPECT_EQ(keptStorage(), kKeptStorage);
}

TEST_F(BlockStorageTest, RefusesWhatNobodyHas) {
  EXPECT_EQ(allocateStorage(SIZE_MAX).bytes, nullptr);
  EXPECT_EQ(allocateStorage(SIZE_MAX / 2).bytes, nullptr);
}

TEST_F(BlockStorageTest, ServesThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([number] {
      for (std::size_t round = 0; round < 200; ++round) {
        const std::size_t size = kMiB + round % 7 * 100000;
        const BlockStorage storage = allocateStorage(size);
        ASSERT_NE(storage.bytes, nullptr);
        ASSERT_GE(storage.capacity, size);
        // Nobody else may hold the same pages meanwhile.
        std::memset(storage.bytes, number, 1);
        std::memset(storage.bytes + size - 1, number, 1);
        std::this_thread::yield();
        ASSERT_EQ(storage.bytes[0], number);
        ASSERT_EQ(storage.bytes[size - 1], number);
        freeStorage(storage);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace
}  // namespace brennox
