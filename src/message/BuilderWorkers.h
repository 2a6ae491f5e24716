// The asynchronous methods of MessageBuilder.
#pragma once

#include <brennox/Data.h>
#include <brennox/Ref.h>

#include <string>

#include "main/Worker.h"

namespace velkor {

class WMessageBuilder;

// getDataAsync: builds the message; the callback gets a Buffer.
class DataWorker final : public Worker {
 public:
  DataWorker(const Napi::CallbackInfo& info, WMessageBuilder& builder, Napi::Value callback);

 private:
  void Work() override;
  Napi::Value Result(Napi::Env env) override;

  WMessageBuilder& builder_;
  brennox::Ref<brennox::Data> message_;
};

// WriteAsync: builds the message into a file. Only an exception counts as a failure.
class WriteWorker final : public Worker {
 public:
  WriteWorker(const Napi::CallbackInfo& info, WMessageBuilder& builder, std::string path,
              Napi::Value callback);

 private:
  void Work() override;

  WMessageBuilder& builder_;
  const std::string path_;
};

}  // namespace velkor
