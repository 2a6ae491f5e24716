// Tells work on the worker pool that the script has called process.exit.
//
// Node.js waits for the worker pool before the process or the worker thread ends; a transfer that
// itself waits for a silent server would hold it up for minutes.
#pragma once

#include <napi.h>

#include <atomic>
#include <memory>

namespace velkor {

// The flag of this script thread's environments. Set once and for all; may be read on any thread.
std::shared_ptr<const std::atomic<bool>> ExitFlag();

// Has the flag set when the process or the worker thread exits. Script thread.
void WatchExit(Napi::Env env);

}  // namespace velkor
