// Conversion over the system's converters, with fast paths: UTF-8 is validated and copied, charsets
// of one byte a character go through a table that is made once from the converter.
#include "text/charset.h"

#include <brennox/String.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/TextBuffer.h"
#include "core/block_storage.h"
#include "text/ascii.h"
#include "text/charset_names.h"
#include "text/charset_tables.h"
#include "text/utf8.h"

namespace brennox::text {
namespace {

// What a process remembers of names seen; a hostile sender must not grow it.
constexpr std::size_t kMaxRememberedNames = 512;
// Converters that a thread keeps open: a few hundred bytes each, and opening one takes longer than
// converting a short text.
constexpr std::size_t kMaxOpenConverters = 32;
// Input that is converted in one step on the stack.
constexpr std::size_t kChunk = 4096;
// From here on texts are decoded into blocks.
constexpr std::size_t kLongText = std::size_t{1} << 16;
// From here on bytes of one-byte charsets are looked up two at a time.
constexpr std::size_t kPairedText = std::size_t{1} << 19;
// In either order of bytes.
constexpr std::string_view kUtf16 = "utf-16";

// UTF-8 of each byte of a one-byte charset: up to three bytes in the order of memory and their
// number behind them, so that one load and one store of four bytes copy a character.
struct ByteTable {
  std::array<std::uint32_t, 256> characters{};
  bool extendsAscii = true;

  void set(unsigned byte, std::string_view utf8) {
    std::array<char, 4> bytes{};
    utf8.copy(bytes.data(), 3);
    bytes[3] = static_cast<char>(utf8.size());
    std::memcpy(&characters[byte], bytes.data(), bytes.size());
  }
  // Writes four bytes at `to`. Where the next character goes.
  char* store(unsigned byte, char* to) const {
    const std::uint32_t character = characters[byte];
    std::memcpy(to, &character, sizeof character);
    return to + (std::endian::native == std::endian::little ? character >> 24 : character & 0xFF);
  }
};

struct Codec {
  CharsetKind kind = CharsetKind::kUnknown;
  std::string converter;
  std::unique_ptr<ByteTable> table;
  // Bytes below 0x80 are ASCII wherever they stand at a character's start.
  bool extendsAscii = false;
};

class Converter {
 public:
  explicit Converter(const char* name) {
    UErrorCode error = U_ZERO_ERROR;
    converter_ = ucnv_open(name, &error);
    if (U_FAILURE(error) != 0) {
      converter_ = nullptr;
    }
  }
  Converter(Converter&& other) noexcept : converter_(std::exchange(other.converter_, nullptr)) {}
  Converter& operator=(Converter&& other) noexcept {
    std::swap(converter_, other.converter_);
    return *this;
  }
  ~Converter() {
    if (converter_ != nullptr) {
      ucnv_close(converter_);
    }
  }
  UConverter* get() const { return converter_; }

