// What the queue promises on Windows beyond what it promises everywhere (core/RunLoop_test.cpp).
#include "platform/thread_queue.h"

#include <brennox/Operation.h>
#include <brennox/Ref.h>
#include <brennox/RunLoop.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/win32/windows.h"

namespace brennox {
namespace {

constexpr std::chrono::milliseconds kInterval{20};
constexpr std::chrono::seconds kLong{30};
constexpr UINT kForeign = WM_APP + 7;

// The loop of a program with a window: ends at WM_QUIT.
int runMessageLoop() {
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  return static_cast<int>(message.wParam);
}

// A window of somebody else's on this thread, which counts what reaches it.
class ForeignWindow {
 public:
  ForeignWindow() {
    static const ATOM registered = [] {
      WNDCLASSW description{};
      description.lpfnWndProc = &ForeignWindow::receive;
      description.hInstance = GetModuleHandleW(nullptr);
      description.lpszClassName = L"foreign window";
      return RegisterClassW(&description);
    }();
    EXPECT_NE(registered, 0);
    window_ = CreateWindowExW(0, L"foreign window", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                              GetModuleHandleW(nullptr), nullptr);
    SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  }
  ~ForeignWindow() { DestroyWindow(window_); }
  ForeignWindow(const ForeignWindow&) = delete;
  ForeignWindow& operator=(const ForeignWindow&) = delete;

  HWND get() const { return window_; }
  int received = 0;
  int timers = 0;

 private:
  static LRESULT CALLBACK receive(HWND window, UINT message, WPARAM word, LPARAM pointer) {
    auto* const self = reinterpret_cast<ForeignWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self != nullptr && message == kForeign) {
      ++self->received;
      return 42;
    }
    if (self != nullptr && message == WM_TIMER) {
      ++self->timers;
    }
    return DefWindowProcW(window, message, word, pointer);
  }

  HWND window_ = nullptr;
};

class QuickOperation : public Operation {
 public:
  void main() override { mainThread = std::this_thread::get_id(); }
  std::thread::id mainThread;
};

class QuittingCallback : public OperationCallback {
 public:
  void operationFinished(Operation*) override {
    thread = std::this_thread::get_id();
    PostQuitMessage(7);
  }
  std::thread::id thread;
};

TEST(ThreadQueueOnWindows, AMessageLoopOfTheOwnersDeliversTheWork) {
  RunLoop* const loop = RunLoop::current();
  std::vector<int> ran;
  std::thread other([&] {
    for (int i = 0; i < 1000; ++i) {
      loop->post([&ran, i] { ran.push_back(i); });
    }
    loop->post([] { PostQuitMessage(3); });
  });
  EXPECT_EQ(runMessageLoop(), 3);
  other.join();
  ASSERT_EQ(ran.size(), 1000U);
  EXPECT_EQ(ran.back(), 999);
}

TEST(ThreadQueueOnWindows, AMessageLoopDeliversAnOperationsEndOnTheStartingThread) {
  const auto operation = make<QuickOperation>();
  QuittingCallback callback;
  operation->setCallback(&callback);
  operation->start();
  EXPECT_EQ(runMessageLoop(), 7);
  EXPECT_EQ(callback.thread, std::this_thread::get_id());
  EXPECT_NE(operation->mainThread, std::this_thread::get_id());
  EXPECT_TRUE(operation->isFinished());
}

TEST(ThreadQueueOnWindows, TwentyThousandPostsReachAMessageLoop) {
  constexpr int kPosts = 20000;
  RunLoop* const loop = RunLoop::current();
  int ran = 0;
  for (int i = 0; i < kPosts; ++i) {
    ASSERT_TRUE(loop->post([&] {
      if (++ran == kPosts) {
        PostQuitMessage(0);
      }
    }));
  }
  runMessageLoop();
  EXPECT_EQ(ran, kPosts);
}

TEST(ThreadQueueOnWindows, OtherMessagesAreDispatchedWhileItWaits) {
  ForeignWindow foreign;
  SetTimer(foreign.get(), 1, 10, nullptr);
  std::thread other([&] {
    for (int i = 0; i < 10; ++i) {
      PostMessageW(foreign.get(), kForeign, 0, 0);
    }
    // Answered while the owner waits, or never.
    EXPECT_EQ(SendMessageW(foreign.get(), kForeign, 0, 0), 42);
  });
  RunLoop::current()->runUntil([&] { return foreign.received == 11 && foreign.timers > 0; }, kLong);
  other.join();
  KillTimer(foreign.get(), 1);
  EXPECT_EQ(foreign.received, 11);
}

TEST(ThreadQueueOnWindows, OtherMessagesGetTheirTurnBetweenPiecesOfWork) {
  ForeignWindow foreign;
  RunLoop* const loop = RunLoop::current();
  int ran = 0;
  int ranBefore = -1;
  for (int i = 0; i < 100; ++i) {
    loop->post([&] {
      ++ran;
      if (foreign.received > 0 && ranBefore < 0) {
        ranBefore = ran;
      }
    });
  }
  PostMessageW(foreign.get(), kForeign, 0, 0);
  loop->runUntil([&] { return ran == 100; }, kInterval);
  EXPECT_GT(ranBefore, 0);
  EXPECT_LT(ranBefore, 10);
}

TEST(ThreadQueueOnWindows, QuittingIsLeftToTheOuterLoop) {
  RunLoop* const loop = RunLoop::current();
  PostQuitMessage(11);
  bool ran = false;
  std::thread other([&] {
    std::this_thread::sleep_for(kInterval);
    loop->post([&] { ran = true; });
  });
  loop->runUntil([&] { return ran; }, kLong);
  other.join();
  EXPECT_TRUE(ran);
  EXPECT_EQ(runMessageLoop(), 11);
}

TEST(ThreadQueueOnWindows, QuittingIsLeftToTheOuterLoopByAnExceptionToo) {
  RunLoop* const loop = RunLoop::current();
  loop->post([] {
    PostQuitMessage(12);
    RunLoop::current()->post([] { throw 5; });
    int rounds = 0;
    RunLoop::current()->runUntil([&] { return ++rounds > 5; }, kInterval);
  });
  EXPECT_THROW(loop->runUntil([] { return false; }, kInterval), int);
  EXPECT_EQ(runMessageLoop(), 12);
}

// The system takes 10,000 posted messages a thread; others may have used them up.
TEST(ThreadQueueOnWindows, WorkArrivesWhenTheMessageQueueWasFull) {
  ForeignWindow foreign;
  int posted = 0;
  while (posted < 15000 && PostMessageW(foreign.get(), kForeign, 0, 0) != FALSE) {
    ++posted;
  }
  bool ran = false;
  ASSERT_TRUE(RunLoop::current()->post([&] { ran = true; }));
  RunLoop::current()->runUntil([&] { return ran && foreign.received == posted; }, kInterval);
  EXPECT_EQ(foreign.received, posted);
}

int messageWindows() {
  int count = 0;
  HWND window = nullptr;
  while ((window = FindWindowExW(HWND_MESSAGE, window, L"brennox thread queue", nullptr)) !=
         nullptr) {
    ++count;
  }
  return count;
}

TEST(ThreadQueueOnWindows, ItsWindowGoesWithItsThread) {
  RunLoop::current();
  const int before = messageWindows();
  EXPECT_GT(before, 0);
  for (int i = 0; i < 5; ++i) {
    std::thread([&] {
      RunLoop::current()->post([] {});
      EXPECT_EQ(messageWindows(), before + 1);
    }).join();
  }
  EXPECT_EQ(messageWindows(), before);
}

}  // namespace
}  // namespace brennox
