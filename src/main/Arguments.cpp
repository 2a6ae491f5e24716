#include "main/Arguments.h"

#include <limits>

namespace velkor {

void ThrowTypeError(Napi::Env env, const char* text) {
  throw Napi::TypeError::New(env, text);
}

std::string Utf8(Napi::Value value) {
  return value.ToString().Utf8Value();
}

std::uint64_t UInt64(Napi::Value value) {
  const double number = value.ToNumber().DoubleValue();
  constexpr double kTwoTo63 = 9223372036854775808.0;
  if (number >= 2 * kTwoTo63) {
    return std::numeric_limits<std::uint64_t>::max();
  }
  if (number >= kTwoTo63) {
    return static_cast<std::uint64_t>(number);
  }
  if (number >= -kTwoTo63) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(number));
  }
  return 0;
}

brennox::Ref<brennox::Data> CopyBytes(Napi::Value buffer) {
  void* bytes = nullptr;
  std::size_t length = 0;
  if (napi_get_buffer_info(buffer.Env(), buffer, &bytes, &length) != napi_ok) {
    throw Napi::Error::New(buffer.Env());
  }
  return brennox::make<brennox::Data>(bytes, length);
}

std::string StringArgument(const Napi::CallbackInfo& info, std::size_t index, const char* text) {
  Require(info[index].IsString(), info.Env(), text);
  return Utf8(info[index]);
}

std::uint32_t UInt32Argument(const Napi::CallbackInfo& info, std::size_t index, const char* text) {
  Require(info[index].IsNumber(), info.Env(), text);
  return info[index].ToNumber().Uint32Value();
}

Napi::Function FunctionArgument(const Napi::CallbackInfo& info, std::size_t index,
                                const char* text) {
  Require(info[index].IsFunction(), info.Env(), text);
  return info[index].As<Napi::Function>();
}

brennox::Ref<brennox::Data> BufferArgument(const Napi::CallbackInfo& info, std::size_t index,
                                           const char* text) {
  Require(info[index].IsBuffer(), info.Env(), text);
  return CopyBytes(info[index]);
}

}  // namespace velkor
