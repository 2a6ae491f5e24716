#include "message/BuilderWorkers.h"

#include <utility>

#include "main/Kinds.h"
#include "message/WMessageBuilder.h"

namespace velkor {

DataWorker::DataWorker(const Napi::CallbackInfo& info, WMessageBuilder& builder,
                       Napi::Value callback)
    : Worker(info.This().As<Napi::Object>(), callback, "Error while buiding message data"),
      builder_(builder) {}

void DataWorker::Work() {
  message_ = builder_.Build();
  if (!message_->isUnique()) {
    // The builder keeps the message for its next use; the copy that the script gets is made here
    // rather than on its thread.
    message_ = brennox::make<brennox::Data>(message_->bytes(), message_->length());
  }
}

Napi::Value DataWorker::Result(Napi::Env env) {
  return BufferOf(env, std::move(message_));
}

// The text is that of the parser's failure; scripts match on it.
WriteWorker::WriteWorker(const Napi::CallbackInfo& info, WMessageBuilder& builder, std::string path,
                         Napi::Value callback)
    : Worker(info.This().As<Napi::Object>(), callback, "Error while reading message data"),
      builder_(builder),
      path_(std::move(path)) {}

void WriteWorker::Work() {
  static_cast<void>(builder_.BuildToFile(path_));
}

}  // namespace velkor
