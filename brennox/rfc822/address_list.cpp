// An address list is cut into entries at its separators; each entry is a handful of tokens, and
// what they mean is decided when the entry ends. So "Doe, John <j@x>" and "John j@x" need no
// grammar of their own.
#include "rfc822/address_list.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory_resource>

#include "core/block_memory.h"
#include "rfc822/cursor.h"
#include "text/ascii.h"
#include "text/charset.h"
#include "text/encoded_word.h"

namespace brennox::rfc822 {
namespace {

// More recipients than any message has.
constexpr std::size_t kMaxMailboxes = 50'000;
// Parts of a display name that bare commas may divide: "Doe, John, Dr." has three.
constexpr std::size_t kMaxNameParts = 4;
// Room for the tokens of one entry is made at once.
constexpr std::size_t kUsualTokens = 8;
constexpr char kEscape = '\x1B';
constexpr std::string_view kLeadOut = "\x1B(";

enum class TokenKind : std::uint32_t { kWord, kQuoted, kComment, kAt, kAngle };

// A list may be nothing but tokens of two characters: as small as can be, so that they stay within
// a few times the list. `begin` and `length` are what stands between the delimiters, as it is.
struct Token {
  std::uint32_t begin;
  std::uint32_t length : 27;
  TokenKind kind : 4;
  std::uint32_t blankBefore : 1;  // true or false; of one type all, or they do not share a word
};
static_assert(sizeof(Token) == 8);

using Tokens = std::pmr::vector<Token>;

// What comes behind is not read. No header is as long.
constexpr std::uint32_t kMaxList = (std::uint32_t{1} << 27) - 1;

// RFC 5322 section 3.2.3: these end an atom. A dot and a backslash do not: both are common in
// names.
bool endsWord(char c) {
  return text::isSpace(c) || c == '(' || c == ')' || c == '<' || c == '>' || c == ',' || c == ';' ||
         c == ':' || c == '@' || c == '"';
}

// All that means something inside of a word or ends it.
constexpr text::CharacterSet kNotPlainInWord(" \t\r\n()<>,;:@\"[=\x1B");
// All that is not taken as it stands between angle brackets.
constexpr text::CharacterSet kNotPlainInAddress =
    text::CharacterSet(" \\\"()=").withControls().withNonAscii();

bool isBlankText(std::string_view text) {
  return std::all_of(text.begin(), text.end(), text::isSpace);
}

class ListParser {
 public:
  ListParser(std::string_view raw, std::string_view rawCharset, EncodedWords words, bool nested,
             std::vector<Mailbox>& out)
      : list_(raw.substr(0, kMaxList)),
        in_(list_),
        rawCharset_(rawCharset),
        words_(words),
        nested_(nested),
        out_(out) {
    tokens_.reserve(kUsualTokens);
  }

  void parse() {
    while (!in_.atEnd() && out_.size() < kMaxMailboxes) {
      token();
    }
    endEntry(false);
    flushPending();
  }

 private:
  void token() {
    const char c = in_.peek();
    switch (c) {
      case ' ':
      case '\t':
      case '\r':
      case '\n':
        blank_ = true;
        in_.skip();
        return;
      case ',':
        in_.skip();
        endEntry(true);
        return;
      case ';':
        in_.skip();
        endEntry(false);
        flushPending();
        return;
      case ':':
        colon();
        return;
      case '@':
        add(TokenKind::kAt, in_.takeWhile([](char at) { return at == '@'; }));
        return;
      case '(':
        comment();
        return;
      case '<':
        angle();
        return;
      case '"':
        quoted();
        return;
      case '>':
      case ')':
        in_.skip();
        return;
      default:
        word();
    }
  }

  void add(TokenKind kind, std::string_view text) {
    Token token{};
    token.begin = static_cast<std::uint32_t>(text.data() - list_.data());
    token.length = static_cast<std::uint32_t>(text.size()) & kMaxList;
    token.kind = kind;
    token.blankBefore = blank_;
    tokens_.push_back(token);
    hasAddress_ = hasAddress_ || kind == TokenKind::kAt || kind == TokenKind::kAngle;
    blank_ = false;
  }

  std::string_view textOf(const Token& token) const {
    return list_.substr(token.begin, token.length);
  }

