// Immutable UTF-8 text.
#pragma once

#include <brennox/Data.h>
#include <brennox/Object.h>
#include <brennox/Ref.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace brennox {

// The text is immutable, so a String may be read from any thread. Getters of other classes that
// return String* return null where nothing is set, unless their header says otherwise.
class BRENNOX_EXPORT String : public Object {
 public:
  // The text of a zero-terminated UTF-8 string; null reads as the empty text.
  explicit String(const char* utf8 = nullptr);
  String(const char* utf8, std::size_t length);
  explicit String(std::string text) noexcept;
  // Takes a filled block. Its last byte is a zero that is not part of the text.
  explicit String(Ref<Block> text) noexcept;

  // Autoreleased twins of the constructors.
  static String* string();
  static String* stringWithUTF8Characters(const char* utf8);
  static String* stringWithUTF8Characters(const char* utf8, std::size_t length);
  static String* stringWithText(std::string_view text);

  // One shared String per distinct text for the life of the process. For names that recur (header
  // fields, folder names), not for content.
  static String* uniquedStringWithUTF8Characters(const char* utf8);
  static String* uniquedStringWithText(std::string_view text);

  // Zero-terminated; lives as long as this object.
  const char* UTF8Characters() const noexcept { return view().data(); }
  // In bytes.
  std::size_t length() const noexcept { return view().size(); }
  std::string_view view() const noexcept {
    return block_ ? std::string_view(block_->bytes(), block_->size() - 1) : std::string_view(text_);
  }
  bool isEmpty() const noexcept { return view().empty(); }

  // The UTF-8 bytes as Data.
  Data* dataUsingUTF8();

  String* description() override;
  Object* copy() override;
  bool isEqual(Object* other) override;
  std::size_t hash() override;

 protected:
  const char* className() const override { return "String"; }

 private:
  // Large texts stand in a block; then `text_` is empty.
  Ref<Block> block_;
  std::string text_;
};

// The text of a String, or the empty text for null.
inline std::string_view textOf(const String* string) {
  return string == nullptr ? std::string_view() : string->view();
}

}  // namespace brennox
