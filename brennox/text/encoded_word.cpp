#include "text/encoded_word.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "text/ascii.h"
#include "text/base64.h"
#include "text/charset.h"
#include "text/charset_names.h"
#include "text/utf8.h"

namespace brennox::text {
namespace {

constexpr std::size_t kMaxWord = 75;  // RFC 2047 section 2
constexpr std::string_view kWordStartB = "=?utf-8?B?";
constexpr std::string_view kWordStartQ = "=?utf-8?Q?";
constexpr std::string_view kWordEnd = "?=";
constexpr std::size_t kWordFrame = kWordStartB.size() + kWordEnd.size();
// A line with less room is better ended than filled with a tiny word.
constexpr std::size_t kMinRoom = kWordFrame + 12;
// How far behind a dubious word end the real one is looked for.
constexpr std::size_t kMaxWordLookAhead = 80;

struct EncodedWord {
  std::string_view charset;
  bool base64 = false;
  std::string_view text;
  const char* end = nullptr;
};

// Charsets with shift states, in which every word begins afresh.
bool isStateful(std::string_view charset) {
  return startsWithIgnoringCase(charset, "iso-2022") || startsWithIgnoringCase(charset, "utf-7") ||
         startsWithIgnoringCase(charset, "hz-") || startsWithIgnoringCase(charset, "x-utf-7") ||
         startsWithIgnoringCase(charset, "unicode-1-1-utf-7") ||
         startsWithIgnoringCase(charset, "csiso2022") || startsWithIgnoringCase(charset, "cp5022");
}

bool isAllSpace(std::string_view text) {
  return std::all_of(text.begin(), text.end(), isSpace);
}

// A control character inside of a value ends lines or texts where nobody expects it.
void cleanControls(std::string& out, std::size_t from) {
  std::size_t to = from;
  for (std::size_t i = from; i < out.size(); ++i) {
    if (out[i] == '\0') {
      continue;
    }
    out[to++] = out[i] == '\r' || out[i] == '\n' ? ' ' : out[i];
  }
  out.resize(to);
}

// White space with a line end in it becomes one blank.
void appendUnfolded(std::string_view text, std::string& out) {
  static constexpr CharacterSet kLineEnds("\r\n");
  const auto* const data = text.data();
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t at = kLineEnds.findIn(text, start);
    if (at == std::string_view::npos) {
      out.append(data + start, text.size() - start);
      return;
    }
    std::size_t before = at;
    while (before > start && isBlank(text[before - 1])) {
      --before;
    }
    out.append(data + start, before - start);
    while (at < text.size() && isSpace(text[at])) {
      ++at;
    }
    out += ' ';
    start = at;
  }
}

// Without the blanks amid characters of UTF-8: some programs fold raw text at a number of bytes.
std::string joinedCharacters(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isAmid = text[i] == ' ' && i > 0 && i + 1 < text.size() &&
                        static_cast<unsigned char>(text[i - 1]) >= 0x80 &&
                        (static_cast<unsigned char>(text[i + 1]) & 0xC0) == 0x80;
    if (!isAmid) {
      out += text[i];
    }
  }
  return out;
}

class Decoder {
 public:
  Decoder(std::string_view raw, std::string_view rawCharset, std::string& out)
      : raw_(raw), rawCharset_(rawCharset), out_(out) {}

  void decode() {
    const char* p = raw_.data();
    const char* const end = p + raw_.size();
    const char* plain = p;
    bool afterWord = false;
    for (;;) {
      const char* const start = findStart(p, end);
      EncodedWord word;
      if (start == end || !parse(start, end, word)) {
        if (start == end) {
          break;
        }
        p = start + 2;
        continue;
      }
      const std::string_view gap(plain, static_cast<std::size_t>(start - plain));
      if (!afterWord || !isAllSpace(gap)) {
        flush();
        appendPlain(gap);
        // Gateways put tags like [SPAM] right before a subject that is an encoded-word.
        if (!gap.empty() && gap.back() == ']') {
          out_ += ' ';
        }
      }
      add(word);
      afterWord = true;
      p = word.end;
      plain = p;
    }
    flush();
    appendPlain({plain, static_cast<std::size_t>(end - plain)});
  }

  // Text outside of encoded-words.
  void appendPlain(std::string_view text) {
    if (text.empty()) {
      return;
    }
    const std::size_t from = out_.size();
    if (isAscii(text) && text.find('\x1B') == std::string_view::npos) {
      appendUnfolded(text, out_);
    } else {
      std::string unfolded;
      appendUnfolded(text, unfolded);
      const std::string joined = isValidUtf8(unfolded) ? std::string() : joinedCharacters(unfolded);
      appendRaw(isValidUtf8(joined) && !joined.empty() ? joined : unfolded);
    }
    if (std::memchr(text.data(), '\0', text.size()) != nullptr) {
      cleanControls(out_, from);
    }
  }

