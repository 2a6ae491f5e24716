// The script class MessageBuilder.
#pragma once

#include <brennox/MessageBuilder.h>

#include <mutex>
#include <string>

#include "main/Wrapper.h"

namespace velkor {

class WMessageBuilder final
    : public Wrapper<WMessageBuilder, brennox::MessageBuilder, Teardown::kDelete> {
 public:
  static constexpr char kName[] = "MessageBuilder";
  static Napi::Function Define(Napi::Env env);

  explicit WMessageBuilder(const Napi::CallbackInfo& info) : Wrapper(info) {}

  // Any thread. Builds of one builder run one after another, because a build fills what the next
  // one reuses; scripts still must not change a builder that is being built.
  brennox::Ref<brennox::Data> Build();
  brennox::ErrorCode BuildToFile(const std::string& path);

 private:
  using Add = void (brennox::MessageBuilder::*)(brennox::Attachment*);
  using Set = void (brennox::MessageBuilder::*)(brennox::Array*);
  using Get = brennox::Array* (brennox::MessageBuilder::*)();

  Napi::Value Header(const Napi::CallbackInfo& info);
  void SetHeader(const Napi::CallbackInfo& info, const Napi::Value& value);
  template <Get kGet>
  Napi::Value Attachments(const Napi::CallbackInfo& info);
  template <Set kSet>
  void SetAttachments(const Napi::CallbackInfo& info, const Napi::Value& value);
  template <Add kAdd>
  void AddAttachments(const Napi::CallbackInfo& info);
  Napi::Value Bytes(const Napi::CallbackInfo& info);
  void GetDataAsync(const Napi::CallbackInfo& info);
  void Write(const Napi::CallbackInfo& info);
  void WriteAsync(const Napi::CallbackInfo& info);
  void SetSignerCert(const Napi::CallbackInfo& info);
  void SetRecipientsCerts(const Napi::CallbackInfo& info);
  void SetTempFolder(const Napi::CallbackInfo& info);

  std::mutex building_;
};

}  // namespace velkor
