// A number or truth value as an object, for arrays and maps. Immutable.
#pragma once

#include <brennox/Object.h>

#include <cstdint>
#include <variant>

namespace brennox {

class BRENNOX_EXPORT Value : public Object {
 public:
  enum class Type { kBool, kInt, kUnsignedInt, kInt64, kUnsignedInt64, kDouble };

  static Value* valueWithBoolValue(bool value);
  static Value* valueWithIntValue(std::int32_t value);
  static Value* valueWithUnsignedIntValue(std::uint32_t value);
  static Value* valueWithLongLongValue(std::int64_t value);
  static Value* valueWithUnsignedLongLongValue(std::uint64_t value);
  static Value* valueWithDoubleValue(double value);

  Type type() const noexcept { return static_cast<Type>(value_.index()); }
  bool boolValue() const noexcept;
  // Conversions between the number types wrap as C++ casts do; out-of-range doubles read as 0.
  std::int32_t intValue() const noexcept;
  std::uint32_t unsignedIntValue() const noexcept;
  std::int64_t longLongValue() const noexcept;
  std::uint64_t unsignedLongLongValue() const noexcept;
  double doubleValue() const noexcept;

  String* description() override;
  Object* copy() override;
  bool isEqual(Object* other) override;
  std::size_t hash() override;

 protected:
  const char* className() const override { return "Value"; }

 private:
  using Variant =
      std::variant<bool, std::int32_t, std::uint32_t, std::int64_t, std::uint64_t, double>;
  explicit Value(Variant value) noexcept : value_(value) {}
  Variant value_;
};

}  // namespace brennox
