// Two walks over the tree: the first notes which rows and cells hold blocks and text, the second
// writes.
#include "html/plain_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "html/css.h"
#include "html/elements.h"
#include "html/escape.h"
#include "html/parse_tree.h"
#include "html/url.h"
#include "text/ascii.h"

namespace brennox::html {
namespace {

constexpr std::string_view kRule = "----------";
// Line ends in a row: one empty line between blocks, what the sender typed in preformatted text.
constexpr unsigned kMaxBreaks = 2;
constexpr unsigned kMaxPreformattedBreaks = 1000;

constexpr bool isHtmlSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

enum class Role : std::uint8_t {
  Inline,
  Block,      // on lines of its own
  Paragraph,  // with an empty line around it
  List,
  Item,
  Definition,
  Quote,
  Preformatted,
  Table,
  Row,
  Cell,
  Link,
  Break,
  Rule,
  Picture,
  Quotation,  // <q>
  Ignored,
};

Role roleOf(GumboTag tag) {
  switch (tag) {
    case GUMBO_TAG_A:
      return Role::Link;
    case GUMBO_TAG_BR:
      return Role::Break;
    case GUMBO_TAG_HR:
      return Role::Rule;
    case GUMBO_TAG_IMG:
      return Role::Picture;
    case GUMBO_TAG_Q:
      return Role::Quotation;
    case GUMBO_TAG_P:
    case GUMBO_TAG_H1:
    case GUMBO_TAG_H2:
    case GUMBO_TAG_H3:
    case GUMBO_TAG_H4:
    case GUMBO_TAG_H5:
    case GUMBO_TAG_H6:
    case GUMBO_TAG_DL:
    case GUMBO_TAG_FIGURE:
    case GUMBO_TAG_FIELDSET:
      return Role::Paragraph;
    case GUMBO_TAG_UL:
    case GUMBO_TAG_OL:
    case GUMBO_TAG_MENU:
    case GUMBO_TAG_DIR:
      return Role::List;
    case GUMBO_TAG_LI:
      return Role::Item;
    case GUMBO_TAG_DD:
      return Role::Definition;
    case GUMBO_TAG_BLOCKQUOTE:
      return Role::Quote;
    case GUMBO_TAG_PRE:
    case GUMBO_TAG_LISTING:
    case GUMBO_TAG_XMP:
    case GUMBO_TAG_PLAINTEXT:
      return Role::Preformatted;
    case GUMBO_TAG_TABLE:
      return Role::Table;
    case GUMBO_TAG_TR:
      return Role::Row;
    case GUMBO_TAG_TD:
    case GUMBO_TAG_TH:
      return Role::Cell;
    default: {
      const Element element = elementOf(tag);
      if (element.treatment == Treatment::Drop) {
        return Role::Ignored;
      }
      const bool isBlock = element.treatment == Treatment::Keep && element.shape != Shape::Inline &&
                           element.shape != Shape::Void && element.shape != Shape::RubyText;
      return isBlock ? Role::Block : Role::Inline;
    }
  }
}

std::string_view valueOf(const GumboNode* element, const char* name) {
  const char* const value = attributeOf(element, name);
  return value == nullptr ? std::string_view() : std::string_view(value);
}

// Names that the style sheets of the message make invisible.
class HiddenNames {
 public:
  bool enter(const GumboNode* node) {
    if (!isHtmlElement(node)) {
      return false;
    }
    if (node->v.element.tag == GUMBO_TAG_STYLE) {
      collectHiddenNames(rawTextOf(node), names_);
      return false;
    }
    return true;
  }
  void leave(const GumboNode* /*node*/) {}

  bool hide(const GumboNode* element) const {
    if (names_.empty()) {
      return false;
    }
    const std::string_view id = valueOf(element, "id");
    if (!id.empty() && names_.count('#' + std::string(id)) != 0) {
      return true;
    }
    std::string_view classes = valueOf(element, "class");
    while (!classes.empty()) {
      const auto end = static_cast<std::size_t>(
          std::find_if(classes.begin(), classes.end(), isHtmlSpace) - classes.begin());
      if (end > 0 && names_.count('.' + std::string(classes.substr(0, end))) != 0) {
        return true;
      }
      classes.remove_prefix(std::min(end + 1, classes.size()));
    }
    return false;
  }

