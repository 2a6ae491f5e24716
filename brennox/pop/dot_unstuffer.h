// Takes the byte-stuffing out of a multi-line response and finds its end (RFC 1939 section 3).
#pragma once

#include <cstddef>
#include <string_view>

namespace brennox::pop {

// Fed with the response in any pieces. A line begins after CRLF; with a server that ends its own
// lines with bare LF (`bareLineFeeds`) after LF, since otherwise a bare LF is content like any
// other byte.
class DotUnstuffer {
 public:
  explicit DotUnstuffer(bool bareLineFeeds) : bareLineFeeds_(bareLineFeeds) {}

  // Hands the content in `bytes` to `append` in runs and returns how many bytes were used: all of
  // them, or those up to and with the final dot's line end; isDone() then.
  template <class Append>
  std::size_t feed(std::string_view bytes, const Append& append) {
    std::size_t used = 0;
    while (used < bytes.size() && state_ != State::kDone) {
      used += step(bytes.substr(used), append);
    }
    return used;
  }

  bool isDone() const noexcept { return state_ == State::kDone; }

 private:
  enum class State { kLineStart, kDot, kDotCr, kText, kCr, kDone };

  // What the state makes of the first bytes of `rest`, which is not empty; the number of bytes
  // used.
  template <class Append>
  std::size_t step(std::string_view rest, const Append& append) {
    const char c = rest[0];
    switch (state_) {
      case State::kLineStart:
        state_ = c == '.' ? State::kDot : State::kText;
        return c == '.' ? 1 : 0;
      case State::kDot:
        if (c == '\r') {
          state_ = State::kDotCr;
          return 1;
        }
        state_ = bareLineFeeds_ && c == '\n' ? State::kDone : State::kText;
        return state_ == State::kDone ? 1 : 0;
      case State::kDotCr:
        if (c == '\n') {
          state_ = State::kDone;
          return 1;
        }
        // The dot was stuffing and the CR is content.
        append("\r");
        state_ = State::kCr;
        return 0;
      case State::kText: {
        const std::size_t end = lineStartWithDot(rest);
        append(rest.substr(0, end));
        state_ = end < rest.size() ? State::kLineStart : after(rest);
        return end;
      }
      case State::kCr:
        state_ = c == '\n' ? State::kLineStart : c == '\r' ? State::kCr : State::kText;
        if (state_ == State::kText) {
          return 0;
        }
        append(rest.substr(0, 1));
        return 1;
      case State::kDone:
        break;
    }
    return 0;
  }

  // Where a line begins with a dot, or the end. Dots are rarer than lines, and most runs hold none.
  std::size_t lineStartWithDot(std::string_view text) const {
    for (std::size_t dot = text.find('.'); dot != std::string_view::npos;) {
      if (after(text.substr(0, dot)) == State::kLineStart) {
        return dot;
      }
      dot = text.find('.', text.find_first_not_of('.', dot));
    }
    return text.size();
  }

  // The state behind text that began within a line.
  State after(std::string_view text) const {
    const bool fed = text.ends_with(bareLineFeeds_ ? "\n" : "\r\n");
    return fed                                       ? State::kLineStart
           : !bareLineFeeds_ && text.ends_with('\r') ? State::kCr
                                                     : State::kText;
  }

  const bool bareLineFeeds_;
  State state_ = State::kLineStart;
};

}  // namespace brennox::pop
