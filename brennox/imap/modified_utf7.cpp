#include "imap/modified_utf7.h"

#include <array>
#include <cstdint>
#include <optional>

namespace brennox::imap {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+,";
constexpr std::uint8_t kNone = 255;

constexpr std::array<std::uint8_t, 256> makeValues() {
  std::array<std::uint8_t, 256> values{};
  for (std::uint8_t& value : values) {
    value = kNone;
  }
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return values;
}
constexpr std::array<std::uint8_t, 256> kValues = makeValues();

bool isPrintable(std::uint32_t c) {
  return c >= 0x20 && c <= 0x7E;
}

// The code point at `p`, which is moved behind it; U+FFFD and one byte for anything that is no
// UTF-8.
std::uint32_t nextCodePoint(std::string_view text, std::size_t* p) {
  const auto byte = [&](std::size_t i) -> std::uint32_t {
    return static_cast<unsigned char>(text[i]);
  };
  const std::uint32_t first = byte(*p);
  const std::size_t left = text.size() - *p;
  std::size_t length = 0;
  std::uint32_t c = 0;
  std::uint32_t least = 0;
  if (first < 0x80) {
    ++*p;
    return first;
  }
  if (first >= 0xC2 && first <= 0xDF) {
    length = 2;
    c = first & 0x1F;
    least = 0x80;
  } else if (first >= 0xE0 && first <= 0xEF) {
    length = 3;
    c = first & 0x0F;
    least = 0x800;
  } else if (first >= 0xF0 && first <= 0xF4) {
    length = 4;
    c = first & 0x07;
    least = 0x10000;
  }
  if (length == 0 || left < length) {
    ++*p;
    return 0xFFFD;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(*p + i) & 0xC0) != 0x80) {
      ++*p;
      return 0xFFFD;
    }
    c = (c << 6) | (byte(*p + i) & 0x3F);
  }
  if (c < least || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
    ++*p;
    return 0xFFFD;
  }
  *p += length;
  return c;
}

void appendUTF8(std::string* out, std::uint32_t c) {
  if (c < 0x80) {
    *out += static_cast<char>(c);
  } else if (c < 0x800) {
    *out += static_cast<char>(0xC0 | (c >> 6));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    *out += static_cast<char>(0xE0 | (c >> 12));
    *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    *out += static_cast<char>(0xF0 | (c >> 18));
    *out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// Packs UTF-16 units into the base64 of one shifted run.
class Shifted {
 public:
  explicit Shifted(std::string* out) : out_(out) {}

  void unit(std::uint32_t value) {
    if (!open_) {
      *out_ += '&';
      open_ = true;
    }
    bits_ = (bits_ << 16) | value;
    count_ += 16;
    while (count_ >= 6) {
      count_ -= 6;
      *out_ += kAlphabet[(bits_ >> count_) & 0x3F];
    }
    bits_ &= (1U << count_) - 1;
  }

  void close() {
    if (!open_) {
      return;
    }
    if (count_ > 0) {
      *out_ += kAlphabet[(bits_ << (6 - count_)) & 0x3F];
    }
    *out_ += '-';
    open_ = false;
    bits_ = 0;
    count_ = 0;
  }

 private:
  std::string* out_;
  bool open_ = false;
  std::uint32_t bits_ = 0;
  unsigned count_ = 0;
};

// The run between '&' and '-', never empty; false when it is no well-formed run of UTF-16.
bool decodeShifted(std::string_view run, std::string* out) {
  std::uint32_t bits = 0;
  unsigned count = 0;
  std::uint32_t high = 0;
  for (const char c : run) {
    const std::uint8_t value = kValues[static_cast<unsigned char>(c)];
    if (value == kNone) {
      return false;
    }
    bits = (bits << 6) | value;
    count += 6;
    if (count < 16) {
      continue;
    }
    count -= 16;
    const std::uint32_t unit = (bits >> count) & 0xFFFF;
    bits &= (1U << count) - 1;
    if (high != 0) {
      if (unit < 0xDC00 || unit > 0xDFFF) {
        return false;
      }
      appendUTF8(out, 0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00));
      high = 0;
    } else if (unit >= 0xD800 && unit <= 0xDBFF) {
      high = unit;
    } else if ((unit >= 0xDC00 && unit <= 0xDFFF) || isPrintable(unit)) {
      return false;
    } else {
      appendUTF8(out, unit);
    }
  }
  return high == 0 && count < 6 && bits == 0;
}

}  // namespace

std::string encodeModifiedUTF7(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  Shifted shifted(&out);
  std::size_t p = 0;
  while (p < text.size()) {
    const std::uint32_t c = nextCodePoint(text, &p);
    if (isPrintable(c)) {
      shifted.close();
      out += static_cast<char>(c);
      if (c == '&') {
        out += '-';
      }
    } else if (c >= 0x10000) {
      shifted.unit(0xD800 + ((c - 0x10000) >> 10));
      shifted.unit(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      shifted.unit(c);
    }
  }
  shifted.close();
  return out;
}

std::string decodeModifiedUTF7(std::string_view name) {
  std::string out;
  out.reserve(name.size());
  std::size_t p = 0;
  while (p < name.size()) {
    const char c = name[p];
    if (!isPrintable(static_cast<unsigned char>(c))) {
      return std::string(name);
    }
    ++p;
    if (c != '&') {
      out += c;
      continue;
    }
    const std::size_t end = name.find('-', p);
    if (end == std::string_view::npos) {
      return std::string(name);
    }
    if (end == p) {
      out += '&';
    } else if (!decodeShifted(name.substr(p, end - p), &out)) {
      return std::string(name);
    }
    p = end + 1;
  }
  return out;
}

}  // namespace brennox::imap
