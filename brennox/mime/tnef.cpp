// A stream is a flat list of attributes; two of them hold lists of properties. Every length is
// checked against what is left before it is used.
#include "mime/tnef.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "text/charset.h"

namespace brennox::mime {
namespace {

constexpr std::uint32_t kSignature = 0x223E9F78;
// Attachments and properties beyond these are left out.
constexpr std::size_t kMaxAttachments = 10'000;
constexpr std::size_t kMaxProperties = 10'000;
// A name or text property longer than this is cut.
constexpr std::size_t kMaxName = 1000;

enum Attribute : std::uint32_t {
  kAttachTitle = 0x00018010,
  kSubject = 0x00018004,
  kBody = 0x0002800C,
  kAttachData = 0x0006800F,
  kAttachRendData = 0x00069002,
  kMessageProperties = 0x00069003,
  kAttachProperties = 0x00069005,
  kOemCodepage = 0x00069007,
};

enum Property : std::uint16_t {
  kPropSubject = 0x0037,
  kPropBody = 0x1000,
  kPropRtf = 0x1009,
  kPropHtml = 0x1013,
  kPropDisplayName = 0x3001,
  kPropAttachData = 0x3701,
  kPropAttachFilename = 0x3704,
  kPropAttachLongFilename = 0x3707,
  kPropAttachMimeTag = 0x370E,
  kPropAttachContentID = 0x3712,
  kPropInternetCodepage = 0x3FDE,
};

enum PropertyType : std::uint16_t {
  kTypeObject = 0x000D,
  kTypeString8 = 0x001E,
  kTypeUnicode = 0x001F,
  kTypeBinary = 0x0102,
};

// Reads little-endian numbers; after the first failure everything fails.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  bool failed() const { return failed_; }
  std::string_view rest() const { return rest_; }

  std::string_view take(std::size_t length) {
    if (rest_.size() < length) {
      failed_ = true;
      rest_ = {};
      return {};
    }
    const std::string_view taken = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return taken;
  }
  // The same, but takes what is there when that is less.
  std::string_view takeUpTo(std::size_t length) { return take(std::min(length, rest_.size())); }

  std::uint32_t number(std::size_t size) {
    const std::string_view bytes = take(size);
    std::uint32_t value = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) {
      value = value << 8 | static_cast<unsigned char>(bytes[i]);
    }
    return value;
  }
  std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
  std::uint32_t u32() { return number(4); }

 private:
  std::string_view rest_;
  bool failed_ = false;
};

std::string_view untilNul(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

void appendUtf8(std::string& out, std::uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | c >> 6);
    out += static_cast<char>(0x80 | (c & 63));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | c >> 12);
    out += static_cast<char>(0x80 | (c >> 6 & 63));
    out += static_cast<char>(0x80 | (c & 63));
  } else {
    out += static_cast<char>(0xF0 | c >> 18);
    out += static_cast<char>(0x80 | (c >> 12 & 63));
    out += static_cast<char>(0x80 | (c >> 6 & 63));
    out += static_cast<char>(0x80 | (c & 63));
  }
}

std::string fromUtf16(std::string_view bytes) {
  std::string out;
  const auto unit = [bytes](std::size_t i) {
    return static_cast<std::uint32_t>(
        static_cast<unsigned char>(bytes[i]) |
        static_cast<unsigned int>(static_cast<unsigned char>(bytes[i + 1])) << 8);
  };
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    std::uint32_t c = unit(i);
    if (c == 0) {
      break;
    }
    if (c >= 0xD800 && c < 0xDC00 && i + 3 < bytes.size()) {
      const std::uint32_t low = unit(i + 2);
      if (low >= 0xDC00 && low < 0xE000) {
        c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        i += 2;
      }
    }
    appendUtf8(out, c >= 0xD800 && c < 0xE000 ? 0xFFFD : c);
  }
  return out;
}

std::string charsetOfCodepage(std::uint32_t codepage) {
  switch (codepage) {
    case 0:
      return {};
    case 65001:
      return "utf-8";
    case 20127:
      return "us-ascii";
    case 20866:
      return "koi8-r";
    case 21866:
      return "koi8-u";
    case 932:
      return "shift_jis";
    case 936:
      return "gb18030";
    case 949:
      return "euc-kr";
    case 950:
      return "big5";
    case 50220:
    case 50221:
    case 50222:
      return "iso-2022-jp";
    case 51932:
      return "euc-jp";
    case 54936:
      return "gb18030";
    default:
      break;
  }
  if (codepage > 28590 && codepage < 28606) {
    return "iso-8859-" + std::to_string(codepage - 28590);
  }
  return (codepage < 1000 ? "cp" : "windows-") + std::to_string(codepage);
}