 private:
  UConverter* converter_ = nullptr;
};

// The thread's own converter, since a converter has a state. Null when there is none of that name.
UConverter* threadConverter(const Codec& codec) {
  struct Open {
    const Codec* codec;
    Converter converter;
  };
  thread_local std::vector<Open> open;
  for (std::size_t i = 0; i < open.size(); ++i) {
    if (open[i].codec == &codec) {
      if (i > 0) {
        std::swap(open[i], open[i - 1]);
        i -= 1;
      }
      UConverter* const converter = open[i].converter.get();
      if (converter != nullptr) {
        ucnv_reset(converter);
      }
      return converter;
    }
  }
  if (open.size() >= kMaxOpenConverters) {
    open.pop_back();
  }
  open.push_back({&codec, Converter(codec.converter.c_str())});
  return open.back().converter.get();
}

// The texts that are decoded here are long or short; what both kinds of output need.
void clear(std::string& text) {
  text.clear();
}
void clear(TextBuffer& text) {
  text.truncate(0);
}
std::string_view viewOf(const std::string& text) {
  return text;
}
std::string_view viewOf(const TextBuffer& text) {
  return text.view();
}

// `length` is at most kChunk.
template <class Output>
void appendUtf16(const UChar* text, std::size_t length, Output& out) {
  char buffer[3 * kChunk];
  std::size_t size = 0;
  for (std::size_t i = 0; i < length; ++i) {
    std::uint32_t c = text[i];
    if (U16_IS_LEAD(c) && i + 1 < length && U16_IS_TRAIL(text[i + 1])) {
      c = U16_GET_SUPPLEMENTARY(c, text[i + 1]);
      ++i;
    } else if (U16_IS_SURROGATE(c)) {
      c = 0xFFFD;
    }
    U8_APPEND_UNSAFE(buffer, size, c);
  }
  out.append(buffer, size);
}

template <class Output>
void convert(UConverter* converter, std::string_view bytes, Output& out) {
  // One unit is kept free: a surrogate pair that begins at the buffer's end is carried over.
  UChar buffer[kChunk];
  UChar* const bufferEnd = buffer + kChunk;
  const char* source = bytes.data();
  const char* const sourceEnd = source + bytes.size();
  std::size_t kept = 0;
  for (;;) {
    UErrorCode error = U_ZERO_ERROR;
    UChar* target = buffer + kept;
    ucnv_toUnicode(converter, &target, bufferEnd, &source, sourceEnd, nullptr, 1, &error);
    auto length = static_cast<std::size_t>(target - buffer);
    const bool more = error == U_BUFFER_OVERFLOW_ERROR;
    kept = more && length > 0 && U16_IS_LEAD(buffer[length - 1]) ? 1 : 0;
    appendUtf16(buffer, length - kept, out);
    if (!more) {
      return;
    }
    if (kept != 0) {
      buffer[0] = buffer[length - 1];
    }
  }
}

std::unique_ptr<ByteTable> makeTable(UConverter* converter) {
  auto table = std::make_unique<ByteTable>();
  for (unsigned byte = 0; byte < 256; ++byte) {
    const char text = static_cast<char>(byte);
    std::string utf8;
    ucnv_reset(converter);
    convert(converter, {&text, 1}, utf8);
    // No one-byte charset has characters beyond the basic plane.
    if (utf8.empty() || utf8.size() > 3) {
      utf8 = kReplacement;
    }
    // Controls that the charset leaves open stand for themselves, as they do on the web.
    if (byte >= 0x80 && byte < 0xA0 && utf8 == kReplacement) {
      utf8.clear();
      appendCodePoint(byte, utf8);
    }
    table->set(byte, utf8);
    if (byte < 0x80 && utf8 != std::string_view(&text, 1)) {
      table->extendsAscii = false;
    }
  }
  return table;
}

std::unique_ptr<ByteTable> makeTable(const ByteCharset& charset) {
  auto table = std::make_unique<ByteTable>();
  for (unsigned byte = 0; byte < 256; ++byte) {
    std::uint32_t character = byte < 0x80 ? byte : charset.upper[byte - 0x80];
    for (const ByteCharset::Exception& exception : charset.lower) {
      if (exception.byte == byte && exception.character != 0) {
        character = exception.character;
        table->extendsAscii = false;
      }
    }
    std::string utf8;
    appendCodePoint(character, utf8);
    table->set(byte, utf8);
  }
  return table;
}

std::unique_ptr<Codec> makeCodec(CharsetName resolved) {
  auto codec = std::make_unique<Codec>();
  codec->kind = resolved.kind;
  codec->converter = std::move(resolved.converter);
  codec->extendsAscii = codec->kind == CharsetKind::kUtf8 || codec->kind == CharsetKind::kAscii;
  if (codec->kind != CharsetKind::kConverter) {
    return codec;
  }
  if (const ByteCharset* const known = byteCharset(codec->converter)) {
    codec->table = makeTable(*known);
    codec->extendsAscii = codec->table->extendsAscii;
    return codec;
  }
  const Converter converter(codec->converter.c_str());
  if (converter.get() == nullptr) {
    codec->kind = CharsetKind::kUnknown;
    return codec;
  }
  switch (ucnv_getType(converter.get())) {
    case UCNV_UTF8:
      codec->kind = CharsetKind::kUtf8;
      codec->extendsAscii = true;
      break;
    case UCNV_US_ASCII:
      codec->kind = CharsetKind::kAscii;
      codec->extendsAscii = true;
      break;
    case UCNV_SBCS:
    case UCNV_LATIN_1:
      codec->table = makeTable(converter.get());
      codec->extendsAscii = codec->table->extendsAscii;
      break;
    case UCNV_MBCS: {
      std::string letters;
      convert(converter.get(), "Az09~", letters);
      codec->extendsAscii = letters == "Az09~";
      break;
    }
    default:
      break;
  }
  return codec;
}

// Codecs live as long as the process. All spellings of a name that lead to one converter share its
// codec: what a sender invents fills no more than the list of spellings, without which each is
// looked at afresh.
class Codecs {
 public:
  const Codec& find(const std::string& spelling) {
    const std::lock_guard<std::mutex> guard(lock_);
    if (const auto known = spellings_.find(spelling); known != spellings_.end()) {
      return *known->second;
    }
    const Codec& codec = findResolved(resolveCharset(spelling));
    if (spellings_.size() < kMaxRememberedNames) {
      spellings_.emplace(spelling, &codec);
    }
    return codec;
  }

