// The script class MessageParser.
#pragma once

#include <brennox/MessageParser.h>

#include "main/Wrapper.h"

namespace velkor {

// Holds the parser of the last read or import; a new one after a failed one, so that every member
// has an empty result to give.
class WMessageParser final
    : public Wrapper<WMessageParser, brennox::MessageParser, Teardown::kRelease> {
 public:
  static constexpr char kName[] = "MessageParser";
  static Napi::Function Define(Napi::Env env);

  explicit WMessageParser(const Napi::CallbackInfo& info) : Wrapper(info) {}

  // Holds what a read or import gave; null stands for a failed one. Script thread.
  void Take(brennox::Ref<brennox::MessageParser> parser);

 private:
  Napi::Value Header(const Napi::CallbackInfo& info);
  Napi::Value Nothing(const Napi::CallbackInfo& info);
  template <brennox::Array* (brennox::MessageParser::*kGet)()>
  Napi::Value Attachments(const Napi::CallbackInfo& info);
  Napi::Value SignerCertificate(const Napi::CallbackInfo& info);
  Napi::Value ExtendedSignInfo(const Napi::CallbackInfo& info);

  void SetTempFolder(const Napi::CallbackInfo& info);
  void Read(const Napi::CallbackInfo& info);
  void ReadAsync(const Napi::CallbackInfo& info);
  void Import(const Napi::CallbackInfo& info);
  void ImportAsync(const Napi::CallbackInfo& info);
  Napi::Value HtmlRendering(const Napi::CallbackInfo& info);
  Napi::Value PlainTextBodyRendering(const Napi::CallbackInfo& info);
  void Clear(const Napi::CallbackInfo& info);
};

}  // namespace velkor