struct PropertyValue {
  std::uint16_t id = 0;
  std::uint16_t type = 0;
  // The first value.
  std::string_view bytes;
};

std::size_t fixedSize(std::uint16_t type) {
  switch (type) {
    case 0x0002:  // 16-bit numbers are padded
    case 0x0003:
    case 0x0004:
    case 0x000A:
    case 0x000B:
      return 4;
    case 0x0005:
    case 0x0006:
    case 0x0007:
    case 0x0014:
    case 0x0040:
      return 8;
    case 0x0048:
      return 16;
    default:
      return 0;
  }
}

// Calls `use` for each property of a list.
template <class Use>
void forEachProperty(std::string_view bytes, Use use) {
  Reader reader(bytes);
  std::uint32_t left = reader.u32();
  for (std::size_t n = 0; left > 0 && n < kMaxProperties && !reader.failed(); --left, ++n) {
    PropertyValue value;
    const std::uint16_t type = reader.u16();
    value.id = reader.u16();
    value.type = type & 0x0FFF;
    if (value.id >= 0x8000) {
      reader.take(16);
      if (reader.u32() == 0) {
        reader.take(4);
      } else {
        const std::uint32_t length = reader.u32();
        reader.take(length);
        reader.takeUpTo((4 - length % 4) % 4);
      }
    }
    const std::size_t fixed = fixedSize(value.type);
    const bool counted = (type & 0x1000) != 0 || fixed == 0;
    std::uint32_t count = counted ? reader.u32() : 1;
    for (bool first = true; count > 0 && !reader.failed(); --count, first = false) {
      std::string_view one;
      if (fixed != 0) {
        one = reader.take(fixed);
      } else {
        const std::uint32_t length = reader.u32();
        // The last property may be cut off; the rest of an attachment is better than none.
        one = reader.takeUpTo(length);
        reader.takeUpTo((4 - length % 4) % 4);
      }
      if (first) {
        value.bytes = one;
      }
    }
    use(value);
  }
}

class Parser {
 public:
  explicit Parser(Tnef& tnef) : tnef_(tnef) {}

  bool run(std::string_view bytes) {
    Reader reader(bytes);
    if (reader.u32() != kSignature) {
      return false;
    }
    reader.u16();
    while (!reader.rest().empty()) {
      const std::uint8_t level = reader.u8();
      const std::uint32_t id = reader.u32();
      const std::uint32_t length = reader.u32();
      if (reader.failed() || (level != 1 && level != 2)) {
        break;
      }
      attribute(level, id, reader.takeUpTo(length));
      reader.u16();
    }
    return true;
  }

 private:
  std::string toUtf8(std::string_view bytes) const {
    return text::decodeText(untilNul(bytes), charsetOfCodepage(tnef_.codepage));
  }

  void attribute(std::uint8_t level, std::uint32_t id, std::string_view value) {
    if (level == 1) {
      switch (id) {
        case kOemCodepage:
          tnef_.codepage = Reader(value).u32();
          break;
        case kSubject:
          if (tnef_.subject.empty()) {
            tnef_.subject = toUtf8(value.substr(0, kMaxName));
          }
          break;
        case kBody:
          if (tnef_.plain.empty()) {
            tnef_.plain = toUtf8(value);
          }
          break;
        case kMessageProperties:
          forEachProperty(value, [this](const PropertyValue& p) { messageProperty(p); });
          break;
        default:
          break;
      }
      return;
    }
    if (id == kAttachRendData) {
      if (tnef_.attachments.size() < kMaxAttachments) {
        tnef_.attachments.emplace_back();
        longName_ = false;
        full_ = false;
      } else {
        full_ = true;
      }
      return;
    }
    if (tnef_.attachments.empty() || full_) {
      return;
    }
    TnefAttachment& attachment = tnef_.attachments.back();
    if (id == kAttachTitle) {
      if (attachment.filename.empty()) {
        attachment.filename = toUtf8(value.substr(0, kMaxName));
      }
    } else if (id == kAttachData) {
      attachment.content = value;
    } else if (id == kAttachProperties) {
      forEachProperty(value, [this](const PropertyValue& p) { attachmentProperty(p); });
    }
  }