 private:
  static const char* findStart(const char* p, const char* end) {
    while (end - p >= 2) {
      const auto* const found =
          static_cast<const char*>(std::memchr(p, '=', static_cast<std::size_t>(end - p - 1)));
      if (found == nullptr) {
        return end;
      }
      if (found[1] == '?') {
        return found;
      }
      p = found + 1;
    }
    return end;
  }

  // `=?charset?encoding?text?=` at `start`. White space may stand in the text: some senders leave
  // blanks as they are, and some fold inside of words.
  bool parse(const char* start, const char* end, EncodedWord& word) {
    if (noMoreEnds_) {
      return false;
    }
    const char* p = start + 2;
    const char* const charset = p;
    while (p != end && *p != '?' && !isSpace(*p) && p - charset <= kLongestCharset) {
      ++p;
    }
    if (end - p < 5 || *p != '?' || p == charset || p[2] != '?') {
      return false;
    }
    const char encoding = toLower(p[1]);
    if (encoding != 'b' && encoding != 'q') {
      return false;
    }
    word.charset = {charset, static_cast<std::size_t>(p - charset)};
    word.base64 = encoding == 'b';
    p += 3;
    const char* const text = p;
    for (;;) {
      p = static_cast<const char*>(
          p == end ? nullptr : std::memchr(p, '?', static_cast<std::size_t>(end - p)));
      if (p == nullptr || end - p < 2) {
        noMoreEnds_ = true;
        return false;
      }
      if (p[1] == '=' && (word.base64 || !isLiteralQuestionMark(p, end))) {
        break;
      }
      if (p[1] != '=' && p != text && p[-1] == '=') {
        // Another word begins before this one has ended.
        return false;
      }
      ++p;
    }
    word.text = {text, static_cast<std::size_t>(p - text)};
    word.end = p + 2;
    return true;
  }

  // `?=3F` inside a Q word: a question mark that was not encoded and an escape, not the word's end.
  static bool isLiteralQuestionMark(const char* p, const char* end) {
    if (end - p < 4 || hexValue(p[2]) < 0 || hexValue(p[3]) < 0) {
      return false;
    }
    const auto left = static_cast<std::size_t>(end - p);
    const std::string_view ahead(p + 2, std::min(left - 2, kMaxWordLookAhead));
    for (std::size_t i = 0; i + 1 < ahead.size(); ++i) {
      if (isSpace(ahead[i]) || (ahead[i] == '=' && ahead[i + 1] == '?')) {
        return false;
      }
      if (ahead[i] == '?' && ahead[i + 1] == '=') {
        return true;
      }
    }
    return false;
  }

  void add(const EncodedWord& word) {
    std::string before;
    if (!hasBytes_ || !equalsIgnoringCase(word.charset, charset_)) {
      flush();
      isShifted_ = false;
    } else if (isStateful(charset_)) {
      flushCarry();
      before.swap(bytes_);
    }
    charset_ = word.charset;
    hasBytes_ = true;
    if (word.base64) {
      addBase64(word.text);
    } else {
      flushCarry();
      addQ(word.text);
    }
    if (isStateful(charset_)) {
      flushCarry();
      join(std::move(before));
    }
  }

  // Puts what stands in `before` in front of the word that was just read, when the word goes on in
  // the state that it left; else writes it.
  void join(std::string before) {
    const bool continues = isShifted_ && continuesShifted(bytes_);
    isShifted_ = endsShifted(bytes_, continues);
    before.swap(bytes_);
    if (continues) {
      bytes_ += before;
      return;
    }
    if (!bytes_.empty()) {
      flush();
      hasBytes_ = true;
    }
    bytes_ = std::move(before);
  }

  // RFC 1468: ESC $ leads into the two-byte sets, ESC ( out of them. True when no word may end
  // there and this one does.
  static bool endsShifted(std::string_view bytes, bool shifted) {
    const std::size_t escape = bytes.rfind('\x1B');
    return escape == std::string_view::npos ? shifted : bytes.substr(escape + 1, 1) == "$";
  }

