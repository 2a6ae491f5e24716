#include "imap/TestIMAPCallback.h"

#include <brennox/AutoreleasePool.h>
#include <brennox/IMAPFetchMessagesOperation.h>
#include <brennox/IMAPMessage.h>
#include <brennox/Log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace velkor {
namespace {

using brennox::String;

// An operation with the result that it is given.
class Fetched : public brennox::IMAPFetchMessagesOperation {
 public:
  brennox::Array* messages() override { return result.get(); }
  brennox::Ref<brennox::Array> result;
};

std::string describe(brennox::Object* object) {
  return std::string(object->description()->view());
}

// What `work` writes to standard error.
template <class Work>
std::string Logged(Work work) {
  testing::internal::CaptureStderr();
  work();
  return testing::internal::GetCapturedStderr();
}

TEST(TestIMAPCallback, LogsEachNotificationWithItsFileAndLine) {
  const brennox::AutoreleasePool pool;
  const auto callback = brennox::make<TestIMAPCallback>();
  const auto operation = brennox::make<Fetched>();
  operation->result = brennox::make<brennox::Array>();
  const auto message = brennox::make<brennox::IMAPMessage>();
  message->setUid(7);
  operation->result->addObject(message.get());
  const std::string own = describe(callback.get());
  const std::string its = describe(operation.get());
  EXPECT_THAT(own, testing::HasSubstr("TestIMAPCallback"));
  EXPECT_NE(own, its);

  EXPECT_EQ(Logged([&] { callback->operationFinished(operation.get()); }),
            "src/imap/WIMAPAsyncSession:201: callback " + its + " " +
                describe(operation->result.get()) + " " + own + "\n");
  EXPECT_EQ(Logged([&] { callback->bodyProgress(operation.get(), 5, 10); }),
            "src/imap/WIMAPAsyncSession:206: progress " + its + " " + own + " 5/10\n");
  EXPECT_EQ(Logged([&] { callback->itemProgress(operation.get(), 5, 10); }),
            "src/imap/WIMAPAsyncSession:211: item progress " + its + " " + own + " 5/10\n");
}

TEST(TestIMAPCallback, CountsAreLoggedAsSignedNumbers) {
  const brennox::AutoreleasePool pool;
  const auto callback = brennox::make<TestIMAPCallback>();
  EXPECT_THAT(Logged([&] { callback->bodyProgress(nullptr, 4294967295U, 7); }),
              testing::EndsWith(" -1/7\n"));
  EXPECT_THAT(Logged([&] { callback->itemProgress(nullptr, 4294967295U, 7); }),
              testing::EndsWith(" -1/7\n"));
}

TEST(TestIMAPCallback, WhatIsNotThereIsLoggedAsNull) {
  const brennox::AutoreleasePool pool;
  const auto callback = brennox::make<TestIMAPCallback>();
  const std::string own = describe(callback.get());
  const auto operation = brennox::make<Fetched>();
  // No result, and an operation that has none.
  EXPECT_EQ(Logged([&] { callback->operationFinished(operation.get()); }),
            "src/imap/WIMAPAsyncSession:201: callback " + describe(operation.get()) + " (null) " +
                own + "\n");
  const auto other = brennox::make<brennox::Operation>();
  EXPECT_EQ(Logged([&] { callback->operationFinished(other.get()); }),
            "src/imap/WIMAPAsyncSession:201: callback " + describe(other.get()) + " (null) " + own +
                "\n");
  EXPECT_EQ(Logged([&] { callback->bodyProgress(nullptr, 1, 2); }),
            "src/imap/WIMAPAsyncSession:206: progress (null) " + own + " 1/2\n");
  EXPECT_EQ(Logged([&] { callback->itemProgress(nullptr, 1, 2); }),
            "src/imap/WIMAPAsyncSession:211: item progress (null) " + own + " 1/2\n");
}

}  // namespace
}  // namespace velkor