 private:
  std::unordered_set<std::string> names_;
};

// Most styles say nothing about what this file asks; they are not taken apart.
bool isAboutDisplay(std::string_view style) {
  const std::string lower = text::lowered(style);
  for (const char* const word : {"display", "visib", "opacity", "overflow", "\\"}) {
    if (lower.find(word) != std::string::npos) {
      return true;
    }
  }
  return false;
}

Role visibleRoleOf(const GumboNode* node, const HiddenNames& hidden) {
  if (!isHtmlElement(node)) {
    return Role::Ignored;
  }
  const Role role = roleOf(node->v.element.tag);
  if (role == Role::Ignored || attributeOf(node, "hidden") != nullptr || hidden.hide(node)) {
    return Role::Ignored;
  }
  const std::string_view style = valueOf(node, "style");
  if (style.empty() || !isAboutDisplay(style)) {
    return role;
  }
  if (hidesElement(style)) {
    return Role::Ignored;
  }
  return role == Role::Inline && isDisplayedAsBlock(style) ? Role::Block : role;
}

// U+00A0 and the spaces of U+2000 to U+200A, U+202F, U+205F, U+3000 are left to the writer; these
// go.
bool isInvisible(std::string_view sequence) {
  return sequence == "\xC2\xAD" || sequence == "\xE2\x80\x8B" || sequence == "\xE2\x81\xA0" ||
         sequence == "\xEF\xBB\xBF" || sequence == "\xCD\x8F" || sequence == "\xE1\xA0\x8E";
}
bool isJoiner(std::string_view sequence) {
  return sequence == "\xE2\x80\x8C" || sequence == "\xE2\x80\x8D";
}
bool isNoBreakSpace(std::string_view sequence) {
  return sequence == "\xC2\xA0";
}

// Joiners shape letters of many scripts and pictographs; between anything else they only fill
// space.
bool joins(std::string_view before) {
  if (before.size() < 2) {
    return false;
  }
  const auto first = static_cast<std::uint8_t>(before[0]);
  return (first >= 0xD8 && first <= 0xDF) || (first == 0xE0) || first == 0xF0 ||
         (first == 0xE1 && static_cast<std::uint8_t>(before[1]) <= 0x9F) ||
         (first == 0xE2 && static_cast<std::uint8_t>(before[1]) >= 0x98) ||
         (first == 0xEF && before == "\xEF\xB8\x8F");
}

bool isVisibleText(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = utf8Length(text);
    const std::string_view sequence = text.substr(0, std::max<std::size_t>(length, 1));
    if (!isHtmlSpace(sequence[0]) && !isNoBreakSpace(sequence) && !isInvisible(sequence) &&
        !isJoiner(sequence)) {
      return true;
    }
    text.remove_prefix(sequence.size());
  }
  return false;
}

struct CellFacts {
  bool hasText = false;
  // Blocks, or line breaks that would tear a line of cells apart.
  bool hasBlock = false;
  // Of a row: cells that have text.
  std::uint32_t cellsWithText = 0;
};
using Facts = std::unordered_map<const GumboNode*, CellFacts>;

class FactsFinder {
 public:
  FactsFinder(const HiddenNames& hidden, Facts& facts) : hidden_(hidden), facts_(facts) {}

  bool enter(const GumboNode* node) {
    if (isText(node)) {
      if (!frames_.empty() && !frames_.back().facts.hasText) {
        frames_.back().facts.hasText = isVisibleText(node->v.text.text);
      }
      return false;
    }
    if (!isElement(node)) {
      return false;
    }
    const Role role = visibleRoleOf(node, hidden_);
    switch (role) {
      case Role::Ignored:
        return false;
      case Role::Inline:
      case Role::Link:
      case Role::Quotation:
        return true;
      case Role::Picture:
        if (!frames_.empty() && isVisibleText(valueOf(node, "alt"))) {
          frames_.back().facts.hasText = true;
        }
        return true;
      case Role::Row:
      case Role::Cell:
        frames_.push_back({node, role, {}});
        return true;
      default:
        if (!frames_.empty() && frames_.back().role == Role::Cell) {
          frames_.back().facts.hasBlock = true;
        }
        return true;
    }
  }

