#include "rfc822/parameters.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "rfc822/cursor.h"
#include "text/ascii.h"
#include "text/charset.h"
#include "text/encoded_word.h"

namespace brennox::rfc822 {
namespace {

// Continuations count; whatever comes beyond is not looked at.
constexpr std::size_t kMaxParameters = 8192;
// Room for them is made at once.
constexpr std::size_t kUsualParameters = 4;
constexpr std::size_t kMaxLine = 78;

constexpr text::CharacterSet kEndsPiece(" \t\r\n;(");
constexpr text::CharacterSet kEndsName(" \t\r\n;=\"(");
constexpr text::CharacterSet kEndsBareValue(" \t\r\n;");
constexpr text::CharacterSet kInQuotes("\\\"");
constexpr text::CharacterSet kNotInValue("\\\r\n");

// One parameter as it stands: with its number and mark of RFC 2231 taken off the name.
struct Segment {
  std::string name;
  long section = -1;      // of a continuation, else -1
  bool extended = false;  // percent-encoded
  std::string value;
  std::size_t order = 0;
};

bool isTokenCharacter(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte > ' ' && byte < 0x7F &&
         std::string_view("()<>@,;:\\\"/[]?=").find(c) == std::string_view::npos;
}

bool mayHaveBlanks(std::string_view name) {
  return text::startsWithIgnoringCase(name, "name") ||
         text::startsWithIgnoringCase(name, "filename");
}

class ParameterParser {
 public:
  explicit ParameterParser(std::string_view raw) : in_(raw) {}

  // The value in front of the parameters. White space may stand around a slash.
  std::string value() {
    std::string value;
    in_.skipWhiteSpaceAndComments();
    const Cursor::Checkpoint start = in_.checkpoint();
    while (!in_.atEnd() && in_.peek() != ';') {
      text::appendLowered(in_.takeUntil(kEndsPiece), value);
      in_.skipWhiteSpaceAndComments();
      if (in_.peek() != '/' && (value.empty() || value.back() != '/')) {
        break;
      }
    }
    value.erase(std::remove(value.begin(), value.end(), '"'), value.end());
    if (value.find('=') != std::string::npos && value.find('/') == std::string::npos) {
      // A parameter without the value that should be there before it.
      in_.restore(start);
      return {};
    }
    return value.empty() || value.front() == '/' ? std::string() : value;
  }

  std::vector<Segment> segments() {
    std::vector<Segment> segments;
    segments.reserve(kUsualParameters);
    while (!in_.atEnd() && segments.size() < kMaxParameters) {
      in_.skipWhiteSpaceAndComments();
      if (in_.take(';') || in_.take('"')) {
        continue;
      }
      const std::string_view name = in_.takeUntil(kEndsName);
      in_.skipWhiteSpaceAndComments();
      if (!in_.take('=')) {
        continue;
      }
      Segment segment = named(name);
      in_.skipWhiteSpaceAndComments();
      if (in_.peek() == '"') {
        quotedValue(segment.value);
      } else {
        bareValue(name, segment.value);
      }
      if (!name.empty()) {
        segment.order = segments.size();
        segments.push_back(std::move(segment));
      }
    }
    return segments;
  }

 private:
  static Segment named(std::string_view name) {
    Segment segment;
    if (name.size() > 1 && name.back() == '*') {
      segment.extended = true;
      name.remove_suffix(1);
    }
    const std::size_t star = name.rfind('*');
    constexpr std::size_t kMaxDigits = 6;
    if (star != std::string_view::npos && star > 0) {
      const std::string_view number = name.substr(star + 1);
      if (!number.empty() && number.size() <= kMaxDigits &&
          std::all_of(number.begin(), number.end(), text::isDigit)) {
        segment.section = 0;
        for (const char c : number) {
          segment.section = segment.section * 10 + (c - '0');
        }
        name = name.substr(0, star);
      }
    }
    segment.name = text::lowered(name);
    return segment;
  }

  // The closing quote's distance from the cursor, which stands on the opening one.
  std::size_t closingQuote() {
    const std::string_view rest = in_.rest();
    std::size_t i = noMoreQuotes_ ? rest.size() : kInQuotes.findIn(rest, 1);
    for (; i < rest.size(); i = kInQuotes.findIn(rest, i + 2)) {
      if (rest[i] == '"') {
        return i;
      }
    }
    noMoreQuotes_ = true;
    return std::string_view::npos;
  }