  std::string textOf(const PropertyValue& p) const {
    return p.type == kTypeUnicode ? fromUtf16(p.bytes.substr(0, 2 * kMaxName))
                                  : toUtf8(p.bytes.substr(0, kMaxName));
  }

  void messageProperty(const PropertyValue& p) {
    switch (p.id) {
      case kPropSubject:
        tnef_.subject = textOf(p);
        break;
      case kPropInternetCodepage:
        tnef_.htmlCharset = charsetOfCodepage(Reader(p.bytes).u32());
        break;
      case kPropBody:
        tnef_.plain = p.type == kTypeUnicode ? fromUtf16(p.bytes) : toUtf8(p.bytes);
        break;
      case kPropHtml:
        tnef_.html = p.bytes;
        break;
      case kPropRtf:
        if (p.type == kTypeBinary) {
          tnef_.rtf = decompressRtf(p.bytes);
        }
        break;
      default:
        break;
    }
  }

  void attachmentProperty(const PropertyValue& p) {
    TnefAttachment& attachment = tnef_.attachments.back();
    switch (p.id) {
      case kPropAttachLongFilename:
        attachment.filename = textOf(p);
        longName_ = true;
        break;
      case kPropAttachFilename:
      case kPropDisplayName:
        if (!longName_ && attachment.filename.empty()) {
          attachment.filename = textOf(p);
        }
        break;
      case kPropAttachMimeTag:
        attachment.mimeType = textOf(p);
        break;
      case kPropAttachContentID:
        attachment.contentID = textOf(p);
        break;
      case kPropAttachData:
        // An object's data starts with the identifier of its interface.
        if (p.type == kTypeObject && p.bytes.size() > 16) {
          attachment.content = p.bytes.substr(16);
          attachment.isMessage = Reader(attachment.content).u32() == kSignature;
        } else if (p.type == kTypeBinary && attachment.content.empty()) {
          attachment.content = p.bytes;
        }
        break;
      default:
        break;
    }
  }

  Tnef& tnef_;
  bool longName_ = false;
  bool full_ = false;
};

// What the dictionary of the compression holds before the first byte.
constexpr std::string_view kRtfDictionary =
    "{\\rtf1\\ansi\\mac\\deff0\\deftab720{\\fonttbl;}{\\f0\\fnil \\froman \\fswiss \\fmodern "
    "\\fscript "
    "\\fdecor MS Sans SerifSymbolArialTimes New "
    "RomanCourier{\\colortbl\\red0\\green0\\blue0\r\n\\par "
    "\\pard\\plain\\f0\\fs20\\b\\i\\u\\tab\\tx";
constexpr std::size_t kDictionarySize = 4096;
static_assert(kRtfDictionary.size() == 207);

}  // namespace

bool parseTnef(std::string_view bytes, Tnef& tnef) {
  return Parser(tnef).run(bytes);
}

std::string decompressRtf(std::string_view bytes) {
  constexpr std::uint32_t kCompressed = 0x75465A4C;
  constexpr std::uint32_t kStored = 0x414C454D;
  Reader reader(bytes);
  reader.u32();
  const std::uint32_t size = reader.u32();
  const std::uint32_t kind = reader.u32();
  reader.u32();
  if (reader.failed()) {
    return {};
  }
  if (kind == kStored) {
    return std::string(reader.takeUpTo(size));
  }
  if (kind != kCompressed) {
    return {};
  }
  std::string out;
  char dictionary[kDictionarySize] = {};
  std::memcpy(dictionary, kRtfDictionary.data(), kRtfDictionary.size());
  std::size_t write = kRtfDictionary.size();
  const auto put = [&](char c) {
    out += c;
    dictionary[write] = c;
    write = (write + 1) % kDictionarySize;
  };
  while (!reader.rest().empty() && out.size() < size) {
    unsigned int control = reader.u8();
    for (int i = 0; i < 8 && !reader.rest().empty() && out.size() < size; ++i, control >>= 1) {
      if ((control & 1U) == 0) {
        put(static_cast<char>(reader.u8()));
        continue;
      }
      const unsigned int high = reader.u8();
      const unsigned int reference = high << 8 | reader.u8();
      std::size_t from = reference >> 4;
      if (reader.failed() || from == write) {
        return out;
      }
      for (unsigned int length = (reference & 15U) + 2; length > 0; --length) {
        put(dictionary[from]);
        from = (from + 1) % kDictionarySize;
      }
    }
  }
  return out;
}

}  // namespace brennox::mime
