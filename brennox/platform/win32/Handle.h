// A system handle that is closed when it goes out of scope.
#pragma once

#include "platform/win32/windows.h"

namespace brennox::platform {

class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  ~Handle() { close(); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  HANDLE get() const { return handle_; }
  bool isOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  bool close() {
    const HANDLE handle = handle_;
    handle_ = INVALID_HANDLE_VALUE;
    return handle != INVALID_HANDLE_VALUE && CloseHandle(handle) != FALSE;
  }

 private:
  HANDLE handle_;
};

}  // namespace brennox::platform
