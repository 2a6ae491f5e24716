// How a script value and a library value become each other. Each kind has Accepts (is the script
// value of the right type), FromScript and ToScript; library objects that FromScript makes are
// autoreleased.
#pragma once

#include <brennox/Array.h>
#include <brennox/Data.h>
#include <brennox/Ref.h>
#include <brennox/String.h>
#include <napi.h>

#include <cstdint>
#include <ctime>
#include <string>

namespace brennox {
class Address;
}

namespace velkor {

// A script string held as a brennox::String; an absent string reads as "".
struct Text {
  static bool Accepts(Napi::Value value) { return value.IsString(); }
  static brennox::String* FromScript(Napi::Value value);
  static Napi::Value ToScript(Napi::Env env, brennox::String* text);
};

// As Text, but an absent string reads as undefined.
struct OptionalText : Text {
  static Napi::Value ToScript(Napi::Env env, brennox::String* text);
};

// The name of a key-usage policy; an absent one reads as the library's "no policy".
struct PolicyName : Text {
  static Napi::Value ToScript(Napi::Env env, brennox::String* name);
};

// A script string held as a std::string.
struct PlainText {
  static bool Accepts(Napi::Value value) { return value.IsString(); }
  static std::string FromScript(Napi::Value value);
  static Napi::Value ToScript(Napi::Env env, const std::string& text);
};

struct Flag {
  static bool Accepts(Napi::Value value) { return value.IsBoolean(); }
  static bool FromScript(Napi::Value value) { return value.ToBoolean().Value(); }
  static Napi::Value ToScript(Napi::Env env, bool flag) { return Napi::Boolean::New(env, flag); }
};

// What the number kinds share.
struct AnyNumber {
  static bool Accepts(Napi::Value value) { return value.IsNumber(); }
};

// Fractions are cut; numbers out of range wrap.
struct Int32 : AnyNumber {
  static std::int32_t FromScript(Napi::Value value) { return value.ToNumber().Int32Value(); }
  static Napi::Value ToScript(Napi::Env env, std::int32_t number) {
    return Napi::Number::New(env, number);
  }
};

// As Int32; negative numbers wrap.
struct UInt32 : AnyNumber {
  static std::uint32_t FromScript(Napi::Value value) { return value.ToNumber().Uint32Value(); }
  static Napi::Value ToScript(Napi::Env env, std::uint32_t number) {
    return Napi::Number::New(env, number);
  }
};

// Fractions are cut; numbers out of range become the nearest that is in range.
struct Int64 : AnyNumber {
  static std::int64_t FromScript(Napi::Value value) { return value.ToNumber().Int64Value(); }
  static Napi::Value ToScript(Napi::Env env, std::int64_t number) {
    return Napi::Number::New(env, static_cast<double>(number));
  }
};

// Set as a signed number, read as an unsigned one; above 2^53 the reading is rounded.
struct ModSequence : AnyNumber {
  static std::uint64_t FromScript(Napi::Value value) {
    return static_cast<std::uint64_t>(value.ToNumber().Int64Value());
  }
  static Napi::Value ToScript(Napi::Env env, std::uint64_t number) {
    return Napi::Number::New(env, static_cast<double>(number));
  }
};

// A number or a bit set of the library; any 32-bit value passes.
template <class T>
struct Enum : AnyNumber {
  static T FromScript(Napi::Value value) { return static_cast<T>(value.ToNumber().Int32Value()); }
  static Napi::Value ToScript(Napi::Env env, T number) {
    return Napi::Number::New(env, static_cast<double>(static_cast<std::int32_t>(number)));
  }
};

// Whole seconds since the epoch; fractions of a second are cut toward zero. An invalid Date is
// stored as -1, the library's "no date".
struct Seconds {
  static bool Accepts(Napi::Value value) { return value.IsDate(); }
  static std::time_t FromScript(Napi::Value value);
  static Napi::Value ToScript(Napi::Env env, std::time_t seconds);
};

// As Seconds, but -1 reads as undefined.
struct OptionalSeconds : Seconds {
  static Napi::Value ToScript(Napi::Env env, std::time_t seconds);
};

// Bytes for scripts, always their own: writing into the Buffer changes nothing else. Takes over the
// block of data that nobody else holds, copies others. Null gives undefined.
Napi::Value BufferOf(Napi::Env env, brennox::Ref<brennox::Data> data);

// An array of strings. An element of another type is refused with a text of its own.
struct TextList {
  static bool Accepts(Napi::Value value) { return value.IsArray(); }
  static brennox::Array* FromScript(Napi::Value value);
  static Napi::Value ToScript(Napi::Env env, brennox::Array* texts);
};

// Set as a bare mailbox (no display name is parsed out of it), read in its full form, decoded.
struct Mailbox {
  static bool Accepts(Napi::Value value) { return value.IsString(); }
  static brennox::Address* FromScript(Napi::Value value);
  static Napi::Value ToScript(Napi::Env env, brennox::Address* address);
};

struct MailboxList {
  static bool Accepts(Napi::Value value) { return value.IsArray(); }
  static brennox::Array* FromScript(Napi::Value value);
  static Napi::Value ToScript(Napi::Env env, brennox::Array* addresses);
};

// The strings of a script array as brennox::String objects; an element of another type throws a
// TypeError with `text`. Autoreleased.
brennox::Array* TextsOf(Napi::Value array, const char* text);

// A script array with `convert(T*)` of each element; an absent array gives an empty one.
template <class T, class Convert>
Napi::Array ArrayOf(Napi::Env env, brennox::Array* array, Convert convert) {
  const std::uint32_t count = array == nullptr ? 0 : array->count();
  Napi::Array result = Napi::Array::New(env, count);
  // A scope costs about as much as an element, so that a few share one.
  constexpr std::uint32_t kElementsPerScope = 16;
  for (std::uint32_t i = 0; i < count;) {
    Napi::HandleScope scope(env);
    const std::uint32_t end = count - i > kElementsPerScope ? i + kElementsPerScope : count;
    for (; i < end; ++i) {
      const Napi::Value element = convert(array->at<T>(i));
      result.Set(i, element);
    }
  }
  return result;
}

}  // namespace velkor
