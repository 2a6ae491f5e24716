#include "main/Kinds.h"

#include <brennox/Address.h>

#include <cmath>
#include <utility>

#include "main/Arguments.h"
#include "main/ScriptString.h"

namespace velkor {
namespace {

constexpr char kNoPolicy[] = "kupNone";
constexpr char kElementText[] = "array value must be Array of strings";
constexpr double kMillisecondsPerSecond = 1000.0;

// Below this size a copy costs less than a Buffer with a finalizer.
constexpr std::size_t kSmallestSharedBlock = 4096;

template <class Convert>
brennox::Array* EachString(Napi::Value value, const char* text, Convert convert) {
  const Napi::Array array = value.As<Napi::Array>();
  auto* const result = brennox::Array::array();
  const std::uint32_t length = array.Length();
  for (std::uint32_t i = 0; i < length; ++i) {
    Napi::HandleScope scope(array.Env());
    const Napi::Value element = array.Get(i);
    Require(element.IsString(), array.Env(), text);
    result->addObject(convert(element));
  }
  return result;
}

}  // namespace

brennox::String* Text::FromScript(Napi::Value value) {
  return brennox::makeAutoreleased<brennox::String>(Utf8(value));
}

Napi::Value Text::ToScript(Napi::Env env, brennox::String* text) {
  return ScriptString(env, text);
}

Napi::Value OptionalText::ToScript(Napi::Env env, brennox::String* text) {
  return text == nullptr ? env.Undefined() : Text::ToScript(env, text);
}

Napi::Value PolicyName::ToScript(Napi::Env env, brennox::String* name) {
  return name == nullptr ? ScriptString(env, kNoPolicy) : Text::ToScript(env, name);
}

std::string PlainText::FromScript(Napi::Value value) {
  return Utf8(value);
}

Napi::Value PlainText::ToScript(Napi::Env env, const std::string& text) {
  return ScriptString(env, text);
}

std::time_t Seconds::FromScript(Napi::Value value) {
  const double milliseconds = value.As<Napi::Date>().ValueOf();
  if (std::isnan(milliseconds)) {
    return -1;
  }
  return static_cast<std::time_t>(milliseconds / kMillisecondsPerSecond);
}

Napi::Value Seconds::ToScript(Napi::Env env, std::time_t seconds) {
  return Napi::Date::New(env, static_cast<double>(seconds) * kMillisecondsPerSecond);
}

Napi::Value OptionalSeconds::ToScript(Napi::Env env, std::time_t seconds) {
  return seconds == -1 ? env.Undefined() : Seconds::ToScript(env, seconds);
}

Napi::Value BufferOf(Napi::Env env, brennox::Ref<brennox::Data> data) {
  if (!data) {
    return env.Undefined();
  }
  if (data->length() < kSmallestSharedBlock) {
    // Without a look at what has just been made, which a Napi::Buffer takes.
    napi_value copy = nullptr;
    if (napi_create_buffer_copy(env, data->length(), data->bytes(), nullptr, &copy) != napi_ok) {
      throw Napi::Error::New(env);
    }
    return {env, copy};
  }
  if (!data->isUnique()) {
    data = brennox::make<brennox::Data>(data->bytes(), data->length());
  }
  const std::size_t length = data->length();
  // The block is this Buffer's alone from here on, so that scripts may write into it.
  char* const bytes = const_cast<char*>(data->bytes());
  brennox::Data* const owned = data.get();
  auto buffer = Napi::Buffer<char>::NewOrCopy(
      env, bytes, length, [](Napi::BasicEnv, char*, brennox::Data* kept) { kept->release(); },
      owned);
  static_cast<void>(data.leak());
  return buffer;
}

brennox::Array* TextsOf(Napi::Value array, const char* text) {
  return EachString(array, text, [](Napi::Value element) { return Text::FromScript(element); });
}

brennox::Array* TextList::FromScript(Napi::Value value) {
  return TextsOf(value, kElementText);
}

Napi::Value TextList::ToScript(Napi::Env env, brennox::Array* texts) {
  return ArrayOf<brennox::String>(
      env, texts, [env](brennox::String* text) { return Text::ToScript(env, text); });
}

brennox::Address* Mailbox::FromScript(Napi::Value value) {
  return brennox::Address::addressWithMailbox(Text::FromScript(value));
}

Napi::Value Mailbox::ToScript(Napi::Env env, brennox::Address* address) {
  return Text::ToScript(env, address == nullptr ? nullptr : address->nonEncodedRFC822String());
}

brennox::Array* MailboxList::FromScript(Napi::Value value) {
  return EachString(value, kElementText,
                    [](Napi::Value element) { return Mailbox::FromScript(element); });
}

Napi::Value MailboxList::ToScript(Napi::Env env, brennox::Array* addresses) {
  return ArrayOf<brennox::Address>(
      env, addresses, [env](brennox::Address* address) { return Mailbox::ToScript(env, address); });
}

}  // namespace velkor