  void quotedValue(std::string& value) {
    do {
      const std::size_t close = closingQuote();
      if (close == std::string_view::npos) {
        in_.skip();
        std::string_view rest = text::trimmed(in_.takeWhile([](char c) { return c != ';'; }));
        // A Windows folder ends with a backslash, which was not meant to quote the closing quote.
        if (rest.size() > 1 && rest.substr(rest.size() - 2) == "\\\"") {
          rest.remove_suffix(1);
        }
        appendUnquoted(rest, value);
        return;
      }
      appendUnquoted(in_.rest().substr(1, close - 1), value);
      in_.skip(close + 1);
      in_.skipWhiteSpaceAndComments();
    } while (in_.peek() == '"');
  }

  // RFC 5322 section 3.2.4, but a backslash that quotes neither a quote nor itself is a file
  // name's.
  static void appendUnquoted(std::string_view text, std::string& value) {
    for (std::size_t i = 0; i < text.size(); ++i) {
      const std::size_t run = kNotInValue.runBefore(text.substr(i));
      value.append(text.substr(i, run));
      i += run;
      if (i == text.size()) {
        return;
      }
      if (text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == '"' || text[i + 1] == '\\')) {
        ++i;
      }
      if (text[i] != '\r' && text[i] != '\n') {
        value += text[i];
      }
    }
  }

  void bareValue(std::string_view name, std::string& value) {
    for (;;) {
      value += in_.takeUntil(kEndsBareValue);
      const Cursor::Checkpoint end = in_.checkpoint();
      in_.skipWhiteSpace();
      if (in_.atEnd() || in_.peek() == ';' || in_.peek() == '(' || !mayHaveBlanks(name)) {
        return;
      }
      // A file name that nobody quoted, unless another parameter begins here without a semicolon.
      const Cursor::Checkpoint next = in_.checkpoint();
      in_.takeWhile([](char c) { return isTokenCharacter(c) || c == '*'; });
      const bool parameter = in_.peek() == '=' && in_.checkpoint() != next;
      in_.restore(parameter ? end : next);
      if (parameter) {
        return;
      }
      value += ' ';
    }
  }