  void leave(const GumboNode* node) {
    if (frames_.empty() || frames_.back().node != node) {
      return;
    }
    const Frame frame = frames_.back();
    frames_.pop_back();
    facts_[node] = frame.facts;
    if (frames_.empty()) {
      return;
    }
    CellFacts& outer = frames_.back().facts;
    outer.hasText = outer.hasText || frame.facts.hasText;
    if (frame.role == Role::Cell && frame.facts.hasText) {
      ++outer.cellsWithText;
    }
  }

 private:
  struct Frame {
    const GumboNode* node;
    Role role;
    CellFacts facts;
  };
  const HiddenNames& hidden_;
  Facts& facts_;
  std::vector<Frame> frames_;
};

// Lines of text behind the marks of the lists and quotes around them.
class Lines {
 public:
  // One level of a quote (">") or of an indentation.
  struct Prefix {
    bool isQuote;
    std::uint8_t width;
  };

  void pushQuote() { prefixes_.push_back({true, 1}); }
  // `marker` stands in the first line instead of the indentation.
  void pushIndent(std::string marker, std::size_t width) {
    prefixes_.push_back({false, static_cast<std::uint8_t>(width)});
    marker_ = std::move(marker);
    markerAt_ = prefixes_.size();
  }
  void pop() {
    if (markerAt_ == prefixes_.size()) {
      markerAt_ = 0;
    }
    prefixes_.pop_back();
  }

  // At least `count` line ends before the next text.
  void breakLine(unsigned count) {
    endLine();
    if (!isStart_) {
      breaks_ = std::max(breaks_, count);
    }
  }
  // One line end more, up to `limit` in a row.
  void addBreak(unsigned limit) {
    const bool endsText = isLine_;
    endLine();
    if (endsText) {
      breaks_ = 1;
    } else if (!isStart_ && breaks_ < limit) {
      ++breaks_;
    }
  }
  void addTab() {
    space_ = false;
    fixedSpaces_ = 0;
    ++tabs_;
  }
  // White space that collapses.
  void addSpace() { space_ = isLine_; }
  // A space that stays when text follows.
  void addFixedSpace() {
    if (space_) {
      fixedSpaces_ += 1;
      space_ = false;
    }
    ++fixedSpaces_;
  }

  void add(std::string_view text) {
    if (text.empty()) {
      return;
    }
    startLine();
    out_.append(text);
  }

  // Adds to the end of the last line that has text, a space between.
  void addBehind(std::string_view text) {
    const unsigned breaks = breaks_;
    const bool isSpaced = space_;
    breaks_ = 0;
    isLine_ = true;
    fixedSpaces_ = 0;
    tabs_ = 0;
    space_ = true;
    add(text);
    space_ = isSpaced;
    if (breaks > 0) {
      endLine();
      breaks_ = breaks;
    }
  }
  // What has been written so far.
  std::size_t size() const { return out_.size(); }

  std::string take() {
    endLine();
    return std::move(out_);
  }

 private:
  void startLine() {
    if (breaks_ > 0) {
      // The marks of empty lines are those that the lines before and after have in common.
      std::size_t common = 0;
      while (common < std::min(prefixes_.size(), written_.size()) &&
             prefixes_[common].isQuote == written_[common].isQuote) {
        ++common;
      }
      for (unsigned i = 1; i < breaks_; ++i) {
        out_ += '\n';
        std::string marks = prefixText(common, false);
        while (!marks.empty() && marks.back() == ' ') {
          marks.pop_back();
        }
        out_ += marks;
      }
      out_ += '\n';
      breaks_ = 0;
      isLine_ = false;
    }
    if (!isLine_) {
      out_ += prefixText(prefixes_.size(), true);
      written_ = prefixes_;
      out_.append(std::min(tabs_, kMaxTabs), '\t');
      out_.append(fixedSpaces_, ' ');
    } else {
      out_.append(std::min(tabs_, kMaxTabs), '\t');
      out_.append(fixedSpaces_ + (space_ && tabs_ == 0 ? 1U : 0U), ' ');
    }
    isStart_ = false;
    isLine_ = true;
    space_ = false;
    fixedSpaces_ = 0;
    tabs_ = 0;
  }

