// The reader that all header grammars share: bytes from here to an end, never read past it.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

#include "text/ascii.h"

namespace brennox::rfc822 {

class Cursor {
 public:
  explicit Cursor(std::string_view text) noexcept
      : begin_(text.data()), p_(text.data()), end_(text.data() + text.size()) {}

  bool atEnd() const noexcept { return p_ == end_; }
  std::size_t left() const noexcept { return static_cast<std::size_t>(end_ - p_); }
  // The byte `ahead` of here; NUL beyond the end, which no grammar here gives a meaning to.
  char peek(std::size_t ahead = 0) const noexcept { return left() > ahead ? p_[ahead] : '\0'; }
  void skip(std::size_t count = 1) noexcept { p_ += count < left() ? count : left(); }
  std::string_view rest() const noexcept { return {p_, left()}; }

  using Checkpoint = const char*;
  Checkpoint checkpoint() const noexcept { return p_; }
  void restore(Checkpoint checkpoint) noexcept { p_ = checkpoint; }
  std::string_view since(Checkpoint checkpoint) const noexcept {
    return {checkpoint, static_cast<std::size_t>(p_ - checkpoint)};
  }
  std::size_t offset() const noexcept { return static_cast<std::size_t>(p_ - begin_); }

  // Consumes `c` if it is here.
  bool take(char c) noexcept {
    if (p_ == end_ || *p_ != c) {
      return false;
    }
    ++p_;
    return true;
  }

  template <class Predicate>
  std::string_view takeWhile(Predicate predicate) {
    const char* const start = p_;
    while (p_ != end_ && predicate(*p_)) {
      ++p_;
    }
    return {start, static_cast<std::size_t>(p_ - start)};
  }

  std::string_view takeUntil(const text::CharacterSet& ends) noexcept {
    const std::string_view taken = rest().substr(0, ends.runBefore(rest()));
    p_ += taken.size();
    return taken;
  }

  void skipWhiteSpace() noexcept {
    while (p_ != end_ && text::isSpace(*p_)) {
      ++p_;
    }
  }

  // RFC 5322 section 3.2.2: comments nest. One that does not close reaches to the end. The cursor
  // stands on the opening parenthesis; the content is returned without the outer ones.
  std::string_view comment() noexcept {
    const char* const start = ++p_;
    std::size_t depth = 1;
    while (p_ != end_) {
      const char c = *p_++;
      if (c == '\\') {
        p_ += p_ == end_ ? 0 : 1;
      } else if (c == '(') {
        ++depth;
      } else if (c == ')' && --depth == 0) {
        return {start, static_cast<std::size_t>(p_ - 1 - start)};
      }
    }
    return {start, static_cast<std::size_t>(p_ - start)};
  }

  void skipWhiteSpaceAndComments() noexcept {
    for (;;) {
      skipWhiteSpace();
      if (p_ == end_ || *p_ != '(') {
        return;
      }
      comment();
    }
  }

 private:
  const char* begin_;
  const char* p_;
  const char* end_;
};

}  // namespace brennox::rfc822
