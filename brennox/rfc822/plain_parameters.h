// A field with parameters read where it stands, for the many that say what they mean as it is:
// nothing is copied but the value in front, and nothing decoded.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace brennox::rfc822 {

struct PlainParameters {
  // More belong to no field that mail programs write.
  static constexpr std::size_t kMax = 6;

  std::string value;

  // As those of a ParameterizedValue.
  std::string_view get(std::string_view name) const;
  std::string_view type() const;
  std::string_view subtype() const;

  struct Parameter {
    std::string_view name;  // in its own case
    std::string_view value;
  };
  std::array<Parameter, kMax> parameters;
  std::size_t count = 0;
};

// What parseParameterized(raw) would find, where that takes no more than cutting: a value, then
// names with printable ASCII. Nothing for fields with comments, encodings or faults.
std::optional<PlainParameters> readPlainParameters(std::string_view raw);

}  // namespace brennox::rfc822
