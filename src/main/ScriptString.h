// Texts of the library as strings of scripts.
#pragma once

#include <brennox/String.h>
#include <napi.h>

#include <string_view>

namespace velkor {

Napi::Value ScriptString(Napi::Env env, std::string_view text);

// The same without a copy where the text is long and is ASCII. Null reads as "".
Napi::Value ScriptString(Napi::Env env, brennox::String* text);

}  // namespace velkor