  static const Codec& unknown() {
    static const Codec* const codec = new Codec;
    return *codec;
  }

 private:
  const Codec& findResolved(CharsetName resolved) {
    if (resolved.kind == CharsetKind::kUnknown) {
      return unknown();
    }
    const auto kind = static_cast<std::size_t>(resolved.kind);
    std::unordered_map<std::string, const Codec*>& known = known_[kind];
    const auto found = known.find(resolved.converter);
    if (found != known.end()) {
      return *found->second;
    }
    const std::string converter = resolved.converter;
    std::unique_ptr<Codec> made = makeCodec(std::move(resolved));
    if (made->kind == CharsetKind::kUnknown || known.size() >= kMaxRememberedNames) {
      return unknown();
    }
    return *known.emplace(converter, made.release()).first->second;
  }

  std::mutex lock_;
  std::unordered_map<std::string, const Codec*> spellings_;
  // By the converter's name; one each for UTF-8 and ASCII.
  std::array<std::unordered_map<std::string, const Codec*>, 4> known_;
};

const Codec& codecFor(std::string_view name) {
  static auto* const codecs = new Codecs;
  struct Last {
    std::string name;
    const Codec* codec = nullptr;
  };
  thread_local Last last;
  if (last.codec != nullptr && last.name == name) {
    return *last.codec;
  }
  if (name.empty() || name.size() > kMaxCharsetName) {
    return Codecs::unknown();
  }
  last.name = name;
  last.codec = &codecs->find(last.name);
  return *last.codec;
}

// Writes the characters of [p, stop) and up to three bytes more. The end of the characters.
char* decodeByTable(const ByteTable& table, const char* p, const char* stop, char* to) {
  while (stop - p >= 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, p, sizeof word);
    if (table.extendsAscii && (word & 0x8080808080808080U) == 0) {
      std::memcpy(to, &word, sizeof word);
      to += 8;
    } else {
      for (int i = 0; i < 8; ++i) {
        to = table.store(static_cast<unsigned char>(p[i]), to);
      }
    }
    p += 8;
  }
  while (p != stop) {
    to = table.store(static_cast<unsigned char>(*p++), to);
  }
  return to;
}

void appendByTable(const ByteTable& table, std::string_view bytes, std::string& out) {
  out.reserve(out.size() + bytes.size() + bytes.size() / 2);
  char buffer[3 * kChunk + 1];
  while (!bytes.empty()) {
    const std::size_t round = std::min(bytes.size(), kChunk);
    const char* const end = decodeByTable(table, bytes.data(), bytes.data() + round, buffer);
    out.append(buffer, static_cast<std::size_t>(end - buffer));
    bytes.remove_prefix(round);
  }
}

// The characters of each two bytes, up to six bytes of UTF-8 and their number behind them: half the
// look-ups, worth making for long texts. In large pages that others use before and after.
Ref<Block> makePairs(const ByteTable& table) {
  constexpr std::size_t kPairs = 65536;
  Ref<Block> pairs = Block::allocate(std::max(kPairs * sizeof(std::uint64_t), kLargeBlock));
  for (std::size_t pair = 0; pair < kPairs; ++pair) {
    std::array<unsigned char, 2> bytes{};
    const auto index = static_cast<std::uint16_t>(pair);
    std::memcpy(bytes.data(), &index, bytes.size());
    std::array<char, 8> characters{};
    const char* const end = table.store(bytes[1], table.store(bytes[0], characters.data()));
    characters[7] = static_cast<char>(end - characters.data());
    std::memcpy(pairs->bytes() + pair * characters.size(), characters.data(), characters.size());
  }
  return pairs;
}

// Writes the characters of [p, stop), an even number of bytes, and up to seven bytes more.
char* decodeByPairs(const char* pairs, const char* p, const char* stop, char* to) {
  for (; p != stop; p += 2) {
    std::uint16_t index = 0;
    std::memcpy(&index, p, sizeof index);
    std::uint64_t characters = 0;
    std::memcpy(&characters, pairs + index * sizeof characters, sizeof characters);
    std::memcpy(to, &characters, sizeof characters);
    to += std::endian::native == std::endian::little ? characters >> 56 : characters & 0xFF;
  }
  return to;
}

void appendByTable(const ByteTable& table, std::string_view bytes, TextBuffer& out) {
  // Letters beyond ASCII mostly have two bytes.
  out.room(2 * bytes.size());
  if (bytes.size() >= kPairedText) {
    const Ref<Block> pairs = makePairs(table);
    for (; bytes.size() >= kChunk; bytes.remove_prefix(kChunk)) {
      if (table.extendsAscii && isAscii(bytes.substr(0, kChunk))) {
        out += bytes.substr(0, kChunk);
        continue;
      }
      char* const to = out.room(3 * kChunk + sizeof(std::uint64_t));
      const char* const end =
          decodeByPairs(pairs->bytes(), bytes.data(), bytes.data() + kChunk, to);
      out.wrote(static_cast<std::size_t>(end - to));
    }
  }
  while (!bytes.empty()) {
    const std::size_t round = std::min(bytes.size(), kChunk);
    char* const to = out.room(3 * round + 1);
    const char* const end = decodeByTable(table, bytes.data(), bytes.data() + round, to);
    out.wrote(static_cast<std::size_t>(end - to));
    bytes.remove_prefix(round);
  }
}

template <class Output>
bool appendByCodec(const Codec& codec, std::string_view bytes, Output& out) {
  switch (codec.kind) {
    case CharsetKind::kUnknown:
      return false;
    case CharsetKind::kUtf8:
      appendRepaired(bytes, out);
      return true;
    case CharsetKind::kAscii:
      if (isAscii(bytes)) {
        out.append(bytes);
        return true;
      }
      return appendByCodec(codecFor(detectCharset(bytes)), bytes, out);
    case CharsetKind::kConverter:
      break;
  }
  if (codec.extendsAscii && isAscii(bytes)) {
    out.append(bytes);
    return true;
  }
  if (codec.table != nullptr) {
    appendByTable(*codec.table, bytes, out);
    return true;
  }
  UConverter* const converter = threadConverter(codec);
  if (converter == nullptr) {
    return false;
  }
  convert(converter, bytes, out);
  return true;
}

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

// RFC 2781 section 4.3 has text without a mark in network order; most programs write the other.
// Blanks and the letters of most scripts tell: their pages are low.
std::string_view orderOfUtf16(std::string_view bytes) {
  std::size_t big = 0;
  std::size_t little = 0;
  for (std::size_t i = 0; i + 1 < bytes.size() && i < kChunk; i += 2) {
    big += bytes[i] == '\0' ? 1 : 0;
    little += bytes[i + 1] == '\0' ? 1 : 0;
  }
  return little > big ? "utf-16le" : "utf-16be";
}

bool hasUtf8Mark(std::string_view bytes) {
  return bytes.substr(0, kUtf8Mark.size()) == kUtf8Mark;
}

bool hasUtf16Mark(std::string_view bytes) {
  return bytes.substr(0, 2) == "\xFF\xFE" || bytes.substr(0, 2) == "\xFE\xFF";
}

template <class Output>
void decodeInto(std::string_view bytes, std::string_view charset, Output& text) {
  const Codec* codec = &codecFor(charset);
  if (codec->extendsAscii && codec->kind != CharsetKind::kAscii) {
    if (codec->kind == CharsetKind::kUtf8) {
      if (isValidUtf8(bytes)) {
        text.append(bytes);
        return;
      }
      if (isForeignToUtf8(bytes)) {
        codec = &codecFor(detectCharset(bytes));
      }
    } else if (codec->table != nullptr && !isAscii(bytes) && isValidUtf8(bytes)) {
      // The letters of no language come in the order of UTF-8's bytes: the charset is a wrong
      // label.
      text.append(bytes);
      return;
    }
  }
  if (codec->kind == CharsetKind::kUnknown || codec->kind == CharsetKind::kAscii) {
    codec = &codecFor(detectCharset(bytes));
  }
  if (codec->converter == kUtf16 && !hasUtf16Mark(bytes)) {
    if (std::all_of(bytes.begin(), bytes.end(),
                    [](char c) { return isSpace(c) || (c >= ' ' && c < 0x7F); })) {
      // Says that it is, and is not.
      text.append(bytes);
      return;
    }
    codec = &codecFor(orderOfUtf16(bytes));
  }
  if (!appendByCodec(*codec, bytes, text)) {
    appendByCodec(codecFor("windows-1252"), bytes, text);
  }
  if (codec->table == nullptr && codec->kind == CharsetKind::kConverter && codec->extendsAscii &&
      isValidUtf8(bytes) && viewOf(text).find(kReplacement) != std::string::npos) {
    clear(text);
    text.append(bytes);
  }
}

}  // namespace

