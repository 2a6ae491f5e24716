#include "imap/wire_reader.h"

#include <array>

namespace brennox::imap {
namespace {

// A literal's length needs no more digits than that; longer ones are no literal that anybody can
// read.
constexpr std::size_t kMaxDigits = 20;

// ATOM-CHAR of RFC 9051 section 9 is stricter. Servers send raw UTF-8 names, keywords with '%' or
// '*' and flags with '\' and ']', so everything passes that can't be taken for the structure around
// it.
constexpr std::array<bool, 256> makeAtomChars() {
  std::array<bool, 256> table{};
  for (std::size_t c = 0x21; c < 256; ++c) {
    table[c] = c != 0x7F && c != '(' && c != ')' && c != '"' && c != '{';
  }
  return table;
}
constexpr std::array<bool, 256> kAtomChar = makeAtomChars();

bool isAtomChar(char c) {
  return kAtomChar[static_cast<unsigned char>(c)];
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// The literal that a line announces at its end: "{n}" or "{n+}". False when there is none.
bool literalAtEnd(std::string_view line, std::uint64_t* size) {
  if (line.size() < 3 || line.back() != '}') {
    return false;
  }
  const std::size_t open = line.rfind('{');
  if (open == std::string_view::npos) {
    return false;
  }
  std::string_view digits = line.substr(open + 1, line.size() - open - 2);
  if (!digits.empty() && digits.back() == '+') {
    digits.remove_suffix(1);
  }
  if (digits.empty()) {
    return false;
  }
  *size = 0;
  for (const char c : digits) {
    if (!isDigit(c)) {
      return false;
    }
    if (digits.size() > kMaxDigits || *size > UINT64_MAX / 10 - 1) {
      *size = UINT64_MAX;
      continue;
    }
    *size = *size * 10 + static_cast<std::uint64_t>(c - '0');
  }
  return true;
}

// Human text may end in what looks like a literal; nothing else follows in these.
bool isStatusLine(std::string_view line) {
  if (!line.empty() && line[0] == '+') {
    return true;
  }
  const std::size_t space = line.find(' ');
  if (space == std::string_view::npos) {
    return true;
  }
  const std::string_view rest = line.substr(space + 1);
  const std::string_view word = rest.substr(0, rest.find(' '));
  for (const char* status : {"OK", "NO", "BAD", "BYE", "PREAUTH"}) {
    if (sameKeyword(word, status)) {
      return true;
    }
  }
  return false;
}

}  // namespace

bool sameKeyword(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (upper(a[i]) != upper(b[i])) {
      return false;
    }
  }
  return true;
}

std::string upperCase(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    c = upper(c);
  }
  return result;
}

bool readResponse(net::ByteStream& stream, net::LineReader& lines, const ResponseLimits& limits,
                  Response* response, const net::LineReader::Progress& progress) {
  response->clear();
  response->streamFrom = limits.streamFrom;
  stream.expectAnew();
  std::string& text = response->text;
  if (!lines.line(&text, limits.text)) {
    return false;
  }
  if (isStatusLine(text)) {
    return true;
  }
  std::uint64_t size = 0;
  std::size_t start = 0;
  std::size_t streamedSize = 0;
  while (literalAtEnd(std::string_view(text).substr(start), &size)) {
    const bool streamed = size >= limits.streamFrom;
    if (size > (streamed ? limits.literal - streamedSize : limits.text - text.size())) {
      stream.fail(ErrorLimitExceeded);
      return false;
    }
    text += "\r\n";
    if (streamed) {
      Ref<Block> block;
      if (!lines.block(static_cast<std::size_t>(size), &block, progress)) {
        return false;
      }
      response->blocks.push_back(std::move(block));
      streamedSize += static_cast<std::size_t>(size);
    } else {
      const std::size_t before = text.size();
      text.resize(before + static_cast<std::size_t>(size));
      if (!lines.bytes(text.data() + before, static_cast<std::size_t>(size))) {
        return false;
      }
    }
    start = text.size();
    if (!lines.line(&text, limits.text)) {
      return false;
    }
  }
  return true;
}

std::string Text::str() const {
  if (block) {
    return std::string(block->bytes(), block->size());
  }
  if (!escaped) {
    return std::string(bytes);
  }
  std::string result;
  result.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] == '\\' && i + 1 < bytes.size()) {
      ++i;
    }
    result += bytes[i];
  }
  return result;
}

bool WireReader::skipIf(char c) noexcept {
  if (atEnd() || text_[p_] != c) {
    return false;
  }
  ++p_;
  return true;
}

void WireReader::skipSpaces() noexcept {
  while (skipIf(' ')) {
  }
}

bool WireReader::space() {
  if (!skipIf(' ')) {
    return fail();
  }
  skipSpaces();
  return true;
}

bool WireReader::character(char c) {
  return skipIf(c) || fail();
}

bool WireReader::atom(std::string_view* out) {
  const std::size_t start = p_;
  while (!atEnd() && isAtomChar(text_[p_])) {
    ++p_;
  }
  if (failed_ || p_ == start) {
    return fail();
  }
  *out = slice(start);
  return true;
}