  // After a group's name; elsewhere it is noise within an address.
  void colon() {
    if (hasAddress_) {
      add(TokenKind::kWord, in_.rest().substr(0, 1));
    } else {
      flushPending();
      tokens_.clear();
    }
    in_.skip();
  }

  // A comment that does not close is none: what follows it would be lost. From then on parentheses
  // pair without nesting, which keeps the search linear.
  void comment() {
    if (flatComments_) {
      const std::size_t close = noMoreCloses_ ? std::string_view::npos : in_.rest().find(')');
      if (close == std::string_view::npos) {
        noMoreCloses_ = true;
        in_.skip();
        return;
      }
      add(TokenKind::kComment, in_.rest().substr(1, close - 1));
      in_.skip(close + 1);
      return;
    }
    const Cursor::Checkpoint start = in_.checkpoint();
    const std::string_view content = in_.comment();
    const bool closed = in_.since(start).size() == content.size() + 2;
    if (closed) {
      add(TokenKind::kComment, content);
      return;
    }
    in_.restore(start);
    flatComments_ = true;
    comment();
  }

  // The closing quote's distance from the cursor, which stands on the opening one; npos without
  // one.
  std::size_t closingQuote() {
    if (noMoreQuotes_) {
      return std::string_view::npos;
    }
    const std::string_view rest = in_.rest();
    for (std::size_t i = 1; i < rest.size(); ++i) {
      if (rest[i] == '\\') {
        ++i;
      } else if (rest[i] == '"') {
        return i;
      } else if (rest[i] == kEscape) {
        i += shiftedLength(rest.substr(i)) - 1;
      }
    }
    noMoreQuotes_ = true;
    return std::string_view::npos;
  }

  // The length of text in ISO-2022-JP or one of its kin that nobody encoded: from the escape that
  // leads into a two-byte set, at which `rest` starts, behind the one that leads out of it. The
  // bytes between look like any punctuation. 1 when it is none.
  std::size_t shiftedLength(std::string_view rest) {
    if (rest.size() < 2 || rest[1] != '$' || noMoreShifts_) {
      return 1;
    }
    const std::size_t end = rest.find(kLeadOut);
    if (end == std::string_view::npos) {
      noMoreShifts_ = true;
      return 1;
    }
    // The set's letter follows.
    return std::min(end + kLeadOut.size() + 1, rest.size());
  }

  void quoted() {
    const std::size_t close = closingQuote();
    if (close == std::string_view::npos) {
      in_.skip();
      return;
    }
    add(TokenKind::kQuoted, in_.rest().substr(1, close - 1));
    in_.skip(close + 1);
  }

  // An encoded-word may hold what would end a word: senders encode too little.
  void word() {
    const Cursor::Checkpoint start = in_.checkpoint();
    for (;;) {
      in_.takeUntil(kNotPlainInWord);
      if (in_.atEnd() || endsWord(in_.peek())) {
        break;
      }
      const std::size_t length = encodedWordLength();
      if (length != 0) {
        in_.skip(length);
      } else if (in_.peek() == '[') {
        domainLiteral();
      } else if (in_.peek() == kEscape) {
        in_.skip(shiftedLength(in_.rest()));
      } else {
        in_.skip();
      }
    }
    add(TokenKind::kWord, in_.since(start));
  }

  // RFC 5322 section 3.4.1: its colons divide nothing.
  void domainLiteral() {
    const Cursor::Checkpoint start = in_.checkpoint();
    in_.skip();
    in_.takeWhile([](char c) {
      return text::isAlpha(c) || text::isDigit(c) || c == ':' || c == '.' || c == '-';
    });
    if (!in_.take(']')) {
      in_.restore(start);
      in_.skip();
    }
  }

  // The length of an encoded-word without blanks at the cursor, else 0. It ends before another
  // begins.
  std::size_t encodedWordLength() const {
    const std::string_view rest = in_.rest();
    if (rest.substr(0, 2) != "=?" || words_ == EncodedWords::kKeep) {
      return 0;
    }
    const std::size_t encoding = rest.find_first_of("? \t\r\n", 2);
    if (encoding == std::string_view::npos || rest.size() - encoding < 5 || rest[encoding] != '?' ||
        rest[encoding + 2] != '?') {
      return 0;
    }
    std::size_t at = encoding + 3;
    for (;;) {
      at = rest.find_first_of("? \t\r\n", at);
      if (at == std::string_view::npos || rest[at] != '?' || at + 1 == rest.size()) {
        return 0;
      }
      if (rest[at + 1] == '=') {
        return at + 2;
      }
      if (rest[at - 1] == '=') {
        return 0;
      }
      ++at;
    }
  }