bool isKnownCharset(std::string_view charset) {
  return codecFor(charset).kind != CharsetKind::kUnknown;
}

bool isUtf8Name(std::string_view charset) {
  return codecFor(charset).kind == CharsetKind::kUtf8;
}

bool isForeignToUtf8(std::string_view bytes) {
  const char* p = bytes.data();
  const char* const end = p + bytes.size();
  bool foreign = false;
  for (;;) {
    p = skipAscii(p, end);
    if (p == end) {
      return foreign;
    }
    const Utf8Step step = utf8Step(p, end);
    if (step.valid) {
      return false;
    }
    foreign = true;
    p += step.length;
  }
}

bool appendInCharset(std::string_view bytes, std::string_view charset, std::string& out) {
  return appendByCodec(codecFor(charset), bytes, out);
}

std::string decodePiece(std::string_view bytes, std::string_view charset) {
  std::string text;
  decodeInto(bytes, charset, text);
  return text;
}

std::string decodeText(std::string_view bytes, std::string_view charset) {
  if (hasUtf8Mark(bytes) && isValidUtf8(bytes)) {
    return std::string(bytes.substr(kUtf8Mark.size()));
  }
  std::string text = decodePiece(bytes, charset);
  if (hasUtf8Mark(text)) {
    text.erase(0, kUtf8Mark.size());
  }
  return text;
}

