#include "imap/SimpleAsyncWorker.h"

namespace velkor {

std::string ErrorCodeText(brennox::ErrorCode error) {
  return "Error code: " + std::to_string(static_cast<int>(error));
}

void SimpleAsyncWorker::Work() {
  brennox::ErrorCode error = brennox::ErrorNone;
  Operation(&error);
  if (failure_.empty() && error != brennox::ErrorNone) {
    failure_ = ErrorCodeText(error);
  }
  if (!failure_.empty()) {
    SetError(failure_);
  }
}

}  // namespace velkor
