#include <brennox/AutoreleasePool.h>
#include <brennox/Operation.h>
#include <brennox/OperationQueue.h>
#include <brennox/Ref.h>
#include <brennox/RunLoop.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

namespace brennox {
namespace {

using std::chrono::milliseconds;
constexpr milliseconds kInterval{20};

// Waits for a gate before it ends, and notes the threads it was called on.
class GatedOperation : public Operation {
 public:
  explicit GatedOperation(std::shared_future<void> gate) : gate_(std::move(gate)) {}
  void main() override {
    mainThread = std::this_thread::get_id();
    ran = true;
    gate_.wait();
  }
  void afterMainOnMainThread() override { afterThread = std::this_thread::get_id(); }

  std::atomic<bool> ran{false};
  std::thread::id mainThread;
  std::thread::id afterThread;

 private:
  std::shared_future<void> gate_;
};

class Recorder : public OperationCallback {
 public:
  void operationFinished(Operation* operation) override {
    finished.push_back(operation);
    thread = std::this_thread::get_id();
  }
  std::vector<Operation*> finished;
  std::thread::id thread;
};

std::shared_future<void> openGate() {
  std::promise<void> promise;
  promise.set_value();
  return promise.get_future().share();
}

TEST(Operation, TellsItsCallbackOnTheStartingThread) {
  const auto operation = make<GatedOperation>(openGate());
  Recorder recorder;
  operation->setCallback(&recorder);
  operation->start();
  operation->start();
  RunLoop::current()->runUntil([&] { return operation->isFinished(); }, kInterval);
  ASSERT_EQ(recorder.finished.size(), 1U);
  EXPECT_EQ(recorder.thread, std::this_thread::get_id());
  EXPECT_EQ(operation->afterThread, std::this_thread::get_id());
  EXPECT_NE(operation->mainThread, std::this_thread::get_id());
}

TEST(OperationQueue, RunsInOrderOneAtATime) {
  const auto queue = make<OperationQueue>();
  Recorder recorder;
  std::vector<Ref<GatedOperation>> operations;
  for (int i = 0; i < 5; ++i) {
    operations.push_back(make<GatedOperation>(openGate()));
    operations.back()->setQueue(queue.get());
    operations.back()->setCallback(&recorder);
    operations.back()->start();
  }
  RunLoop::current()->runUntil([&] { return recorder.finished.size() == 5; }, kInterval);
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(recorder.finished[i], operations[i].get());
  }
}

TEST(Operation, ACancelledOneNeverRunsAndTellsNobody) {
  std::promise<void> gate;
  const auto queue = make<OperationQueue>();
  const auto first = make<GatedOperation>(gate.get_future().share());
  const auto second = make<GatedOperation>(openGate());
  Recorder recorder;
  for (GatedOperation* operation : {first.get(), second.get()}) {
    operation->setQueue(queue.get());
    operation->setCallback(&recorder);
    operation->start();
  }
  queue->cancelAllOperations();
  gate.set_value();
  while (queue->count() != 0) {
    std::this_thread::sleep_for(milliseconds(1));
  }
  int rounds = 0;
  RunLoop::current()->runUntil([&] { return ++rounds > 3; }, kInterval);
  EXPECT_TRUE(recorder.finished.empty());
  EXPECT_FALSE(second->ran);
  EXPECT_FALSE(first->isFinished());
}

TEST(Operation, AThreadThatEndsBeforeItsOperationLosesTheNotificationOnly) {
  std::promise<void> gate;
  Recorder recorder;
  auto operation = make<GatedOperation>(gate.get_future().share());
  const auto queue = make<OperationQueue>();
  operation->setQueue(queue.get());
  operation->setCallback(&recorder);
  std::thread([&] { operation->start(); }).join();
  gate.set_value();
  while (queue->count() != 0) {
    std::this_thread::sleep_for(milliseconds(1));
  }
  EXPECT_TRUE(operation->ran);
  EXPECT_TRUE(recorder.finished.empty());
}

TEST(OperationQueue, SeveralThreadsStartOnOneQueue) {
  const auto queue = make<OperationQueue>();
  std::atomic<int> finished{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20; ++i) {
        const auto operation = make<GatedOperation>(openGate());
        operation->setQueue(queue.get());
        operation->start();
        RunLoop::current()->runUntil([&] { return operation->isFinished(); }, kInterval);
        ++finished;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(finished, 80);
}

}  // namespace
}  // namespace brennox
