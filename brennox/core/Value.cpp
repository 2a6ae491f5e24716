#include <brennox/Ref.h>
#include <brennox/String.h>
#include <brennox/Value.h>

#include <cmath>
#include <functional>
#include <type_traits>

namespace brennox {
namespace {

// A number as T; a double outside T's range, which no cast may take, reads as 0.
template <class T, class From>
T numberAs(From value) noexcept {
  if constexpr (std::is_floating_point_v<From> && std::is_integral_v<T>) {
    const double limit = std::ldexp(1.0, std::numeric_limits<T>::digits);
    const double low = std::is_signed_v<T> ? -limit : 0.0;
    return value >= low && value < limit ? static_cast<T>(value) : T{0};
  } else {
    return static_cast<T>(value);
  }
}

template <class T, class Variant>
T convert(const Variant& variant) noexcept {
  return std::visit([](auto value) { return numberAs<T>(value); }, variant);
}

}  // namespace

Value* Value::valueWithBoolValue(bool value) {
  return Ref<Value>::adopt(new Value(Variant(value))).autoreleased();
}
Value* Value::valueWithIntValue(std::int32_t value) {
  return Ref<Value>::adopt(new Value(Variant(value))).autoreleased();
}
Value* Value::valueWithUnsignedIntValue(std::uint32_t value) {
  return Ref<Value>::adopt(new Value(Variant(value))).autoreleased();
}
Value* Value::valueWithLongLongValue(std::int64_t value) {
  return Ref<Value>::adopt(new Value(Variant(value))).autoreleased();
}
Value* Value::valueWithUnsignedLongLongValue(std::uint64_t value) {
  return Ref<Value>::adopt(new Value(Variant(value))).autoreleased();
}
Value* Value::valueWithDoubleValue(double value) {
  return Ref<Value>::adopt(new Value(Variant(value))).autoreleased();
}

bool Value::boolValue() const noexcept {
  return std::visit([](auto value) { return value != decltype(value){}; }, value_);
}
std::int32_t Value::intValue() const noexcept {
  return convert<std::int32_t>(value_);
}
std::uint32_t Value::unsignedIntValue() const noexcept {
  return convert<std::uint32_t>(value_);
}
std::int64_t Value::longLongValue() const noexcept {
  return convert<std::int64_t>(value_);
}
std::uint64_t Value::unsignedLongLongValue() const noexcept {
  return convert<std::uint64_t>(value_);
}
double Value::doubleValue() const noexcept {
  return convert<double>(value_);
}

String* Value::description() {
  return std::visit(
      [](auto value) {
        if constexpr (std::is_same_v<decltype(value), bool>) {
          return String::stringWithUTF8Characters(value ? "true" : "false");
        } else {
          return String::stringWithText(std::to_string(value));
        }
      },
      value_);
}

// Immutable: a copy is the object itself.
Object* Value::copy() {
  return Ref<Value>(this).autoreleased();
}

bool Value::isEqual(Object* other) {
  const auto* value = dynamic_cast<Value*>(other);
  return value != nullptr && value->value_ == value_;
}

std::size_t Value::hash() {
  return std::hash<Variant>()(value_);
}

}  // namespace brennox
