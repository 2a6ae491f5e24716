// Node-API's own decoder of UTF-8 looks at each byte twice; ASCII, as most texts are, needs none.
//
// Long texts are not copied to the engine's heap: it takes fresh pages for each long string, and
// faulting them in costs several times what is done to the text. They stay in blocks of the
// library, whose pages serve one long text after the other, and the engine refers to them.
#include "main/ScriptString.h"

#include <brennox/Data.h>
#include <brennox/Ref.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include "main/Utf16.h"

// Since Node.js 20.4; the headers show them from Node-API 10 on only. Null in older versions.
extern "C" {
__attribute__((weak)) napi_status node_api_create_external_string_latin1(
    napi_env env, char* text, std::size_t length, napi_finalize finalize, void* hint,
    napi_value* result, bool* copied);
__attribute__((weak)) napi_status node_api_create_external_string_utf16(
    napi_env env, char16_t* text, std::size_t length, napi_finalize finalize, void* hint,
    napi_value* result, bool* copied);
}

namespace velkor {
namespace {

// In bytes of the string; blocks of this size have pages of their own.
constexpr std::size_t kLongString = std::size_t{1} << 20;

bool IsAscii(std::string_view text) {
  constexpr std::size_t kStep = 4096;
  while (!text.empty()) {
    const std::string_view step = text.substr(0, kStep);
    // All bytes of a step, without a way out of the loop: the compiler then looks at many at a
    // time.
    unsigned int all = 0;
    for (const char c : step) {
      all |= static_cast<unsigned char>(c);
    }
    if (all >= 0x80) {
      return false;
    }
    text.remove_prefix(step.size());
  }
  return true;
}

// What a string of the engine refers to.
struct Held {
  brennox::Ref<brennox::Object> object;
  std::int64_t bytes = 0;
};

// The engine counts what strings hold elsewhere, but does not hurry to collect for it.
void Weigh(napi_env env, std::int64_t bytes) {
  std::int64_t total = 0;
  napi_adjust_external_memory(env, bytes, &total);
}

// Also called where no string was made. An environment that has ended is null.
void Release(napi_env env, void* /*text*/, void* hint) {
  const std::unique_ptr<Held> held(static_cast<Held*>(hint));
  if (env != nullptr) {
    Weigh(env, -held->bytes);
  }
}

// Null where the engine cannot do it, or not with so long a text.
template <class Create, class Unit>
napi_value Refer(Napi::Env env, Create* create, const Unit* text, std::size_t length,
                 brennox::Ref<brennox::Object> owner) {
  if (create == nullptr) {
    return nullptr;
  }
  const auto bytes = static_cast<std::int64_t>(length * sizeof(Unit));
  auto* const held = new Held{std::move(owner), bytes};
  Weigh(env, bytes);
  napi_value result = nullptr;
  bool copied = false;
  if (create(env, const_cast<Unit*>(text), length, Release, held, &result, &copied) != napi_ok) {
    Release(env, nullptr, held);
    return nullptr;
  }
  return result;
}

// A long text in UTF-16. Its length is guessed by how the text begins, which saves a walk through
// all of it.
class LongText {
 public:
  // False for what is not UTF-8.
  bool Convert(std::string_view text) {
    Reserve(Utf16Length(text.substr(0, kPiece)) * (text.size() / kPiece + 1));
    while (!text.empty()) {
      const std::string_view piece = text.substr(0, WholeCharacters(text));
      if (capacity_ - length_ < piece.size()) {
        Reserve(Utf16Length(text));
      }
      const std::size_t added = ToUtf16(piece, mutableUnits() + length_);
      if (added == kNotUtf8) {
        return false;
      }
      length_ += added;
      text.remove_prefix(piece.size());
    }
    return true;
  }

  const char16_t* units() const { return reinterpret_cast<const char16_t*>(block_->bytes()); }
  std::size_t length() const { return length_; }
  const brennox::Ref<brennox::Block>& block() const { return block_; }

 private:
  static constexpr std::size_t kPiece = std::size_t{1} << 16;

  char16_t* mutableUnits() { return reinterpret_cast<char16_t*>(block_->bytes()); }

  // The end of the first piece, which is not inside of a character.
  static std::size_t WholeCharacters(std::string_view text) {
    if (text.size() <= kPiece) {
      return text.size();
    }
    std::size_t end = kPiece;
    while (end > kPiece - 3 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
      --end;
    }
    return end;
  }

  // Room for so many units more, and for a piece that is all ASCII.
  void Reserve(std::size_t more) {
    const std::size_t capacity = length_ + more + kPiece;
    auto block = brennox::Block::allocate((capacity + kUtf16Overhang) * sizeof(char16_t));
    if (length_ != 0) {
      std::memcpy(block->bytes(), block_->bytes(), length_ * sizeof(char16_t));
    }
    block_ = std::move(block);
    capacity_ = capacity;
  }

  brennox::Ref<brennox::Block> block_;
  std::size_t capacity_ = 0;
  std::size_t length_ = 0;
};

napi_value LongString(Napi::Env env, std::string_view text) {
  LongText converted;
  if (!converted.Convert(text) || converted.length() * sizeof(char16_t) < kLongString) {
    return nullptr;
  }
  return Refer(env, node_api_create_external_string_utf16, converted.units(), converted.length(),
               brennox::Ref<brennox::Object>(converted.block().get()));
}

Napi::Value Value(Napi::Env env, napi_status status, napi_value value) {
  if (status != napi_ok) {
    throw Napi::Error::New(env);
  }
  return {env, value};
}

Napi::Value Latin1(Napi::Env env, std::string_view text) {
  napi_value result = nullptr;
  const napi_status status = napi_create_string_latin1(env, text.data(), text.size(), &result);
  return Value(env, status, result);
}

Napi::Value Copied(Napi::Env env, std::string_view text) {
  constexpr std::size_t kOnStack = 512;
  char16_t small[kOnStack];
  std::unique_ptr<char16_t[]> large;
  if (text.size() > kOnStack) {
    large = std::make_unique_for_overwrite<char16_t[]>(text.size());
  }
  char16_t* const units = large ? large.get() : small;
  const std::size_t length = ToUtf16(text, units);
  napi_value result = nullptr;
  const napi_status status = length == kNotUtf8
                                 ? napi_create_string_utf8(env, text.data(), text.size(), &result)
                                 : napi_create_string_utf16(env, units, length, &result);
  return Value(env, status, result);
}

}  // namespace

Napi::Value ScriptString(Napi::Env env, std::string_view text) {
  if (IsAscii(text)) {
    return Latin1(env, text);
  }
  if (text.size() >= kLongString) {
    if (napi_value const result = LongString(env, text)) {
      return {env, result};
    }
  }
  return Copied(env, text);
}

Napi::Value ScriptString(Napi::Env env, brennox::String* text) {
  const std::string_view view = brennox::textOf(text);
  if (view.size() >= kLongString && IsAscii(view)) {
    if (napi_value const result = Refer(env, node_api_create_external_string_latin1, view.data(),
                                        view.size(), brennox::Ref<brennox::Object>(text))) {
      return {env, result};
    }
  }
  return ScriptString(env, view);
}

}  // namespace velkor