  // What stands between angle brackets. A bracket that is not closed ends at the next separator,
  // which only a route (RFC 5322 section 4.4) may contain.
  void angle() {
    while (in_.peek() == '<' || text::isSpace(in_.peek())) {
      in_.skip();
    }
    const Cursor::Checkpoint start = in_.checkpoint();
    const bool route = in_.peek() == '@';
    while (!in_.atEnd()) {
      const char c = in_.peek();
      if (c == '>' || c == '<' || ((c == ',' || c == ';') && !route)) {
        break;
      }
      if (c == '"') {
        const std::size_t close = closingQuote();
        in_.skip(close == std::string_view::npos ? 1 : close + 1);
      } else if (c == '(' && !flatComments_) {
        const Cursor::Checkpoint before = in_.checkpoint();
        const std::string_view content = in_.comment();
        if (in_.since(before).size() != content.size() + 2) {
          in_.restore(before);
          flatComments_ = true;
          in_.skip();
        }
      } else {
        in_.skip();
      }
    }
    add(TokenKind::kAngle, in_.since(start));
    in_.take('>');
  }

  // Without quoted pairs and line ends.
  static void appendUnquoted(std::string_view text, std::string& out) {
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] == kEscape && i + 1 < text.size() && text[i + 1] == '$') {
        const std::size_t end = std::min(text.find(kLeadOut, i), text.size());
        out += text.substr(i, end - i);
        i = end;
        if (i == text.size()) {
          return;
        }
      }
      if (text[i] == '\\' && i + 1 < text.size()) {
        ++i;
      }
      if (text[i] != '\r' && text[i] != '\n') {
        out += text[i] == '\t' ? ' ' : text[i];
      }
    }
  }

  std::string decoded(std::string_view raw) const {
    std::string out;
    if (words_ == EncodedWords::kKeep) {
      return text::decodeRawText(raw, rawCharset_);
    }
    text::appendDecodedWords(raw, rawCharset_, out);
    return out;
  }

  // The words of a display name, or of comments in its place.
  std::string phrase(std::size_t first, std::size_t last, bool comments) const {
    std::string raw;
    for (std::size_t i = first; i < last; ++i) {
      const Token& token = tokens_[i];
      if ((token.kind == TokenKind::kComment) != comments || token.kind == TokenKind::kAngle) {
        continue;
      }
      if (!raw.empty() && (token.blankBefore || comments)) {
        raw += ' ';
      }
      if (token.kind == TokenKind::kQuoted || comments) {
        appendUnquoted(textOf(token), raw);
      } else {
        raw += textOf(token);
      }
    }
    std::string name = decoded(comments ? text::trimmed(raw) : std::string_view(raw));
    return isBlankText(name) ? std::string() : name;
  }

  // The address of what stood between angle brackets or around an "@": white space and comments
  // outside of quotes go, and so does a route.
  std::string address(std::string_view raw) const {
    if (!raw.empty() && raw.front() != '@' && kNotPlainInAddress.runBefore(raw) == raw.size()) {
      return std::string(raw);
    }
    std::string out;
    bool inQuotes = false;
    std::size_t depth = 0;
    for (std::size_t i = 0; i < raw.size(); ++i) {
      const char c = raw[i];
      if (c == '\\' && i + 1 < raw.size()) {
        if (depth == 0) {
          out += c;
          out += raw[i + 1];
        }
        ++i;
      } else if (inQuotes) {
        inQuotes = c != '"';
        if (c != '\r' && c != '\n') {
          out += c;
        }
      } else if (c == '(') {
        ++depth;
      } else if (c == ')' && depth > 0) {
        --depth;
      } else if (depth == 0 && !text::isSpace(c)) {
        inQuotes = c == '"';
        out += c;
      }
    }
    if (!out.empty() && out.front() == '@') {
      const std::size_t colon = out.rfind(':');
      if (colon != std::string::npos) {
        out.erase(0, colon + 1);
      }
    }
    if (words_ == EncodedWords::kDecode && text::needsEncodedWords(out)) {
      return text::decodeWords(out, rawCharset_);
    }
    return text::isAscii(out) ? out : text::decodeRawText(out, rawCharset_);
  }

  void emit(std::string name, std::string address) {
    const bool empty = name.empty() && (address.empty() || address == "@");
    if (!empty && out_.size() < kMaxMailboxes) {
      out_.push_back({std::move(name), std::move(address)});
    }
  }

  void endEntry(bool comma) {
    blank_ = false;
    const auto has = [this](TokenKind kind) {
      return std::any_of(tokens_.begin(), tokens_.end(),
                         [kind](const Token& token) { return token.kind == kind; });
    };
    if (has(TokenKind::kAngle)) {
      endWithAngle();
    } else if (has(TokenKind::kAt)) {
      flushPending();
      endWithAt(has(TokenKind::kComment));
    } else if (!tokens_.empty()) {
      endWithNeither(comma, has(TokenKind::kComment));
    }
    tokens_.clear();
    hasAddress_ = false;
  }

  void endWithAngle() {
    std::size_t last = tokens_.size() - 1;
    while (tokens_[last].kind != TokenKind::kAngle) {
      --last;
    }
    std::size_t start = 0;
    for (std::size_t i = 0; i <= last; ++i) {
      if (tokens_[i].kind != TokenKind::kAngle) {
        continue;
      }
      const std::size_t end = i == last ? tokens_.size() : i;
      std::string name = phrase(start, i, false);
      if (start == 0) {
        name = joinPending(std::move(name));
      }
      if (name.empty()) {
        name = phrase(i, end, false);
      }
      if (name.empty()) {
        name = phrase(start, end, true);
      }
      emit(std::move(name), address(textOf(tokens_[i])));
      start = i + 1;
    }
  }

  // The tokens that make up the address around the "@" at `at`: words that dots or nothing divide.
  std::pair<std::size_t, std::size_t> extent(std::size_t at, std::size_t floor) const {
    std::size_t first = at;
    if (first > floor && isPart(first - 1)) {
      --first;
      while (first > floor && isPart(first - 1) &&
             (!tokens_[first].blankBefore || startsWith(first, '.') || endsWith(first - 1, '.'))) {
        --first;
      }
    }
    std::size_t end = at + 1;
    if (end < tokens_.size() && isPart(end)) {
      ++end;
      while (end < tokens_.size() &&
             ((isPart(end) &&
               (!tokens_[end].blankBefore || startsWith(end, '.') || endsWith(end - 1, '.'))) ||
              (tokens_[end].kind == TokenKind::kAt && !tokens_[end].blankBefore))) {
        ++end;
      }
    }
    return {first, end};
  }

  bool isPart(std::size_t i) const {
    return tokens_[i].kind == TokenKind::kWord || tokens_[i].kind == TokenKind::kQuoted;
  }
  bool startsWith(std::size_t i, char c) const {
    return tokens_[i].kind == TokenKind::kWord && textOf(tokens_[i]).front() == c;
  }
  bool endsWith(std::size_t i, char c) const {
    return tokens_[i].kind == TokenKind::kWord && textOf(tokens_[i]).back() == c;
  }

  void endWithAt(bool hasComment) {
    // Comments stand anywhere: looked at on their own, they do not divide an address.
    Tokens comments(blockMemory());
    std::pmr::vector<std::size_t> places(blockMemory());
    Tokens others(blockMemory());
    if (hasComment) {
      for (const Token& token : tokens_) {
        if (token.kind == TokenKind::kComment) {
          comments.push_back(token);
          places.push_back(others.size());
        } else {
          others.push_back(token);
        }
      }
      tokens_ = std::move(others);
    }
    const std::size_t before = out_.size();
    std::size_t start = 0;
    std::size_t addressStart = 0;
    for (std::size_t i = 0; i < tokens_.size(); ++i) {
      if (tokens_[i].kind != TokenKind::kAt) {
        continue;
      }
      const auto [first, end] = extent(i, start);
      if (start == i && end == i + 1) {
        // Nothing but the sign, once or more.
        start = end;
        continue;
      }
      std::string raw;
      for (std::size_t k = first; k < end; ++k) {
        if (tokens_[k].kind == TokenKind::kQuoted) {
          raw += '"';
          raw += textOf(tokens_[k]);
          raw += '"';
        } else {
          raw += textOf(tokens_[k]);
        }
      }
      emit(phrase(start, first, false), address(raw));
      addressStart = first;
      start = end;
      i = end - 1;
    }
    if (out_.size() == before || !out_.back().name.empty()) {
      return;
    }
    out_.back().name = phrase(start, tokens_.size(), false);
    if (!out_.back().name.empty()) {
      return;
    }
    // A comment within the address says nothing about its owner.
    Tokens beside(blockMemory());
    for (std::size_t i = 0; i < comments.size(); ++i) {
      if (places[i] <= addressStart || places[i] >= start) {
        beside.push_back(comments[i]);
      }
    }
    tokens_ = std::move(beside);
    out_.back().name = phrase(0, tokens_.size(), true);
  }

  // Words alone: part of a name that a bare comma divides, an address that was encoded whole, a
  // mailbox without domain, or a name whose address is missing.
  void endWithNeither(bool comma, bool comments) {
    std::string text = phrase(0, tokens_.size(), false);
    if (!nested_ && text.find('@') != std::string::npos) {
      // An address, or a list of them, that was encoded or put in quotes as a whole. In quotes it
      // must be one: whoever quoted a comma did not mean to divide anything.
      const bool encoded =
          tokens_.front().kind == TokenKind::kWord && textOf(tokens_.front()).substr(0, 2) == "=?";
      std::vector<Mailbox> inner;
      ListParser(text, rawCharset_, EncodedWords::kKeep, true, inner).parse();
      if (inner.size() == 1 || (encoded && !inner.empty())) {
        flushPending();
        std::move(inner.begin(), inner.end(), std::back_inserter(out_));
        return;
      }
    }
    if (comments) {
      flushPending();
      std::string comment = phrase(0, tokens_.size(), true);
      if (!text.empty()) {
        emit(std::move(comment), std::move(text));
      }
      return;
    }
    if (text.empty()) {
      return;
    }
    if (pending_.size() == kMaxNameParts) {
      emitBare(std::move(pending_.front()));
      pending_.erase(pending_.begin());
    }
    pending_.push_back(std::move(text));
    if (!comma) {
      flushPending();
    }
  }

  std::string joinPending(std::string name) {
    if (pending_.empty()) {
      return name;
    }
    // "root, <j@x>" is a mailbox and an address; "John Doe, <j@x>" is a name with a stray comma.
    if (name.empty() && pending_.back().find(' ') == std::string::npos) {
      flushPending();
      return name;
    }
    std::string joined;
    for (const std::string& part : pending_) {
      joined += part;
      joined += ", ";
    }
    pending_.clear();
    if (name.empty()) {
      joined.resize(joined.size() - 2);
    }
    return joined + name;
  }

  void flushPending() {
    for (std::string& part : pending_) {
      emitBare(std::move(part));
    }
    pending_.clear();
  }

  void emitBare(std::string text) {
    if (text.find(' ') == std::string::npos) {
      emit({}, std::move(text));
    } else {
      emit(std::move(text), {});
    }
  }

  const std::string_view list_;
  Cursor in_;
  std::string_view rawCharset_;
  EncodedWords words_;
  bool nested_;  // already inside of an address list that was encoded whole
  std::vector<Mailbox>& out_;
  Tokens tokens_{blockMemory()};
  std::vector<std::string> pending_;  // entries that may be the beginning of a name
  bool blank_ = false;
  bool hasAddress_ = false;  // among the tokens
  bool noMoreQuotes_ = false;
  bool noMoreShifts_ = false;
  bool noMoreCloses_ = false;
  bool flatComments_ = false;
};

}  // namespace

void parseAddressList(std::string_view raw, std::string_view rawCharset, EncodedWords words,
                      std::vector<Mailbox>& out) {
  ListParser(raw, rawCharset, words, false, out).parse();
}

}  // namespace brennox::rfc822
