#include <brennox/Object.h>
#include <brennox/Ref.h>
#include <brennox/RunLoop.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace brennox {
namespace {

using std::chrono::milliseconds;
constexpr milliseconds kInterval{20};

// The run loop of a thread that has ended.
Ref<RunLoop> loopOfEndedThread(const std::function<void(RunLoop*)>& before) {
  Ref<RunLoop> loop;
  std::thread([&] {
    loop = Ref<RunLoop>(RunLoop::current());
    before(loop.get());
  }).join();
  return loop;
}

TEST(RunLoop, AsksAgainAtEachInterval) {
  int asked = 0;
  RunLoop::current()->runUntil([&] { return ++asked == 3; }, milliseconds(1));
  EXPECT_EQ(asked, 3);
}

TEST(RunLoop, RunsInTheOrderOfPosting) {
  constexpr int kPosts = 20000;
  RunLoop* const loop = RunLoop::current();
  std::vector<int> ran;
  std::thread([&] {
    for (int i = 0; i < kPosts; ++i) {
      ASSERT_TRUE(loop->post([&ran, i] { ran.push_back(i); }));
    }
  }).join();
  EXPECT_TRUE(ran.empty());
  loop->runUntil([&] { return ran.size() == kPosts; }, kInterval);
  for (int i = 0; i < kPosts; ++i) {
    ASSERT_EQ(ran[static_cast<std::size_t>(i)], i);
  }
}

TEST(RunLoop, TakesWorkFromManyThreads) {
  constexpr int kThreads = 8;
  constexpr int kPosts = 500;
  RunLoop* const loop = RunLoop::current();
  const std::thread::id owner = std::this_thread::get_id();
  int ran = 0;
  int elsewhere = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kPosts; ++i) {
        loop->post([&] {
          ++ran;
          elsewhere += std::this_thread::get_id() == owner ? 0 : 1;
        });
      }
    });
  }
  loop->runUntil([&] { return ran == kThreads * kPosts; }, kInterval);
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(elsewhere, 0);
}

TEST(RunLoop, WakesUpForWork) {
  RunLoop* const loop = RunLoop::current();
  bool ran = false;
  std::thread other([&] {
    std::this_thread::sleep_for(milliseconds(50));
    loop->post([&] { ran = true; });
  });
  const auto start = std::chrono::steady_clock::now();
  loop->runUntil([&] { return ran; }, std::chrono::seconds(30));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  other.join();
}

TEST(RunLoop, RunsWorkThatWorkPosts) {
  RunLoop* const loop = RunLoop::current();
  int depth = 0;
  std::function<void()> again = [&] {
    if (++depth < 100) {
      loop->post(again);
    }
  };
  loop->post(again);
  loop->runUntil([&] { return depth == 100; }, kInterval);
  EXPECT_EQ(depth, 100);
}

TEST(RunLoop, RunsInsideItself) {
  RunLoop* const loop = RunLoop::current();
  bool inner = false;
  bool outer = false;
  loop->post([&] {
    loop->post([&] { inner = true; });
    loop->runUntil([&] { return inner; }, kInterval);
    outer = true;
  });
  loop->runUntil([&] { return outer; }, kInterval);
  EXPECT_TRUE(inner);
}

TEST(RunLoop, PassesAnExceptionOn) {
  RunLoop* const loop = RunLoop::current();
  bool after = false;
  loop->post([] { throw std::runtime_error("of the work"); });
  loop->post([&] { after = true; });
  EXPECT_THROW(loop->runUntil([&] { return after; }, kInterval), std::runtime_error);
  loop->runUntil([&] { return after; }, kInterval);
}

TEST(RunLoop, PassesAnExceptionOnThroughItself) {
  RunLoop* const loop = RunLoop::current();
  bool caught = false;
  loop->post([&] {
    loop->post([] { throw std::runtime_error("of the inner work"); });
    try {
      loop->runUntil([] { return false; }, kInterval);
    } catch (const std::runtime_error&) {
      caught = true;
      throw;
    }
  });
  EXPECT_THROW(loop->runUntil([] { return false; }, kInterval), std::runtime_error);
  EXPECT_TRUE(caught);
}

TEST(RunLoop, DropsWhatIsQueuedWhenItsThreadEnds) {
  const auto token = std::make_shared<int>(1);
  const Ref<RunLoop> loop = loopOfEndedThread([&](RunLoop* own) {
    for (int i = 0; i < 10; ++i) {
      EXPECT_TRUE(own->post([token] { ADD_FAILURE() << "ran"; }));
    }
    EXPECT_EQ(token.use_count(), 11);
  });
  EXPECT_EQ(token.use_count(), 1);
}

TEST(RunLoop, RefusesWorkWhenItsThreadHasEnded) {
  const Ref<RunLoop> loop = loopOfEndedThread([](RunLoop*) {});
  const auto token = std::make_shared<int>(1);
  EXPECT_FALSE(loop->post([token] {}));
  EXPECT_EQ(token.use_count(), 1);
}

TEST(RunLoop, TakesOrRefusesWorkWhileItsThreadEnds) {
  for (int round = 0; round < 50; ++round) {
    std::promise<Ref<RunLoop>> made;
    std::thread owner([&] { made.set_value(Ref<RunLoop>(RunLoop::current())); });
    const Ref<RunLoop> loop = made.get_future().get();
    const auto token = std::make_shared<int>(1);
    while (loop->post([token] {})) {
    }
    owner.join();
    EXPECT_EQ(token.use_count(), 1);
  }
}

TEST(RunLoop, IsOneForEachThread) {
  RunLoop* const own = RunLoop::current();
  EXPECT_EQ(RunLoop::current(), own);
  const Ref<RunLoop> other =
      loopOfEndedThread([&](RunLoop* loop) { EXPECT_EQ(RunLoop::current(), loop); });
  EXPECT_NE(other.get(), own);
}

// What a thread keeps for itself is there until its destructor has run.
TEST(ThreadLocal, IsDestroyedBeforeItsMemoryGoes) {
  struct Kept {
    std::vector<int> values{1, 2, 3};
    std::vector<int>* last = nullptr;
    ~Kept() { *last = values; }
  };
  for (int round = 0; round < 20; ++round) {
    std::vector<int> last;
    std::thread([&] {
      thread_local Kept kept;
      kept.last = &last;
      kept.values.push_back(4);
    }).join();
    EXPECT_EQ(last, (std::vector<int>{1, 2, 3, 4}));
  }
}

}  // namespace
}  // namespace brennox