  std::string prefixText(std::size_t count, bool withMarker) {
    std::string text;
    bool afterQuote = false;
    count = std::min(count, prefixes_.size());
    for (std::size_t i = 0; i < count && i < kMaxPrefixes; ++i) {
      const Prefix& prefix = prefixes_[i];
      if (prefix.isQuote) {
        text += '>';
        afterQuote = true;
        continue;
      }
      if (afterQuote) {
        text += ' ';
        afterQuote = false;
      }
      if (withMarker && markerAt_ == i + 1) {
        text += marker_;
        markerAt_ = 0;
      } else {
        text.append(prefix.width, ' ');
      }
    }
    if (afterQuote && withMarker) {
      text += ' ';
    }
    return text;
  }

  // Spaces at the end of a line go, but for the one of the signature mark.
  void endLine() {
    if (isLine_ && (space_ || fixedSpaces_ > 0)) {
      const std::size_t newline = out_.rfind('\n');
      const std::string_view line =
          std::string_view(out_).substr(newline == std::string::npos ? 0 : newline + 1);
      const std::size_t text = line.find_first_not_of("> ");
      if (text != std::string_view::npos && line.substr(text) == "--") {
        out_ += ' ';
      }
    }
    space_ = false;
    fixedSpaces_ = 0;
    tabs_ = 0;
    isLine_ = false;
  }

  static constexpr std::size_t kMaxTabs = 100;

  std::string out_;
  std::vector<Prefix> prefixes_;
  // Those of the last line.
  std::vector<Prefix> written_;
  std::string marker_;
  // The marker belongs to the prefix before this index; 0 when it has been written.
  std::size_t markerAt_ = 0;
  unsigned breaks_ = 0;
  std::size_t tabs_ = 0;
  std::size_t fixedSpaces_ = 0;
  bool space_ = false;
  bool isStart_ = true;
  // The current line has text.
  bool isLine_ = false;
};

class Writer {
 public:
  Writer(const HiddenNames& hidden, const Facts& facts) : hidden_(hidden), facts_(facts) {}

  bool enter(const GumboNode* node) {
    if (isText(node)) {
      text(node->v.text.text);
      return false;
    }
    if (!isElement(node)) {
      return false;
    }
    const Role role = visibleRoleOf(node, hidden_);
    switch (role) {
      case Role::Ignored:
        return false;
      case Role::Break:
        lines_.addBreak(kMaxBreaks);
        return false;
      case Role::Rule:
        lines_.breakLine(2);
        lines_.add(kRule);
        lines_.breakLine(2);
        return false;
      case Role::Picture:
        text(valueOf(node, "alt"));
        return false;
      default:
        break;
    }
    roles_.push_back({role});
    open(node, roles_.back());
    if (role == Role::Cell && !hasText(node)) {
      roles_.pop_back();
      return false;
    }
    return true;
  }

  void leave(const GumboNode* node) {
    const Frame frame = roles_.back();
    roles_.pop_back();
    close(node, frame);
  }

  std::string take() { return lines_.take(); }

 private:
  struct Frame {
    Role role;
    // The next number of an ordered list; how much had been written before a link.
    std::size_t value = 0;
    bool isOrdered = false;
    char firstLetter = 0;  // of an ordered list that has letters for numbers
    bool pushed = false;
    bool isFirstCell = true;
  };

