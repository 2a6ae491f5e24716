#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/Data.h>
#include <brennox/HashMap.h>
#include <brennox/IndexSet.h>
#include <brennox/String.h>
#include <brennox/Value.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

namespace brennox {
namespace {

class Counted : public Object {
 public:
  explicit Counted(int* alive) : alive_(alive) { ++*alive_; }
  ~Counted() override { --*alive_; }

 private:
  int* alive_;
};

TEST(Object, IsDeletedByItsLastRelease) {
  int alive = 0;
  Object* object = new Counted(&alive);
  object->retain();
  object->release();
  EXPECT_EQ(alive, 1);
  object->release();
  EXPECT_EQ(alive, 0);
}

TEST(AutoreleasePool, ReleasesAtTheEndOfItsScopeOnly) {
  int alive = 0;
  {
    AutoreleasePool outer;
    makeAutoreleased<Counted>(&alive);
    {
      AutoreleasePool inner;
      makeAutoreleased<Counted>(&alive);
      EXPECT_EQ(alive, 2);
    }
    EXPECT_EQ(alive, 1);
  }
  EXPECT_EQ(alive, 0);
}

TEST(AutoreleasePool, AMissingPoolLeaksInsteadOfCrashing) {
  int alive = 0;
  Object* leaked = nullptr;
  std::thread([&] { leaked = makeAutoreleased<Counted>(&alive); }).join();
  EXPECT_EQ(alive, 1);
  leaked->release();
}

TEST(Object, CountsAreSafeAcrossThreads) {
  int alive = 0;
  Object* object = new Counted(&alive);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([object] {
      for (int k = 0; k < 10000; ++k) {
        object->retain();
        object->release();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(object->retainCount(), 1);
  object->release();
  EXPECT_EQ(alive, 0);
}

TEST(String, UniquedTextsShareOneObject) {
  AutoreleasePool pool;
  EXPECT_EQ(String::uniquedStringWithUTF8Characters("X-A"),
            String::uniquedStringWithUTF8Characters("X-A"));
  EXPECT_EQ(String::uniquedStringWithUTF8Characters(nullptr)->view(), "");
}

TEST(Data, SlicesShareTheBlockAndAreClamped) {
  AutoreleasePool pool;
  Data* data = Data::dataWithBytes("abcdef", 6);
  Data* slice = data->subdata(2, 100);
  EXPECT_EQ(slice->view(), "cdef");
  EXPECT_EQ(slice->bytes(), data->bytes() + 2);
  EXPECT_EQ(data->subdata(9, 1)->length(), 0U);
}

TEST(Data, EncodesBase64WithPadding) {
  AutoreleasePool pool;
  EXPECT_EQ(Data::data()->base64String()->view(), "");
  EXPECT_EQ(Data::dataWithBytes("a", 1)->base64String()->view(), "YQ==");
  EXPECT_EQ(Data::dataWithBytes("ab", 2)->base64String()->view(), "YWI=");
  EXPECT_EQ(Data::dataWithBytes("abc", 3)->base64String()->view(), "YWJj");
}

class DataFile : public testing::Test {
 protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() /
              ("brennox-core-" + std::to_string(reinterpret_cast<std::uintptr_t>(this)));
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::size_t entries() const {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder_), {}));
  }

  AutoreleasePool pool_;
  std::filesystem::path folder_;
};

TEST_F(DataFile, IsWrittenWholeAndReadBack) {
  String* path = String::stringWithText((folder_ / "имя.bin").string());
  const std::string bytes("\0\r\n\n\xff", 5);
  EXPECT_EQ(Data::dataWithBytes(bytes.data(), bytes.size())->writeToFile(path), ErrorNone);
  EXPECT_EQ(Data::dataWithContentsOfFile(path)->view(), bytes);
  EXPECT_EQ(entries(), 1U);
}

TEST_F(DataFile, AFailedWriteLeavesNothingBehind) {
  std::filesystem::create_directory(folder_ / "taken");
  String* path = String::stringWithText((folder_ / "taken").string());
  EXPECT_EQ(Data::dataWithBytes("x", 1)->writeToFile(path), ErrorFile);
  EXPECT_EQ(Data::data()->writeToFile(String::string()), ErrorFile);
  EXPECT_EQ(Data::data()->writeToFile(String::stringWithText(std::string_view("a\0b", 3))),
            ErrorFile);
  EXPECT_EQ(entries(), 1U);
}

TEST_F(DataFile, AMissingFileReadsAsNull) {
  EXPECT_EQ(Data::dataWithContentsOfFile(String::stringWithText((folder_ / "none").string())),
            nullptr);
  EXPECT_EQ(Data::dataWithContentsOfFile(String::stringWithText(folder_.string())), nullptr);
}

TEST(IndexSet, MergesTouchingRangesAndKeepsOrder) {
  AutoreleasePool pool;
  IndexSet* set = IndexSet::indexSet();
  set->addRange(RangeMake(10, 2));
  set->addIndex(3);
  set->addIndex(4);
  set->addRange(RangeMake(5, 3));
  EXPECT_EQ(set->description()->view(), "3:8,10:12");
  set->addIndex(9);
  EXPECT_EQ(set->description()->view(), "3:12");
  set->removeRange(RangeMake(5, 1));
  EXPECT_EQ(set->description()->view(), "3:4,7:12");
  EXPECT_EQ(set->count(), 8U);
  EXPECT_TRUE(set->containsIndex(12));
  EXPECT_FALSE(set->containsIndex(6));
}

TEST(IndexSet, ReachesTheLastIndexAndDropsInvertedRanges) {
  AutoreleasePool pool;
  IndexSet* set = IndexSet::indexSetWithRange(RangeMake(1, kRangeToTheEnd));
  EXPECT_EQ(set->description()->view(), "1:*");
  EXPECT_TRUE(set->containsIndex(kRangeToTheEnd - 1));
  EXPECT_EQ(IndexSet::indexSetWithRange(RangeMake(10, std::uint64_t{5} - 10))->rangesCount(), 0U);
  EXPECT_EQ(IndexSet::indexSetWithRange(RangeEmpty)->rangesCount(), 0U);
}

TEST(HashMap, FindsByValueOfTheKey) {
  AutoreleasePool pool;
  HashMap* map = HashMap::hashMap();
  map->setObjectForKey(Value::valueWithUnsignedIntValue(7), String::stringWithText("a"));
  map->setObjectForKey(Value::valueWithUnsignedIntValue(7), String::stringWithText("b"));
  EXPECT_EQ(map->count(), 1U);
  EXPECT_EQ(map->objectForKey(Value::valueWithUnsignedIntValue(7))->description()->view(), "b");
  EXPECT_EQ(map->objectForKey(Value::valueWithIntValue(7)), nullptr);
}

TEST(Array, AddsItselfOnceMore) {
  AutoreleasePool pool;
  Array* array = Array::arrayWithObject(String::stringWithText("x"));
  array->addObject(nullptr);
  array->addObjectsFromArray(array);
  EXPECT_EQ(array->description()->view(), "[x,x]");
  EXPECT_EQ(array->objectAtIndex(2), nullptr);
}

}  // namespace
}  // namespace brennox