  Cursor in_;
  bool noMoreQuotes_ = false;
};

std::string percentDecoded(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && text.size() - i > 2 && text::hexValue(text[i + 1]) >= 0 &&
        text::hexValue(text[i + 2]) >= 0) {
      out += static_cast<char>(text::hexValue(text[i + 1]) << 4 | text::hexValue(text[i + 2]));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

// What a decoded value must not bring along.
void cleanControls(std::string& value) {
  value.erase(std::remove_if(value.begin(), value.end(),
                             [](char c) { return c == '\0' || c == '\r' || c == '\n'; }),
              value.end());
}

// Joins what is one parameter in RFC 2231 form: segments in order of their numbers, gaps closed.
Parameter joined(const std::vector<const Segment*>& segments, std::string_view rawCharset) {
  Parameter parameter;
  parameter.name = segments.front()->name;
  std::string charset;
  std::string bytes;
  long last = -2;
  for (const Segment* const segment : segments) {
    if (segment->section == last) {
      continue;
    }
    std::string_view value = segment->value;
    if (segment->extended && last == -2) {
      const std::size_t first = value.find('\'');
      const std::size_t second =
          first == std::string_view::npos ? first : value.find('\'', first + 1);
      if (second != std::string_view::npos) {
        charset = value.substr(0, first);
        parameter.language = value.substr(first + 1, second - first - 1);
        value.remove_prefix(second + 1);
      }
    }
    last = segment->section;
    if (segment->extended) {
      bytes += percentDecoded(value);
    } else {
      bytes += value;
    }
  }
  if (text::isKnownCharset(charset)) {
    parameter.value = text::decodePiece(bytes, charset);
  } else if (text::isValidUtf8(bytes) && bytes.find("=?") == std::string::npos) {
    parameter.value = std::move(bytes);
  } else {
    parameter.value = text::decodeWords(bytes, rawCharset);
  }
  cleanControls(parameter.value);
  return parameter;
}

// True for utf-8''a%20b: RFC 2231 form without the asterisk that announces it.
bool looksExtended(std::string_view value) {
  const std::size_t first = value.find('\'');
  const std::size_t second = first == std::string_view::npos ? first : value.find('\'', first + 1);
  return second != std::string_view::npos && first > 0 &&
         value.find('%', second) != std::string_view::npos &&
         std::all_of(value.begin(), value.end(), [](char c) { return c > ' ' && c < 0x7F; }) &&
         text::isKnownCharset(value.substr(0, first));
}

// A value that is text and nothing more. Blanks at its ends may be meant.
Parameter plain(Segment segment, std::string_view rawCharset) {
  if (mayHaveBlanks(segment.name) && looksExtended(segment.value)) {
    segment.extended = true;
    return joined({&segment}, rawCharset);
  }
  Parameter parameter;
  parameter.name = std::move(segment.name);
  if (!text::needsEncodedWords(segment.value)) {
    parameter.value = std::move(segment.value);
    return parameter;
  }
  text::appendDecodedWords(segment.value, rawCharset, parameter.value);
  cleanControls(parameter.value);
  return parameter;
}

std::vector<Parameter> joinAll(std::vector<Segment> segments, std::string_view rawCharset) {
  std::vector<Parameter> parameters;
  const bool simple = std::none_of(segments.begin(), segments.end(), [](const Segment& segment) {
    return segment.extended || segment.section >= 0;
  });
  if (simple) {
    parameters.reserve(segments.size());
    for (Segment& segment : segments) {
      parameters.push_back(plain(std::move(segment), rawCharset));
    }
    return parameters;
  }
  // By name, then what is one parameter together: whole extended values, continuations, plain ones.
  const auto kind = [](const Segment& segment) {
    return segment.section >= 0 ? 1 : segment.extended ? 0 : 2;
  };
  std::vector<const Segment*> sorted;
  for (const Segment& segment : segments) {
    sorted.push_back(&segment);
  }
  std::stable_sort(sorted.begin(), sorted.end(), [&](const Segment* a, const Segment* b) {
    if (a->name != b->name) {
      return a->name < b->name;
    }
    if (kind(*a) != kind(*b)) {
      return kind(*a) < kind(*b);
    }
    return a->section < b->section;
  });
  struct Placed {
    std::size_t order;
    std::size_t rank;  // among those of one name
    Parameter parameter;
  };
  std::vector<Placed> placed;
  for (std::size_t i = 0; i < sorted.size();) {
    std::size_t end = i;
    std::size_t order = sorted[i]->order;
    while (end < sorted.size() && sorted[end]->name == sorted[i]->name) {
      order = std::min(order, sorted[end]->order);
      ++end;
    }
    std::size_t rank = 0;
    while (i < end) {
      std::size_t next = i + 1;
      if (kind(*sorted[i]) == 1) {
        while (next < end && kind(*sorted[next]) == 1) {
          ++next;
        }
      }
      const bool isPlain = kind(*sorted[i]) == 2;
      placed.push_back({order, rank++,
                        isPlain ? plain(*sorted[i], rawCharset)
                                : joined({sorted.begin() + static_cast<std::ptrdiff_t>(i),
                                          sorted.begin() + static_cast<std::ptrdiff_t>(next)},
                                         rawCharset)});
      i = next;
    }
  }
  std::sort(placed.begin(), placed.end(), [](const Placed& a, const Placed& b) {
    return a.order != b.order ? a.order < b.order : a.rank < b.rank;
  });
  for (Placed& one : placed) {
    parameters.push_back(std::move(one.parameter));
  }
  return parameters;
}

bool isPrintable(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7F; });
}

std::string quotedText(std::string_view text) {
  if (!text.empty() && std::all_of(text.begin(), text.end(), isTokenCharacter)) {
    return std::string(text);
  }
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
    }
    out += c;
  }
  out += '"';
  return out;
}

// RFC 2231 section 7: what needs no percent sign.
bool isAttributeCharacter(char c) {
  return isTokenCharacter(c) && c != '*' && c != '\'' && c != '%';
}

void appendPercent(char c, std::string& out) {
  constexpr char kHex[] = "0123456789ABCDEF";
  if (isAttributeCharacter(c)) {
    out += c;
    return;
  }
  const auto byte = static_cast<unsigned char>(c);
  out += '%';
  out += kHex[byte >> 4];
  out += kHex[byte & 15];
}

