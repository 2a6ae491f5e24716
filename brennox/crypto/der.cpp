#include "crypto/der.h"

#include <cstdint>
#include <limits>

namespace brennox::crypto {
namespace {

// Values of indefinite length inside one another. Signed and enveloped data need six; a string in
// pieces of pieces adds few.
constexpr unsigned kMaxIndefiniteDepth = 32;
// Strings in pieces inside one another; OpenSSL gives up at the same depth.
constexpr unsigned kMaxStringDepth = 5;
// Octets of an object identifier and decimal digits of one of its numbers.
constexpr std::size_t kMaxOidLength = 64;

struct Head {
  unsigned char tag = 0;
  bool indefinite = false;
  std::size_t headLength = 0;
  std::size_t contentLength = 0;
};

bool readHead(std::string_view bytes, Head& head) noexcept {
  if (bytes.size() < 2) {
    return false;
  }
  head.tag = static_cast<unsigned char>(bytes[0]);
  if ((head.tag & 0x1F) == 0x1F) {
    return false;
  }
  const auto first = static_cast<unsigned char>(bytes[1]);
  head.indefinite = first == 0x80;
  head.headLength = 2;
  head.contentLength = 0;
  if (head.indefinite) {
    return (head.tag & kDerConstructed) != 0;
  }
  if (first < 0x80) {
    head.contentLength = first;
  } else {
    const std::size_t octets = first & 0x7FU;
    if (octets > sizeof(std::uint64_t) || bytes.size() - 2 < octets) {
      return false;
    }
    std::uint64_t length = 0;
    for (std::size_t i = 0; i < octets; ++i) {
      length = length << 8 | static_cast<unsigned char>(bytes[2 + i]);
    }
    if (length > std::numeric_limits<std::size_t>::max()) {
      return false;
    }
    head.headLength += octets;
    head.contentLength = static_cast<std::size_t>(length);
  }
  return bytes.size() - head.headLength >= head.contentLength;
}

bool isEndMarker(std::string_view bytes) noexcept {
  return bytes.size() >= 2 && bytes[0] == 0 && bytes[1] == 0;
}

// The length of a value of indefinite length, end marker included; 0 when malformed. `bytes` begin
// with its identifier.
std::size_t indefiniteLength(std::string_view bytes) noexcept {
  std::size_t position = 0;
  unsigned depth = 0;
  do {
    const std::string_view rest = bytes.substr(position);
    if (depth > 0 && isEndMarker(rest)) {
      --depth;
      position += 2;
      continue;
    }
    Head head;
    if (!readHead(rest, head)) {
      return 0;
    }
    position += head.headLength + head.contentLength;
    if (head.indefinite && ++depth > kMaxIndefiniteDepth) {
      return 0;
    }
  } while (depth > 0);
  return position;
}

}  // namespace

std::optional<DerValue> DerReader::next() noexcept {
  Head head;
  if (!readHead(rest_, head)) {
    return std::nullopt;
  }
  DerValue value;
  value.tag = head.tag;
  if (head.indefinite) {
    const std::size_t length = indefiniteLength(rest_);
    if (length == 0) {
      return std::nullopt;
    }
    value.whole = rest_.substr(0, length);
    value.content = value.whole.substr(head.headLength, length - head.headLength - 2);
  } else {
    value.whole = rest_.substr(0, head.headLength + head.contentLength);
    value.content = value.whole.substr(head.headLength);
  }
  rest_.remove_prefix(value.whole.size());
  return value;
}

std::optional<DerValue> DerReader::next(unsigned char tag) noexcept {
  return isNext(tag) ? next() : std::nullopt;
}

bool derOctets(const DerValue& value, std::vector<std::string_view>& pieces) {
  if (!value.isConstructed()) {
    pieces.push_back(value.content);
    return true;
  }
  std::vector<DerReader> open{DerReader(value.content)};
  while (!open.empty()) {
    if (open.back().atEnd()) {
      open.pop_back();
      continue;
    }
    const std::optional<DerValue> piece = open.back().next();
    if (!piece || (piece->tag & ~kDerConstructed) != kDerOctetString) {
      return false;
    }
    if (!piece->isConstructed()) {
      pieces.push_back(piece->content);
    } else if (open.size() < kMaxStringDepth) {
      open.emplace_back(piece->content);
    } else {
      return false;
    }
  }
  return true;
}

bool isDerObjectIdentifier(std::string_view oid) {
  return !derObjectIdentifierText(oid).empty();
}

std::string derObjectIdentifierText(std::string_view oid) {
  if (oid.empty() || oid.size() > kMaxOidLength ||
      (static_cast<unsigned char>(oid.back()) & 0x80)) {
    return {};
  }
  std::string text;
  std::uint64_t number = 0;
  bool isFirst = true;
  for (const char c : oid) {
    const auto octet = static_cast<unsigned char>(c);
    if (number > std::numeric_limits<std::uint64_t>::max() >> 7 || (number == 0 && octet == 0x80)) {
      return {};
    }
    number = number << 7 | (octet & 0x7FU);
    if (octet & 0x80) {
      continue;
    }
    if (isFirst) {
      const std::uint64_t root = number < 80 ? number / 40 : 2;
      text = std::to_string(root) + "." + std::to_string(number - root * 40);
      isFirst = false;
    } else {
      text += "." + std::to_string(number);
    }
    number = 0;
  }
  return text;
}

std::string derHead(unsigned char tag, std::size_t length) {
  std::string head(1, static_cast<char>(tag));
  if (length < 0x80) {
    head += static_cast<char>(length);
    return head;
  }
  std::string octets;
  for (std::size_t rest = length; rest != 0; rest >>= 8) {
    octets.insert(octets.begin(), static_cast<char>(rest & 0xFF));
  }
  head += static_cast<char>(0x80U | octets.size());
  return head + octets;
}

std::string derWrap(unsigned char tag, std::string_view content) {
  std::string value = derHead(tag, content.size());
  value += content;
  return value;
}

}  // namespace brennox::crypto
