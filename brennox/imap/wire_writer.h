// Commands as they go to an IMAP server.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace brennox::imap {

// What the server allows for strings that no quotes can hold.
enum class LiteralMode {
  kSynchronizing,  // the server has to agree first
  kMinus,          // up to 4096 bytes need no agreement (RFC 7888)
  kPlus,           // none does
};

// Builds one command. Text from outside goes through astring() alone, which refuses what would end
// the line: the command is then not valid and must not be sent.
class CommandWriter {
 public:
  explicit CommandWriter(LiteralMode mode) : mode_(mode) {}

  // The grammar's own words, and sets of numbers.
  CommandWriter& raw(std::string_view text);
  // A space and a string: as an atom, in quotes, or as a literal, whichever can hold it.
  CommandWriter& astring(std::string_view text);

  bool isValid() const noexcept { return valid_; }
  const std::string& text() const noexcept { return text_; }
  // Offsets into text() where the server has to answer "+" before the rest may be sent.
  const std::vector<std::size_t>& waits() const noexcept { return waits_; }
  // For commands that carry a secret.
  void wipe();

 private:
  LiteralMode mode_;
  std::string text_;
  std::vector<std::size_t> waits_;
  bool valid_ = true;
};

}  // namespace brennox::imap