  // Some senders divide the encoded text without regard to its state. A word that leads out of a
  // two-byte set without having led into one is the rest of the word before, and so is one of
  // nothing but pairs, kana among them.
  static bool continuesShifted(std::string_view bytes) {
    const std::size_t escape = bytes.find('\x1B');
    if (escape != std::string_view::npos) {
      return escape > 0 && bytes.substr(escape + 1, 1) == "(";
    }
    bool kana = false;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      if (bytes[i] <= ' ' || bytes[i] >= 0x7F) {
        return false;
      }
      kana = kana || (i % 2 == 0 && (bytes[i] == '$' || bytes[i] == '%'));
    }
    return kana && bytes.size() % 2 == 0;
  }

  void addQ(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char c = text[i];
      if (c == '_') {
        bytes_ += ' ';
      } else if (c == '=' && text.size() - i > 2 && hexValue(text[i + 1]) >= 0 &&
                 hexValue(text[i + 2]) >= 0) {
        bytes_ += static_cast<char>(hexValue(text[i + 1]) << 4 | hexValue(text[i + 2]));
        i += 2;
      } else if (c == '\r' || c == '\n') {
        while (i + 1 < text.size() && isSpace(text[i + 1])) {
          ++i;
        }
      } else {
        bytes_ += c;
      }
    }
  }

  // Some senders divide the base64 text itself at any place. A word that ends amid a group of four,
  // with bits left over that padding would have left zero, is continued by its neighbour.
  void addBase64(std::string_view text) {
    std::string joined;
    if (!carry_.empty()) {
      joined = carry_;
      joined += text;
      carry_.clear();
      text = joined;
    }
    std::size_t count = 0;
    bool padded = false;
    std::array<char, 4> last{};
    for (const char c : text) {
      if (c == '=') {
        padded = true;
      } else if (base64Value(c) >= 0) {
        last[count % 4] = c;
        ++count;
      }
    }
    const std::size_t over = count % 4;
    const int leftOver = over == 1   ? 1
                         : over == 2 ? base64Value(last[1]) & 15
                         : over == 3 ? base64Value(last[2]) & 3
                                     : 0;
    if (padded || leftOver == 0) {
      bytes_ += base64Decode(text);
      return;
    }
    // Cut the unfinished group off the end.
    std::size_t end = text.size();
    for (std::size_t cut = 0; cut < over; --end) {
      cut += base64Value(text[end - 1]) >= 0 ? 1 : 0;
    }
    bytes_ += base64Decode(text.substr(0, end));
    carry_.assign(last.data(), over);
  }

  void flushCarry() {
    if (!carry_.empty()) {
      bytes_ += base64Decode(carry_);
      carry_.clear();
    }
  }

  void flush() {
    if (!hasBytes_) {
      return;
    }
    flushCarry();
    const std::size_t from = out_.size();
    if (isAscii(bytes_) && equalsIgnoringCase(charset_, "utf-8")) {
      out_ += bytes_;
    } else if (isKnownCharset(charset_)) {
      out_ += decodePiece(bytes_, charset_);
    } else if (isValidUtf8(bytes_)) {
      out_ += bytes_;
    } else {
      out_ += decodePiece(bytes_, isUseful(rawCharset_) ? rawCharset_ : std::string_view());
    }
    cleanControls(out_, from);
    bytes_.clear();
    hasBytes_ = false;
  }

  // Bytes in no declared charset.
  void appendRaw(std::string_view bytes) {
    if (rawKind_ == RawKind::kUnknown) {
      rawKind_ = RawKind::kCharset;
      if (raw_.find('\x1B') != std::string_view::npos && isAscii(raw_)) {
        rawCharset_ = detectCharset(raw_);
      } else if (isValidUtf8(raw_)) {
        rawKind_ = RawKind::kUtf8;
      } else if (!isUseful(rawCharset_)) {
        rawCharset_ = detectCharset(raw_);
      }
    }
    if (rawKind_ == RawKind::kUtf8 || isValidUtf8(bytes)) {
      if (rawKind_ == RawKind::kUtf8 || !isAscii(bytes) ||
          bytes.find('\x1B') == std::string_view::npos) {
        appendRepairedUtf8(bytes, out_);
        return;
      }
    }
    if (!appendInCharset(bytes, rawCharset_, out_)) {
      appendInCharset(bytes, "windows-1252", out_);
    }
  }

  // Names a charset that could explain bytes that are neither ASCII nor UTF-8.
  static bool isUseful(std::string_view charset) {
    const CharsetKind kind = resolveCharset(charset).kind;
    return kind == CharsetKind::kConverter && isKnownCharset(charset);
  }

  static int base64Value(char c) {
    return c >= 'A' && c <= 'Z'   ? c - 'A'
           : c >= 'a' && c <= 'z' ? c - 'a' + 26
           : isDigit(c)           ? c - '0' + 52
           : c == '+'             ? 62
           : c == '/'             ? 63
                                  : -1;
  }

  static constexpr std::ptrdiff_t kLongestCharset = kMaxCharsetName + 16;  // and a language
  enum class RawKind { kUnknown, kUtf8, kCharset };

  std::string_view raw_;
  std::string_view rawCharset_;
  std::string& out_;
  RawKind rawKind_ = RawKind::kUnknown;
  bool noMoreEnds_ = false;
  // Bytes of the words since the last change of charset.
  bool hasBytes_ = false;
  std::string_view charset_;
  std::string bytes_;
  std::string carry_;
  // The last word ended inside of a two-byte set.
  bool isShifted_ = false;
};

