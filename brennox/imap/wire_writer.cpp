#include "imap/wire_writer.h"

#include <algorithm>

#include "imap/wire_reader.h"
#include "net/sasl.h"

namespace brennox::imap {
namespace {

constexpr std::size_t kMaxLiteralMinus = 4096;
// Longer strings travel as literals: servers bound their lines.
constexpr std::size_t kMaxQuoted = 1000;

// ATOM-CHAR and "]" (RFC 9051 section 9, ASTRING-CHAR).
bool isAstringChar(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte > 0x20 && byte < 0x7F &&
         std::string_view("(){%*\"\\").find(c) == std::string_view::npos;
}

bool isQuotedChar(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x20 && byte < 0x7F;
}

}  // namespace

CommandWriter& CommandWriter::raw(std::string_view text) {
  text_ += text;
  return *this;
}

CommandWriter& CommandWriter::astring(std::string_view text) {
  if (text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos) {
    valid_ = false;
    return *this;
  }
  text_ += ' ';
  if (!text.empty() && text.size() <= kMaxQuoted &&
      std::all_of(text.begin(), text.end(), isAstringChar) && !sameKeyword(text, "NIL")) {
    text_ += text;
    return *this;
  }
  if (text.size() <= kMaxQuoted && std::all_of(text.begin(), text.end(), isQuotedChar)) {
    text_ += '"';
    for (const char c : text) {
      if (c == '"' || c == '\\') {
        text_ += '\\';
      }
      text_ += c;
    }
    text_ += '"';
    return *this;
  }
  const bool atOnce = mode_ == LiteralMode::kPlus ||
                      (mode_ == LiteralMode::kMinus && text.size() <= kMaxLiteralMinus);
  text_ += '{' + std::to_string(text.size()) + (atOnce ? "+}\r\n" : "}\r\n");
  if (!atOnce) {
    waits_.push_back(text_.size());
  }
  text_ += text;
  return *this;
}

void CommandWriter::wipe() {
  net::wipe(&text_);
}

}  // namespace brennox::imap
