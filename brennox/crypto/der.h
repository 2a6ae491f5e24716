// Reading and writing the bytes of ASN.1 values (X.690): as much of BER as mail programs use,
// bounded.
//
// Indefinite lengths and strings in pieces are read, since programs that stream write them. Tag
// numbers above 30 are not: nothing that is looked at here has one. Nothing recurses.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brennox::crypto {

// Identifier octets of the values that are looked at.
inline constexpr unsigned char kDerInteger = 0x02;
inline constexpr unsigned char kDerOctetString = 0x04;
inline constexpr unsigned char kDerNull = 0x05;
inline constexpr unsigned char kDerObjectIdentifier = 0x06;
inline constexpr unsigned char kDerSequence = 0x30;
inline constexpr unsigned char kDerSet = 0x31;
inline constexpr unsigned char kDerConstructed = 0x20;

// [number] in the context of the structure it stands in.
constexpr unsigned char derContext(unsigned number, bool constructed) {
  return static_cast<unsigned char>(0x80U | (constructed ? kDerConstructed : 0U) | number);
}

// One value. The views point into the input.
struct DerValue {
  unsigned char tag = 0;
  std::string_view whole;    // identifier, length and content, end marker included
  std::string_view content;  // without the end marker

  bool isConstructed() const noexcept { return (tag & kDerConstructed) != 0; }
};

// Walks over values that stand one after another.
class DerReader {
 public:
  explicit DerReader(std::string_view bytes) noexcept : rest_(bytes) {}

  bool atEnd() const noexcept { return rest_.empty(); }
  std::string_view rest() const noexcept { return rest_; }
  // True when the next value begins with this identifier octet.
  bool isNext(unsigned char tag) const noexcept {
    return !rest_.empty() && static_cast<unsigned char>(rest_[0]) == tag;
  }

  // The next value, and moves past it; nothing when the bytes are malformed or have come to an end.
  std::optional<DerValue> next() noexcept;
  // As next(), if the value has this identifier octet; otherwise stays.
  std::optional<DerValue> next(unsigned char tag) noexcept;

 private:
  std::string_view rest_;
};

// Appends the pieces of an octet string to `pieces`: one for the primitive form, those of the
// nested strings in order for the constructed form. `value` may have any tag (implicit tagging).
// False when malformed.
bool derOctets(const DerValue& value, std::vector<std::string_view>& pieces);

// True when `oid` is the content of an object identifier that can be written with dots.
bool isDerObjectIdentifier(std::string_view oid);
// "1.2.840.113549.1.7.1"; "" when malformed or longer than any that exists.
std::string derObjectIdentifierText(std::string_view oid);

// One value in definite length.
std::string derWrap(unsigned char tag, std::string_view content);
// The identifier and length octets alone, for content of `length` octets that is written elsewhere.
std::string derHead(unsigned char tag, std::size_t length);

}  // namespace brennox::crypto
