// One message-only window a queue. The system keeps at most 10,000 posted messages a thread, so the
// work lies in a queue of our own and at most one message is on its way, which stands for its
// front.
#include "platform/thread_queue.h"

#include <algorithm>
#include <deque>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "platform/win32/windows.h"

namespace brennox::platform {

struct ThreadQueue::State {
  static constexpr UINT kWorkPosted = WM_APP;
  static constexpr wchar_t kWindowClass[] = L"brennox thread queue";

  static HINSTANCE ownModule();
  static ATOM windowClass();
  static LRESULT CALLBACK receive(HWND window, UINT message, WPARAM word, LPARAM pointer);

  void wake();
  bool runFront();
  void runFromMessage() noexcept;

  Runner run = nullptr;
  // Both owner only: how many runUntil() are on its stack, and what a piece of work threw, for the
  // innermost of them to pass on.
  int waiting = 0;
  std::exception_ptr thrown;

  // Timed, for close() while the process exits: a thread that is gone may have held it.
  std::timed_mutex lock;
  // All guarded by `lock`. Without a window the queue is closed.
  HWND window = nullptr;
  std::deque<Work> work;
  bool wakeIsOnItsWay = false;
};

namespace {

// Longer than any thread holds the lock.
constexpr std::chrono::seconds kLockIsLost{1};

// Takes WM_QUIT out of the way of whoever waits, and puts it back when the waiting is over.
class QuitKeeper {
 public:
  QuitKeeper() = default;
  ~QuitKeeper() {
    if (seen_) {
      PostQuitMessage(code_);
    }
  }
  QuitKeeper(const QuitKeeper&) = delete;
  QuitKeeper& operator=(const QuitKeeper&) = delete;

  void keep(int code) {
    seen_ = true;
    code_ = code;
  }

 private:
  bool seen_ = false;
  int code_ = 0;
};

class CountedIn {
 public:
  explicit CountedIn(int& count) : count_(count) { ++count_; }
  ~CountedIn() { --count_; }
  CountedIn(const CountedIn&) = delete;
  CountedIn& operator=(const CountedIn&) = delete;

 private:
  int& count_;
};

}  // namespace

HINSTANCE ThreadQueue::State::ownModule() {
  HMODULE own = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
      kWindowClass, &own);
  return own;
}

// Registered once and for good: the code behind it is never unmapped.
ATOM ThreadQueue::State::windowClass() {
  static const ATOM registered = [] {
    WNDCLASSEXW description{};
    description.cbSize = sizeof description;
    description.lpfnWndProc = &State::receive;
    description.hInstance = ownModule();
    description.lpszClassName = kWindowClass;
    return RegisterClassExW(&description);
  }();
  return registered;
}

LRESULT CALLBACK ThreadQueue::State::receive(HWND window, UINT message, WPARAM word,
                                             LPARAM pointer) {
  if (message != kWorkPosted) {
    return DefWindowProcW(window, message, word, pointer);
  }
  auto* const self = reinterpret_cast<State*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (self != nullptr) {
    self->runFromMessage();
  }
  return 0;
}

// The lock is held. Where the system takes no message (its queue is full of others'), the next post
// tries again, and so does the owner when it waits here.
void ThreadQueue::State::wake() {
  if (!wakeIsOnItsWay && !work.empty()) {
    wakeIsOnItsWay = PostMessageW(window, kWorkPosted, 0, 0) != FALSE;
  }
}

// Runs the first piece of work, if there is one.
bool ThreadQueue::State::runFront() {
  Work front;
  {
    const std::lock_guard guard(lock);
    if (work.empty()) {
      return false;
    }
    front = std::move(work.front());
    work.pop_front();
    // One piece a message, so that the thread's other messages get their turn.
    wake();
  }
  run(front);
  return true;
}

// No exception may pass through the system's frames. Inside runUntil() it is passed on from there;
// the thread's own message loop has nobody who would catch it, and the process ends.
void ThreadQueue::State::runFromMessage() noexcept {
  {
    const std::lock_guard guard(lock);
    wakeIsOnItsWay = false;
  }
  if (waiting == 0) {
    runFront();
    return;
  }
  try {
    runFront();
  } catch (...) {
    thrown = std::current_exception();
  }
}

ThreadQueue::ThreadQueue(Runner run) : state_(std::make_unique<State>()) {
  state_->run = run;
  const ATOM registered = State::windowClass();
  state_->window = registered == 0
                       ? nullptr
                       : CreateWindowExW(0, State::kWindowClass, nullptr, 0, 0, 0, 0, 0,
                                         HWND_MESSAGE, nullptr, State::ownModule(), nullptr);
  if (state_->window == nullptr) {
    throw std::runtime_error("The system has no window for notifications");
  }
  SetWindowLongPtrW(state_->window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(state_.get()));
}
ThreadQueue::~ThreadQueue() = default;

bool ThreadQueue::post(Work work) {
  const std::lock_guard guard(state_->lock);
  if (state_->window == nullptr) {
    return false;
  }
  state_->work.push_back(std::move(work));
  state_->wake();
  return true;
}

void ThreadQueue::runUntil(const std::function<bool()>& done, std::chrono::milliseconds interval) {
  State& state = *state_;
  QuitKeeper quit;
  const CountedIn counted(state.waiting);
  const auto longest = static_cast<DWORD>(std::clamp<std::int64_t>(interval.count(), 0, MAXLONG));
  while (!done()) {
    MSG message;
    if (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
      if (message.message == WM_QUIT) {
        quit.keep(static_cast<int>(message.wParam));
        continue;
      }
      TranslateMessage(&message);
      DispatchMessageW(&message);
      if (state.thrown) {
        std::rethrow_exception(std::exchange(state.thrown, nullptr));
      }
    } else if (!state.runFront()) {
      MsgWaitForMultipleObjectsEx(0, nullptr, longest, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    }
  }
}

void ThreadQueue::close() {
  std::deque<Work> dropped;
  HWND window = nullptr;
  {
    const std::unique_lock guard(state_->lock, kLockIsLost);
    if (!guard.owns_lock()) {
      return;
    }
    window = std::exchange(state_->window, nullptr);
    dropped.swap(state_->work);
  }
  if (window != nullptr) {
    SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    DestroyWindow(window);
  }
}

}  // namespace brennox::platform