// Puts `; piece` on this line or the next.
void appendPiece(std::string_view piece, std::size_t& column, std::string& out) {
  out += ';';
  // One place is kept for the semicolon of the parameter after it.
  if (column + 2 + piece.size() + 1 > kMaxLine) {
    out += "\r\n ";
    column = 1;
  } else {
    out += ' ';
    column += 2;
  }
  out += piece;
  column += piece.size();
}

// Readers decode encoded-words in parameters, although none may stand there, and RFC 2231 form
// without its asterisk.
bool isMisleading(std::string_view value) {
  return value.find("=?") != std::string_view::npos || looksExtended(value);
}

}  // namespace

const std::string* ParameterizedValue::find(std::string_view name) const {
  for (const Parameter& parameter : parameters) {
    if (parameter.name == name) {
      return &parameter.value;
    }
  }
  return nullptr;
}

std::string_view ParameterizedValue::get(std::string_view name) const {
  const std::string* const found = find(name);
  return found == nullptr ? std::string_view() : std::string_view(*found);
}

std::string_view ParameterizedValue::type() const {
  return std::string_view(value).substr(0, value.find('/'));
}

std::string_view ParameterizedValue::subtype() const {
  const std::size_t slash = value.find('/');
  return slash == std::string::npos ? std::string_view()
                                    : std::string_view(value).substr(slash + 1);
}

ParameterizedValue parseParameterized(std::string_view raw, std::string_view rawCharset) {
  ParameterizedValue result;
  ParameterParser parser(raw);
  result.value = parser.value();
  result.parameters = joinAll(parser.segments(), rawCharset);
  return result;
}

std::string parseParameterizedValue(std::string_view raw) {
  return ParameterParser(raw).value();
}

void appendParameter(std::string_view name, std::string_view value, std::size_t& column,
                     std::string& out) {
  const bool mustEncode = isMisleading(value);
  if (isPrintable(value) && !mustEncode) {
    const std::string piece = std::string(name) + "=" + quotedText(value);
    if (piece.size() + 2 <= kMaxLine) {
      appendPiece(piece, column, out);
      return;
    }
  }
  std::string repaired;
  text::appendRepairedUtf8(value, repaired);
  const bool encode = mustEncode || !isPrintable(repaired);
  // In pieces that fit a line each, no character divided.
  std::vector<std::string> pieces(1);
  constexpr std::size_t kNumberRoom = 8;
  const std::size_t room = kMaxLine - kNumberRoom - std::min(name.size(), kMaxLine / 3) - 8;
  if (encode) {
    pieces.back() = "utf-8''";
  }
  for (std::size_t i = 0; i < repaired.size();) {
    const std::size_t length =
        encode ? std::min(text::utf8Length(repaired[i]), repaired.size() - i) : 1;
    std::string character;
    for (std::size_t k = 0; k < length; ++k) {
      if (encode) {
        appendPercent(repaired[i + k], character);
      } else {
        character += repaired[i + k];
      }
    }
    if (pieces.back().size() + character.size() > room) {
      pieces.emplace_back();
    }
    pieces.back() += character;
    i += length;
  }
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    std::string piece(name);
    if (pieces.size() > 1) {
      piece += "*" + std::to_string(i);
    }
    piece += encode ? "*=" + pieces[i] : "=" + quotedText(pieces[i]);
    appendPiece(piece, column, out);
  }
}

void appendParameterAsEncodedWord(std::string_view name, std::string_view value,
                                  std::size_t& column, std::string& out) {
  if (isPrintable(value) && !isMisleading(value)) {
    const std::string piece = std::string(name) + "=" + quotedText(value);
    if (piece.size() + 2 <= kMaxLine) {
      appendPiece(piece, column, out);
      return;
    }
  }
  // Only encoded-words can be folded everywhere; a fold in front of the first would be read as a
  // blank of the value.
  const std::string start = std::string(name) + "=\"";
  std::string piece = start;
  std::size_t end = column + 2 + start.size();
  text::appendEncodedWords(value, end, piece);
  if (piece.find('\r') == std::string::npos) {
    out += "; ";
  } else {
    out += ";\r\n ";
    piece = start;
    end = 1 + start.size();
    text::appendEncodedWords(value, end, piece);
  }
  out += piece;
  out += '"';
  column = end + 1;
}

}  // namespace brennox::rfc822
