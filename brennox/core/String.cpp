#include <brennox/Data.h>
#include <brennox/Ref.h>
#include <brennox/String.h>

#include <functional>
#include <mutex>
#include <unordered_map>

namespace brennox {

String::String(const char* utf8) : text_(utf8 == nullptr ? "" : utf8) {}
String::String(const char* utf8, std::size_t length)
    : text_(utf8 == nullptr ? "" : utf8, utf8 == nullptr ? 0 : length) {}
String::String(std::string text) noexcept : text_(std::move(text)) {}
String::String(Ref<Block> text) noexcept : block_(std::move(text)) {}

String* String::string() {
  return makeAutoreleased<String>();
}

String* String::stringWithUTF8Characters(const char* utf8) {
  return makeAutoreleased<String>(utf8);
}

String* String::stringWithUTF8Characters(const char* utf8, std::size_t length) {
  return makeAutoreleased<String>(utf8, length);
}

String* String::stringWithText(std::string_view text) {
  return makeAutoreleased<String>(text.data(), text.size());
}

String* String::uniquedStringWithUTF8Characters(const char* utf8) {
  return uniquedStringWithText(utf8 == nullptr ? std::string_view() : utf8);
}

String* String::uniquedStringWithText(std::string_view text) {
  // Never destroyed: strings outlive static destruction and threads that still run then.
  static std::mutex* const lock = new std::mutex;
  static auto* const table = new std::unordered_map<std::string_view, String*>;
  // What scripts hand in is interned too, so the table must not grow without end.
  constexpr std::size_t kMaxUniqued = 16384;
  constexpr std::size_t kMaxUniquedLength = 256;
  const std::lock_guard<std::mutex> guard(*lock);
  if (const auto found = table->find(text); found != table->end()) {
    return found->second;
  }
  if (table->size() >= kMaxUniqued || text.size() > kMaxUniquedLength) {
    return stringWithText(text);
  }
  String* const added = new String(text.data(), text.size());
  table->emplace(added->view(), added);
  return added;
}

Data* String::dataUsingUTF8() {
  return Data::dataWithBytes(view().data(), view().size());
}

String* String::description() {
  return Ref<String>(this).autoreleased();
}

// Immutable: a copy is the object itself.
Object* String::copy() {
  return Ref<String>(this).autoreleased();
}

bool String::isEqual(Object* other) {
  const auto* string = dynamic_cast<String*>(other);
  return string != nullptr && string->view() == view();
}

std::size_t String::hash() {
  return std::hash<std::string_view>()(view());
}

}  // namespace brennox