bool WireReader::number64(std::uint64_t* out) {
  const std::size_t start = p_;
  std::uint64_t value = 0;
  while (!atEnd() && isDigit(text_[p_])) {
    const auto digit = static_cast<std::uint64_t>(text_[p_] - '0');
    if (value > (UINT64_MAX - digit) / 10) {
      return fail();
    }
    value = value * 10 + digit;
    ++p_;
  }
  if (failed_ || p_ == start) {
    return fail();
  }
  *out = value;
  return true;
}

bool WireReader::number(std::uint32_t* out) {
  std::uint64_t value = 0;
  if (!number64(&value) || value > UINT32_MAX) {
    return fail();
  }
  *out = static_cast<std::uint32_t>(value);
  return true;
}

bool WireReader::quoted(Text* out) {
  const std::size_t start = ++p_;
  while (p_ < text_.size() && text_[p_] != '"') {
    if (text_[p_] == '\\' && text_.size() - p_ >= 2) {
      out->escaped = true;
      ++p_;
    }
    ++p_;
  }
  if (p_ >= text_.size()) {
    p_ = text_.size();
    return fail();
  }
  out->bytes = slice(start);
  ++p_;
  return true;
}

bool WireReader::literal(Text* out) {
  const std::size_t end = text_.find("}\r\n", p_);
  std::uint64_t size = 0;
  if (end == std::string_view::npos || !literalAtEnd(text_.substr(p_, end + 1 - p_), &size) ||
      text_[p_] != '{') {
    return fail();
  }
  p_ = end + 3;
  if (size >= streamFrom_) {
    if (blocks_ == nullptr || nextBlock_ >= blocks_->size()) {
      return fail();
    }
    out->block = (*blocks_)[nextBlock_++];
    out->bytes = {out->block->bytes(), out->block->size()};
    return true;
  }
  if (text_.size() - p_ < size) {
    return fail();
  }
  out->bytes = text_.substr(p_, static_cast<std::size_t>(size));
  p_ += static_cast<std::size_t>(size);
  return true;
}

bool WireReader::nstring(Text* out) {
  *out = Text();
  const char c = peek();
  if (c == '"') {
    return quoted(out);
  }
  if (c == '{') {
    return literal(out);
  }
  if (c == '~' && text_.size() - p_ >= 2 && text_[p_ + 1] == '{') {
    ++p_;
    return literal(out);
  }
  if (!atom(&out->bytes)) {
    return false;
  }
  out->nil = sameKeyword(out->bytes, "NIL");
  if (out->nil) {
    out->bytes = {};
  }
  return true;
}

bool WireReader::astring(std::string* out) {
  Text text;
  const std::size_t start = p_;
  if (!nstring(&text)) {
    return false;
  }
  *out = text.nil ? std::string(slice(start)) : text.str();
  return true;
}

bool WireReader::flagList(std::vector<std::string_view>* out) {
  out->clear();
  if (!character('(')) {
    return false;
  }
  skipSpaces();
  while (!skipIf(')')) {
    std::string_view flag;
    if (!atom(&flag)) {
      return false;
    }
    out->push_back(flag);
    skipSpaces();
  }
  return true;
}

bool WireReader::section(std::string_view* out) {
  if (!character('[')) {
    return false;
  }
  const std::size_t start = p_;
  // Header names may be quoted, and then hold a bracket.
  bool inQuotes = false;
  while (!atEnd() && (inQuotes || text_[p_] != ']')) {
    if (text_[p_] == '"') {
      inQuotes = !inQuotes;
    }
    ++p_;
  }
  *out = slice(start);
  if (!character(']')) {
    return false;
  }
  if (skipIf('<')) {
    std::uint64_t origin = 0;
    return number64(&origin) && character('>');
  }
  return true;
}

bool WireReader::sequenceSet(std::vector<Range>* out) {
  out->clear();
  do {
    std::uint32_t first = 0;
    if (!number(&first)) {
      return false;
    }
    std::uint32_t last = first;
    if (skipIf(':') && !number(&last)) {
      return false;
    }
    // "5:3" is the same set as "3:5".
    const std::uint32_t low = first < last ? first : last;
    const std::uint32_t high = first < last ? last : first;
    out->push_back(RangeMake(low, high - low));
  } while (skipIf(','));
  return true;
}

WireReader::Token WireReader::token(Text* text) {
  skipSpaces();
  if (atEnd()) {
    return Token::kEnd;
  }
  if (skipIf('(')) {
    return Token::kOpen;
  }
  if (skipIf(')')) {
    return Token::kClose;
  }
  return nstring(text) ? Token::kText : Token::kEnd;
}

bool WireReader::value(std::string_view* out) {
  skipSpaces();
  const std::size_t start = p_;
  std::size_t depth = 0;
  Text text;
  do {
    switch (token(&text)) {
      case Token::kOpen:
        if (++depth > kMaxNesting) {
          return fail();
        }
        break;
      case Token::kClose:
        if (depth == 0) {
          return fail();
        }
        --depth;
        break;
      case Token::kText:
        break;
      case Token::kEnd:
        return fail();
    }
  } while (depth > 0);
  *out = slice(start);
  return true;
}

}  // namespace brennox::imap
