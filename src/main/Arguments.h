// Checks of method arguments. Each takes the text of the TypeError that a wrong or missing argument
// gets.
#pragma once

#include <brennox/Data.h>
#include <brennox/Ref.h>
#include <napi.h>

#include <cstdint>
#include <string>

namespace velkor {

[[noreturn]] void ThrowTypeError(Napi::Env env, const char* text);
inline void Require(bool condition, Napi::Env env, const char* text) {
  if (!condition) {
    ThrowTypeError(env, text);
  }
}

// The UTF-8 bytes of a script string, embedded zeros included; other values are coerced.
std::string Utf8(Napi::Value value);

// A script number as an unsigned 64-bit one: fractions are cut, NaN is 0, what is too large becomes
// the largest value and negative numbers wrap.
std::uint64_t UInt64(Napi::Value value);

// A copy of the bytes of a Buffer (any view on binary data, as Node.js takes them).
brennox::Ref<brennox::Data> CopyBytes(Napi::Value buffer);

std::string StringArgument(const Napi::CallbackInfo& info, std::size_t index, const char* text);
std::uint32_t UInt32Argument(const Napi::CallbackInfo& info, std::size_t index, const char* text);
Napi::Function FunctionArgument(const Napi::CallbackInfo& info, std::size_t index,
                                const char* text);
brennox::Ref<brennox::Data> BufferArgument(const Napi::CallbackInfo& info, std::size_t index,
                                           const char* text);

}  // namespace velkor
