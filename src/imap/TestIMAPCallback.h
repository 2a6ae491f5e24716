// Logs what an operation of IMAPAsyncSession tells about itself.
#pragma once

#include <brennox/IMAPOperation.h>
#include <brennox/Object.h>
#include <brennox/Operation.h>

namespace velkor {

class TestIMAPCallback final : public brennox::Object,
                               public brennox::OperationCallback,
                               public brennox::IMAPOperationCallback {
 public:
  void operationFinished(brennox::Operation* operation) override;
  void bodyProgress(brennox::IMAPOperation* operation, unsigned int current,
                    unsigned int maximum) override;
  void itemProgress(brennox::IMAPOperation* operation, unsigned int current,
                    unsigned int maximum) override;

 protected:
  const char* className() const override { return "TestIMAPCallback"; }
};

}  // namespace velkor
