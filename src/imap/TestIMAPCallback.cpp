#include "imap/TestIMAPCallback.h"

#include <brennox/Array.h>
#include <brennox/IMAPFetchMessagesOperation.h>
#include <brennox/Log.h>
#include <brennox/String.h>

namespace velkor {
namespace {

// The log lines name this file and these lines whatever the code looks like; readers of logs match
// on them.
constexpr char kFile[] = "src/imap/WIMAPAsyncSession";
constexpr int kFinishedLine = 201;
constexpr int kBodyProgressLine = 206;
constexpr int kItemProgressLine = 211;

const char* Describe(brennox::Object* object) {
  return object == nullptr ? nullptr : object->description()->UTF8Characters();
}

}  // namespace

void TestIMAPCallback::operationFinished(brennox::Operation* operation) {
  auto* const fetch = dynamic_cast<brennox::IMAPFetchMessagesOperation*>(operation);
  brennox::Array* const messages = fetch == nullptr ? nullptr : fetch->messages();
  brennox::BXLogInternal(nullptr, kFile, kFinishedLine, 0, "callback %s %s %s", Describe(operation),
                         Describe(messages), Describe(this));
}

void TestIMAPCallback::bodyProgress(brennox::IMAPOperation* operation, unsigned int current,
                                    unsigned int maximum) {
  brennox::BXLogInternal(nullptr, kFile, kBodyProgressLine, 0, "progress %s %s %i/%i",
                         Describe(operation), Describe(this), static_cast<int>(current),
                         static_cast<int>(maximum));
}

void TestIMAPCallback::itemProgress(brennox::IMAPOperation* operation, unsigned int current,
                                    unsigned int maximum) {
  brennox::BXLogInternal(nullptr, kFile, kItemProgressLine, 0, "item progress %s %s %i/%i",
                         Describe(operation), Describe(this), static_cast<int>(current),
                         static_cast<int>(maximum));
}

}  // namespace velkor