// What it takes to decode a value.
enum class Effort {
  kNone,    // it is its own text: most are
  kUnfold,  // ASCII without encoded-words
  kDecode,
};

Effort effortFor(std::string_view raw) {
  // All bytes, without branches: the compiler then looks at many at a time.
  unsigned char spaces = 0;
  unsigned char others = 0;
  for (const char c : raw) {
    const auto byte = static_cast<unsigned char>(c);
    const bool space = (c == '\t') | (c == '\r') | (c == '\n');
    const bool printable = (byte >= ' ') & (byte < 0x7F);
    spaces = static_cast<unsigned char>(spaces | space);
    others = static_cast<unsigned char>(others | !(space | printable));
  }
  if (others != 0 || raw.find("=?") != std::string_view::npos) {
    return Effort::kDecode;
  }
  return spaces == 0 ? Effort::kNone : Effort::kUnfold;
}

std::string trimmedCopy(std::string text) {
  const std::string_view inner = trimmed(text);
  if (inner.size() != text.size()) {
    return std::string(inner);
  }
  return text;
}

// What may stand unescaped in a Q word wherever one may stand (RFC 2047 section 5, rule 3).
bool isSafeInQ(char c) {
  return isAlpha(c) || isDigit(c) || c == '!' || c == '*' || c == '+' || c == '-' || c == '/';
}

std::size_t lengthInQ(char c) {
  return isSafeInQ(c) || c == ' ' ? 1 : 3;
}

void appendQ(std::string_view bytes, std::string& out) {
  constexpr char kHex[] = "0123456789ABCDEF";
  for (const char c : bytes) {
    if (c == ' ') {
      out += '_';
    } else if (isSafeInQ(c)) {
      out += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out += '=';
      out += kHex[byte >> 4];
      out += kHex[byte & 15];
    }
  }
}

// Ends the line. A blank that was just written moves to the next line, so that the fold adds none.
void fold(std::size_t& column, std::string& out) {
  if (!out.empty() && out.back() == ' ') {
    out.pop_back();
  }
  out += "\r\n ";
  column = 1;
}

}  // namespace

void appendDecodedWords(std::string_view raw, std::string_view rawCharset, std::string& out) {
  switch (effortFor(raw)) {
    case Effort::kNone:
      out += raw;
      return;
    case Effort::kUnfold:
      appendUnfolded(raw, out);
      return;
    case Effort::kDecode:
      Decoder(raw, rawCharset, out).decode();
  }
}

std::string decodeWords(std::string_view raw, std::string_view rawCharset) {
  raw = trimmed(raw);
  std::string out;
  appendDecodedWords(raw, rawCharset, out);
  return trimmedCopy(std::move(out));
}

std::string decodeRawText(std::string_view raw, std::string_view rawCharset) {
  raw = trimmed(raw);
  if (effortFor(raw) == Effort::kNone) {
    return std::string(raw);
  }
  std::string out;
  Decoder(raw, rawCharset, out).appendPlain(raw);
  return trimmedCopy(std::move(out));
}

bool needsEncodedWords(std::string_view text) {
  return effortFor(text) != Effort::kNone;
}

void appendEncodedWords(std::string_view utf8, std::size_t& column, std::string& out) {
  std::string repaired;
  appendRepairedUtf8(utf8, repaired);
  std::size_t quoted = 0;
  for (const char c : repaired) {
    quoted += lengthInQ(c);
  }
  // Q can be read as it stands, so it may be half as long again.
  const bool base64 = quoted * 2 >= base64EncodedLength(repaired.size()) * 3;
  std::string_view rest = repaired;
  while (!rest.empty()) {
    if (column + kMinRoom > kMaxEncodedLine) {
      fold(column, out);
    }
    const std::size_t room = std::min(kMaxWord, kMaxEncodedLine - column) - kWordFrame;
    std::size_t taken = 0;
    std::size_t length = 0;
    while (taken < rest.size()) {
      const std::size_t character = std::min(utf8Length(rest[taken]), rest.size() - taken);
      std::size_t longer = length;
      if (base64) {
        longer = base64EncodedLength(taken + character);
      } else {
        for (std::size_t i = 0; i < character; ++i) {
          longer += lengthInQ(rest[taken + i]);
        }
      }
      if (longer > room) {
        break;
      }
      taken += character;
      length = longer;
    }
    out += base64 ? kWordStartB : kWordStartQ;
    if (base64) {
      const std::size_t at = out.size();
      out.resize(at + length);
      base64Encode(rest.substr(0, taken), out.data() + at);
    } else {
      appendQ(rest.substr(0, taken), out);
    }
    out += kWordEnd;
    column += kWordFrame + length;
    rest.remove_prefix(taken);
    if (!rest.empty()) {
      fold(column, out);
    }
  }
}

}  // namespace brennox::text
