#include "core/object_storage.h"

#include <brennox/String.h>
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

namespace brennox {
namespace {

constexpr std::size_t kSize = 96;

// Runs on a thread of its own, which keeps nothing yet.
template <class Function>
void onFreshThread(Function function) {
  std::thread(function).join();
}

bool isKept() {
  bool kept = false;
  onFreshThread([&] {
    freeObject(allocateObject(kSize), kSize);
    kept = keptObjects() != 0;
  });
  return kept;
}

class ObjectStorage : public testing::Test {
 protected:
  void SetUp() override {
    if (!isKept()) {
      GTEST_SKIP() << "a sanitizer wants every object from the heap";
    }
  }
};

TEST_F(ObjectStorage, NextObjectOfASizeGetsTheBlockThatWasGivenBack) {
  onFreshThread([] {
    void* const block = allocateObject(kSize);
    freeObject(block, kSize);
    EXPECT_EQ(keptObjects(), kSize);
    EXPECT_EQ(allocateObject(kSize), block);
    EXPECT_EQ(keptObjects(), 0U);
    freeObject(block, kSize);
  });
}

TEST_F(ObjectStorage, SizesOfOneStepShareBlocks) {
  onFreshThread([] {
    void* const block = allocateObject(kSize - 15);
    freeObject(block, kSize - 15);
    void* const other = allocateObject(kSize);
    EXPECT_EQ(other, block);
    std::memset(other, 1, kSize);
    freeObject(other, kSize);
    void* const larger = allocateObject(kSize + 1);
    EXPECT_NE(larger, block);
    freeObject(larger, kSize + 1);
  });
}

TEST_F(ObjectStorage, ThreadsKeepTheirOwn) {
  onFreshThread([] {
    void* const block = allocateObject(kSize);
    onFreshThread([block] {
      freeObject(block, kSize);
      EXPECT_EQ(keptObjects(), kSize);
    });
    EXPECT_EQ(keptObjects(), 0U);
  });
}

TEST_F(ObjectStorage, KeepsNoMoreThanItsBound) {
  onFreshThread([] {
    std::vector<void*> blocks;
    for (std::size_t bytes = 0; bytes < 2 * kKeptObjects; bytes += kSize) {
      blocks.push_back(allocateObject(kSize));
    }
    for (void* const block : blocks) {
      freeObject(block, kSize);
    }
    EXPECT_LE(keptObjects(), kKeptObjects);
    EXPECT_GT(keptObjects(), kKeptObjects - kSize);
  });
}

TEST_F(ObjectStorage, LargeObjectsAreNotKept) {
  onFreshThread([] {
    freeObject(allocateObject(100'000), 100'000);
    EXPECT_EQ(keptObjects(), 0U);
  });
}

// Made before anything is kept, so that it is destroyed after what is kept was given back.
struct LastOfAThread {
  Ref<String> text;
  ~LastOfAThread() {
    text.reset();
    EXPECT_EQ(keptObjects(), 0U);
  }
};

TEST_F(ObjectStorage, ObjectsMayOutliveWhatTheirThreadKeeps) {
  onFreshThread([] {
    thread_local LastOfAThread last;
    last.text = make<String>("text");
    make<String>("another").reset();
    EXPECT_NE(keptObjects(), 0U);
  });
}

TEST_F(ObjectStorage, ServesLibraryObjects) {
  onFreshThread([] {
    Ref<String> text = make<String>("text");
    const void* const place = text.get();
    text.reset();
    EXPECT_NE(keptObjects(), 0U);
    text = make<String>("another");
    EXPECT_EQ(static_cast<const void*>(text.get()), place);
  });
}

}  // namespace
}  // namespace brennox