String* decodedText(std::string_view bytes, std::string_view charset) {
  if (bytes.size() < kLongText) {
    return makeAutoreleased<String>(decodeText(bytes, charset));
  }
  TextBuffer text;
  if (hasUtf8Mark(bytes) && isValidUtf8(bytes)) {
    text.append(bytes.substr(kUtf8Mark.size()));
  } else {
    decodeInto(bytes, charset, text);
    if (hasUtf8Mark(text.view())) {
      text.removePrefix(kUtf8Mark.size());
    }
  }
  return text.string();
}

bool appendEncoded(std::string_view utf8, std::string_view charset, std::string& out) {
  const Codec& codec = codecFor(charset);
  if (codec.kind == CharsetKind::kUnknown) {
    return false;
  }
  if (codec.extendsAscii && isAscii(utf8)) {
    out.append(utf8);
    return true;
  }
  if (codec.kind == CharsetKind::kAscii) {
    return false;
  }
  if (codec.kind == CharsetKind::kUtf8) {
    appendRepairedUtf8(utf8, out);
    return true;
  }
  UConverter* const converter = threadConverter(codec);
  if (converter == nullptr) {
    return false;
  }
  std::string repaired;
  appendRepairedUtf8(utf8, repaired);
  std::vector<UChar> text(repaired.size() + 1);
  int32_t length = 0;
  UErrorCode error = U_ZERO_ERROR;
  u_strFromUTF8(text.data(), static_cast<int32_t>(text.size()), &length, repaired.data(),
                static_cast<int32_t>(repaired.size()), &error);
  if (U_FAILURE(error) != 0) {
    return false;
  }
  ucnv_setFromUCallBack(converter, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
  const UChar* source = text.data();
  const UChar* const sourceEnd = source + length;
  std::string encoded;
  char buffer[kChunk];
  for (;;) {
    error = U_ZERO_ERROR;
    char* target = buffer;
    ucnv_fromUnicode(converter, &target, buffer + kChunk, &source, sourceEnd, nullptr, 1, &error);
    encoded.append(buffer, static_cast<std::size_t>(target - buffer));
    if (error != U_BUFFER_OVERFLOW_ERROR) {
      break;
    }
  }
  if (U_FAILURE(error) != 0) {
    return false;
  }
  out += encoded;
  return true;
}

}  // namespace brennox::text
