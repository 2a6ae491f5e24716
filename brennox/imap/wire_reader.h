// The grammar of what an IMAP server sends (RFC 3501 and RFC 9051 section 9, with the extensions
// that the session uses).
#pragma once

#include <brennox/Data.h>
#include <brennox/Flags.h>
#include <brennox/IndexSet.h>
#include <brennox/Ref.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "net/LineReader.h"

namespace brennox::imap {

// Lists within lists, as BODYSTRUCTURE nests parts.
inline constexpr std::size_t kMaxNesting = 256;

// One whole response. Literals stand in `text` as they came, "{5}\r\nhello"; those of at least
// `streamFrom` bytes have only their head there and their bytes in `blocks`, in order.
struct Response {
  std::string text;
  std::vector<Ref<Block>> blocks;
  std::size_t streamFrom = SIZE_MAX;

  void clear() {
    text.clear();
    blocks.clear();
  }
};

// What a response may grow to. A server that goes beyond it is not talked to any further.
struct ResponseLimits {
  // Text and small literals together.
  std::size_t text;
  // Literals of this size and more go into blocks of their own ...
  std::size_t streamFrom;
  // ... and may be this long, all of them together.
  std::size_t literal;
};

// Reads the next response, literals included. False when the connection has failed or a limit was
// exceeded; the stream's error says which.
bool readResponse(net::ByteStream& stream, net::LineReader& lines, const ResponseLimits& limits,
                  Response* response, const net::LineReader::Progress& progress);

// A string of the grammar, wherever its bytes are. The views end with the response.
struct Text {
  bool nil = false;
  std::string_view bytes;
  // Quoted pairs are still in it.
  bool escaped = false;
  // Set for literals that were streamed.
  Ref<Block> block;

  std::string str() const;
};

// A cursor over one response. Every function that returns bool returns false, and stays false from
// then on, when the input is not what it is named after; the place of the first failure is kept.
class WireReader {
 public:
  explicit WireReader(const Response& response)
      : WireReader(response.text, &response.blocks, response.streamFrom) {}
  // Over a piece of a response without streamed literals.
  explicit WireReader(std::string_view text) : WireReader(text, nullptr, SIZE_MAX) {}

  bool hasFailed() const noexcept { return failed_; }
  bool atEnd() const noexcept { return failed_ || p_ == text_.size(); }
  // The next byte; NUL at the end.
  char peek() const noexcept { return atEnd() ? '\0' : text_[p_]; }
  std::size_t position() const noexcept { return p_; }
  std::string_view slice(std::size_t from) const { return text_.substr(from, p_ - from); }
  std::string_view rest() const { return failed_ ? std::string_view() : text_.substr(p_); }

  // True when this byte was next and has been skipped; no failure otherwise.
  bool skipIf(char c) noexcept;
  // One space, or several as some servers write.
  bool space();
  void skipSpaces() noexcept;
  // Gives back bytes of the token that was read last.
  void stepBack(std::size_t count) noexcept { p_ -= count < p_ ? count : p_; }
  bool character(char c);

  // Any run that is no space, parenthesis, bracket, quote or control character. Never empty.
  bool atom(std::string_view* out);
  bool number(std::uint32_t* out);
  bool number64(std::uint64_t* out);
  // quoted / literal / literal8 / NIL; an atom where a string belongs is taken as one.
  bool nstring(Text* out);
  // As nstring, but NIL is a name.
  bool astring(std::string* out);
  // "(" [flag *(SP flag)] ")", names as they are.
  bool flagList(std::vector<std::string_view>* out);
  // The section behind BODY or BINARY, "[" ... "]" with an optional origin "<n>".
  bool section(std::string_view* out);
  // sequence-set without "*", ascending or not.
  bool sequenceSet(std::vector<Range>* out);
  // Any one value: atom, string, NIL or list with all that is in it; `out` is its text.
  bool value(std::string_view* out);
  // One token of a list, for readers that keep their own stack.
  enum class Token { kOpen, kClose, kText, kEnd };
  Token token(Text* text);

 private:
  WireReader(std::string_view text, const std::vector<Ref<Block>>* blocks, std::size_t streamFrom)
      : text_(text), blocks_(blocks), streamFrom_(streamFrom) {}

  bool fail() noexcept {
    failed_ = true;
    return false;
  }
  bool quoted(Text* out);
  bool literal(Text* out);

  std::string_view text_;
  const std::vector<Ref<Block>>* blocks_;
  std::size_t streamFrom_;
  std::size_t nextBlock_ = 0;
  std::size_t p_ = 0;
  bool failed_ = false;
};

// ASCII letters only, as the grammar's keywords are.
bool sameKeyword(std::string_view a, std::string_view b);
std::string upperCase(std::string_view text);

}  // namespace brennox::imap
