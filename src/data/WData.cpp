#include "data/WData.h"

#include <brennox/String.h>

#include "main/Arguments.h"
#include "main/Kinds.h"

namespace velkor {

Napi::Function WData::Define(Napi::Env env) {
  using D = brennox::Data;
  const Members members = {
      Method<&WData::Length>("length"),
      Method<&WData::Bytes>("bytes"),
      Getter<Text, &D::base64String>("base64String"),
      Method<&WData::WriteToFile>("writeToFile"),
  };
  return DefineClass(env, kName, members);
}

WData::WData(const Napi::CallbackInfo& info) : Wrapper(info) {
  if (!info[0].IsUndefined()) {
    Hold(BufferArgument(info, 0, "first parameter must be a Buffer"));
    Adopted();
  }
}

Napi::Value WData::Length(const Napi::CallbackInfo& info) {
  return UInt32::ToScript(info.Env(), static_cast<std::uint32_t>(held()->length()));
}

Napi::Value WData::Bytes(const Napi::CallbackInfo& info) {
  return BufferOf(info.Env(), held());
}

Napi::Value WData::WriteToFile(const Napi::CallbackInfo& info) {
  Require(info[0].IsString(), info.Env(), "first parameter must be a string");
  return Enum<brennox::ErrorCode>::ToScript(info.Env(),
                                            held()->writeToFile(Text::FromScript(info[0])));
}

}  // namespace velkor
