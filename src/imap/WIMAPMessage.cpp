#include "imap/WIMAPMessage.h"

#include <brennox/HTMLRendererCallback.h>

#include "main/Arguments.h"
#include "main/Kinds.h"

namespace velkor {

Napi::Function WIMAPMessage::Define(Napi::Env env) {
  using M = brennox::IMAPMessage;
  using Flags = Enum<brennox::MessageFlag>;
  static constexpr char kNumberText[] = "Value must be number";
  const Members members = {
      Property<UInt32, &M::sequenceNumber, &M::setSequenceNumber>("sequenceNumber", kNumberText),
      Property<UInt32, &M::uid, &M::setUid>("uid", kNumberText),
      Property<UInt32, &M::size, &M::setSize>("size", kNumberText),
      Property<Flags, &M::flags, &M::setFlags>("flags", kNumberText),
      Property<Flags, &M::originalFlags, &M::setOriginalFlags>("originalFlags", kNumberText),

      Method<&WIMAPMessage::HtmlRendering>("htmlRendering"),
      Getter<Text, &M::description>("description"),
  };
  return DefineClass(env, kName, members);
}

// May fetch parts of the message from the server, and waits for them.
Napi::Value WIMAPMessage::HtmlRendering(const Napi::CallbackInfo& info) {
  Require(info[0].IsString(), info.Env(), "first parameter must be a string");
  const auto callback = brennox::make<brennox::HTMLRendererIMAPCallback>();
  return Text::ToScript(info.Env(),
                        held()->htmlRendering(Text::FromScript(info[0]), callback.get(), nullptr));
}

}  // namespace velkor