  void open(const GumboNode* node, Frame& frame) {
    switch (frame.role) {
      case Role::Block:
        lines_.breakLine(1);
        break;
      case Role::Paragraph:
      case Role::Table:
        lines_.breakLine(2);
        break;
      case Role::Row:
        lines_.breakLine(1);
        break;
      case Role::Preformatted:
        lines_.breakLine(2);
        ++preformatted_;
        break;
      case Role::Quote:
        lines_.breakLine(2);
        if ((frame.pushed = depth_ < kMaxPrefixes)) {
          ++depth_;
          lines_.pushQuote();
        }
        break;
      case Role::List:
        lines_.breakLine(lists_ > 0 ? 1 : 2);
        ++lists_;
        frame.isOrdered = node->v.element.tag == GUMBO_TAG_OL;
        frame.value = startOf(node);
        if (const std::string_view type = valueOf(node, "type"); type == "a" || type == "A") {
          frame.firstLetter = type[0];
        }
        break;
      case Role::Item:
        item(node, frame);
        break;
      case Role::Definition:
        lines_.breakLine(1);
        indent(frame, "  ");
        break;
      case Role::Cell:
        cell(node);
        break;
      case Role::Link:
        ++links_;
        frame.value = lines_.size();
        if (links_ == 1) {
          linkText_.clear();
        }
        break;
      case Role::Quotation:
        write("\xE2\x80\x9C");
        break;
      default:
        break;
    }
  }

  void close(const GumboNode* node, const Frame& frame) {
    switch (frame.role) {
      case Role::Block:
      case Role::Row:
        lines_.breakLine(1);
        break;
      case Role::Paragraph:
      case Role::Table:
        lines_.breakLine(2);
        break;
      case Role::Preformatted:
        --preformatted_;
        lines_.breakLine(2);
        break;
      case Role::Quote:
        lines_.breakLine(2);
        unindent(frame);
        break;
      case Role::List:
        --lists_;
        lines_.breakLine(lists_ > 0 ? 1 : 2);
        break;
      case Role::Item:
      case Role::Definition:
        lines_.breakLine(1);
        unindent(frame);
        break;
      case Role::Cell:
        if (isBlockCell(node)) {
          lines_.breakLine(2);
        }
        break;
      case Role::Link:
        --links_;
        if (links_ == 0) {
          address(node, frame);
        }
        break;
      case Role::Quotation:
        write("\xE2\x80\x9D");
        break;
      default:
        break;
    }
  }

  static std::size_t startOf(const GumboNode* list) {
    const std::string_view start = text::trimmed(valueOf(list, "start"));
    std::size_t value = 0;
    if (start.empty() || start.size() > 6) {
      return 1;
    }
    for (const char c : start) {
      if (!text::isDigit(c)) {
        return 1;
      }
      value = value * 10 + static_cast<std::size_t>(c - '0');
    }
    return value;
  }

  // "7", or "g" where the list has letters and they suffice.
  static std::string numberText(const Frame& list) {
    constexpr std::size_t kLetters = 26;
    const bool fits = list.value >= 1 && list.value <= kLetters;
    return list.firstLetter == 0 || !fits
               ? std::to_string(list.value)
               : std::string(1, static_cast<char>(list.firstLetter + list.value - 1));
  }

  void item(const GumboNode* node, Frame& frame) {
    lines_.breakLine(1);
    std::string marker = "* ";
    for (std::size_t i = roles_.size() - 1; i-- > 0;) {
      if (roles_[i].role != Role::List) {
        continue;
      }
      if (roles_[i].isOrdered) {
        if (!valueOf(node, "value").empty()) {
          const char* const value = attributeOf(node, "value");
          const std::size_t digits = std::string_view(value).find_first_not_of("0123456789");
          if (digits == std::string_view::npos && std::string_view(value).size() <= 6) {
            roles_[i].value = static_cast<std::size_t>(std::strtoul(value, nullptr, 10));
          }
        }
        marker = numberText(roles_[i]) + ". ";
        ++roles_[i].value;
      }
      break;
    }
    indent(frame, marker);
  }

  void indent(Frame& frame, const std::string& marker) {
    if ((frame.pushed = depth_ < kMaxPrefixes)) {
      ++depth_;
      lines_.pushIndent(marker, marker.size());
    }
  }

  void unindent(const Frame& frame) {
    if (frame.pushed) {
      --depth_;
      lines_.pop();
    }
  }

  bool hasText(const GumboNode* cell) const {
    const auto found = facts_.find(cell);
    return found != facts_.end() && found->second.hasText;
  }

  bool isBlockCell(const GumboNode* cell) const {
    const auto found = facts_.find(cell);
    return found != facts_.end() && found->second.hasBlock;
  }

