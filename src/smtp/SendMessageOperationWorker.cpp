#include "smtp/SendMessageOperationWorker.h"

#include <cpcurl.h>

#include <utility>

#include "smtp/CurlSend.h"
#include "smtp/WSMTPAsyncSession.h"

namespace velkor {

SendMessageOperationWorker::SendMessageOperationWorker(const Napi::CallbackInfo& info,
                                                       WSMTPAsyncSession& session,
                                                       brennox::Address* sender,
                                                       brennox::Array* recipients,
                                                       brennox::Ref<brennox::Data> message,
                                                       std::int32_t notify, Napi::Value callback)
    : Worker(info.This().As<Napi::Object>(), callback, "Unknown error while sending message"),
      session_(session),
      sender_(sender),
      recipients_(recipients),
      message_(std::move(message)),
      notify_(notify) {}

void SendMessageOperationWorker::Work() {
  const cpcurl::StopWhen stop(isEnding());
  SendMessageWithRetries(session_.settings(), sender_.get(), recipients_.get(), *message_, &error_);
}

Napi::Value SendMessageOperationWorker::Result(Napi::Env env) {
  return Napi::Number::New(env, error_);
}

}  // namespace velkor
