#include "imap/WIMAPFolder.h"

#include "main/Arguments.h"
#include "main/Kinds.h"

namespace velkor {

Napi::Function WIMAPFolder::Define(Napi::Env env) {
  using F = brennox::IMAPFolder;
  const Members members = {
      Property<Text, &F::path, &F::setPath>("path", "Value must be string"),
      Accessor<&WIMAPFolder::Delimiter, &WIMAPFolder::SetDelimiter>("delimiter"),
      Property<Enum<brennox::IMAPFolderFlag>, &F::flags, &F::setFlags>("flags",
                                                                       "Value must be number"),

      Getter<Text, &F::description>("description"),
  };
  return DefineClass(env, kName, members);
}

// Always one character, U+0000 for a folder without hierarchy.
Napi::Value WIMAPFolder::Delimiter(const Napi::CallbackInfo& info) {
  const char delimiter = held()->delimiter();
  napi_value text = nullptr;
  if (napi_create_string_latin1(info.Env(), &delimiter, 1, &text) != napi_ok) {
    throw Napi::Error::New(info.Env());
  }
  return {info.Env(), text};
}

// The first byte of the text; a zero byte for the empty one.
void WIMAPFolder::SetDelimiter(const Napi::CallbackInfo& info, const Napi::Value& value) {
  Require(value.IsString(), info.Env(), "Value must be string");
  held()->setDelimiter(Utf8(value).c_str()[0]);
}

}  // namespace velkor