  void cell(const GumboNode* node) {
    if (isBlockCell(node)) {
      lines_.breakLine(2);
      return;
    }
    if (roles_.size() < 2 || roles_[roles_.size() - 2].role != Role::Row) {
      return;
    }
    Frame& around = roles_[roles_.size() - 2];
    // Cells that only make room get no column.
    const auto row = facts_.find(node->parent);
    const bool hasColumns = row != facts_.end() && row->second.cellsWithText > 1;
    if (hasColumns && !around.isFirstCell) {
      lines_.addTab();
    }
    around.isFirstCell = false;
  }

  void address(const GumboNode* link, const Frame& frame) {
    const std::optional<std::string> url = linkUrl(valueOf(link, "href"));
    if (!url || lines_.size() == frame.value || !isVisibleText(linkText_)) {
      return;
    }
    std::string_view shown = *url;
    if (schemeOf(shown) == "mailto" || schemeOf(shown) == "tel") {
      shown.remove_prefix(shown.find(':') + 1);
    }
    if (!isSameAddress(linkText_, shown) && !isSameAddress(linkText_, *url)) {
      lines_.addBehind("<" + std::string(shown) + ">");
    }
  }

  static std::string_view bare(std::string_view address) {
    address = text::trimmed(address);
    for (const std::string_view scheme : {"http://", "https://", "mailto:", "tel:"}) {
      if (text::startsWithIgnoringCase(address, scheme)) {
        address.remove_prefix(scheme.size());
        break;
      }
    }
    if (!address.empty() && address.back() == '/') {
      address.remove_suffix(1);
    }
    return address;
  }

  static bool isSameAddress(std::string_view text, std::string_view address) {
    return text::equalsIgnoringCase(bare(text), bare(address));
  }

  void write(std::string_view text) {
    lines_.add(text);
    if (links_ > 0 && linkText_.size() < kMaxLinkText) {
      linkText_.append(text);
    }
  }

  void text(std::string_view text) {
    std::size_t begin = 0;
    std::size_t at = 0;
    const auto flush = [&](std::size_t end) { write(text.substr(begin, end - begin)); };
    while (at < text.size()) {
      const char c = text[at];
      if (static_cast<std::uint8_t>(c) < 0x80) {
        if (!isHtmlSpace(c)) {
          ++at;
          before_ = {};
          continue;
        }
        flush(at);
        space(c);
        begin = ++at;
        before_ = {};
        continue;
      }
      const std::size_t length = std::max<std::size_t>(utf8Length(text.substr(at)), 1);
      const std::string_view sequence = text.substr(at, length);
      const bool goes = isInvisible(sequence) || (isJoiner(sequence) && !joins(before_));
      if (goes || isNoBreakSpace(sequence)) {
        flush(at);
        if (!goes) {
          lines_.addFixedSpace();
        }
        begin = at + length;
      }
      before_ = sequence;
      at += length;
    }
    flush(text.size());
    before_ = {};
  }

  void space(char c) {
    if (preformatted_ == 0) {
      lines_.addSpace();
      if (links_ > 0 && !linkText_.empty() && linkText_.back() != ' ') {
        linkText_ += ' ';
      }
    } else if (c == '\n') {
      lines_.addBreak(kMaxPreformattedBreaks);
    } else if (c == '\t') {
      lines_.add("\t");
    } else {
      lines_.addFixedSpace();
    }
  }

  static constexpr std::size_t kMaxLinkText = 4096;

  const HiddenNames& hidden_;
  const Facts& facts_;
  Lines lines_;
  std::vector<Frame> roles_;
  std::size_t depth_ = 0;
  std::size_t lists_ = 0;
  std::size_t preformatted_ = 0;
  std::size_t links_ = 0;
  std::string linkText_;
  // The character before, as far as it matters for joiners.
  std::string_view before_;
};

}  // namespace

std::string htmlToText(std::string_view html) {
  const ParseTree tree(html);
  HiddenNames hidden;
  walk(tree.root(), hidden);
  Facts facts;
  FactsFinder finder(hidden, facts);
  walk(tree.root(), finder);
  Writer writer(hidden, facts);
  walk(tree.root(), writer);
  return cleanedText(writer.take());
}

}  // namespace brennox::html
