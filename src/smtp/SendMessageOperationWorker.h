// sendMessageOperation: sends on the worker pool.
#pragma once

#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/Data.h>
#include <brennox/ErrorCode.h>
#include <brennox/Ref.h>

#include <cstdint>

#include "main/Worker.h"

namespace velkor {

class WSMTPAsyncSession;

// The callback gets the library's error code; a failed transfer is no error of the operation.
class SendMessageOperationWorker final : public Worker {
 public:
  SendMessageOperationWorker(const Napi::CallbackInfo& info, WSMTPAsyncSession& session,
                             brennox::Address* sender, brennox::Array* recipients,
                             brennox::Ref<brennox::Data> message, std::int32_t notify,
                             Napi::Value callback);

 private:
  void Work() override;
  Napi::Value Result(Napi::Env env) override;

  WSMTPAsyncSession& session_;
  const brennox::Ref<brennox::Address> sender_;
  const brennox::Ref<brennox::Array> recipients_;
  const brennox::Ref<brennox::Data> message_;
  // Taken from the script and used nowhere.
  [[maybe_unused]] const std::int32_t notify_;
  brennox::ErrorCode error_ = brennox::ErrorNone;
};

}  // namespace velkor
