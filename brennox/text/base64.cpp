#include "text/base64.h"

#include <cstdint>

namespace brennox::text {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

void base64Encode(std::string_view bytes, char* out) {
  const auto* in = reinterpret_cast<const unsigned char*>(bytes.data());
  std::size_t rest = bytes.size();
  for (; rest >= 3; rest -= 3, in += 3) {
    const std::uint32_t group =
        static_cast<std::uint32_t>(in[0]) << 16 | static_cast<std::uint32_t>(in[1]) << 8 | in[2];
    *out++ = kAlphabet[group >> 18];
    *out++ = kAlphabet[group >> 12 & 63];
    *out++ = kAlphabet[group >> 6 & 63];
    *out++ = kAlphabet[group & 63];
  }
  if (rest == 0) {
    return;
  }
  const std::uint32_t group = static_cast<std::uint32_t>(in[0]) << 16 |
                              (rest == 2 ? static_cast<std::uint32_t>(in[1]) << 8 : 0U);
  *out++ = kAlphabet[group >> 18];
  *out++ = kAlphabet[group >> 12 & 63];
  *out++ = rest == 2 ? kAlphabet[group >> 6 & 63] : '=';
  *out = '=';
}

}  // namespace brennox::text
