// A tokenizer that knows just enough of HTML to tell tags from text (comments, raw text, quoted
// attribute values) and a stack of open elements that estimates what the tree builder will have
// open: rather too many than too few, so an element leaves the stack only where the tree builder is
// sure to close it. A wrong estimate costs formatting or time, never safety: what it lets through
// is parsed and cleaned like everything. Scripts, pictures in markup and choice lists are taken out
// here. They are dropped anyway, and inside of them tags and comments follow rules of their own.
#include "html/bounded_html.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "text/ascii.h"

namespace brennox::html {
namespace {

using text::toLower;

constexpr bool isHtmlSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

enum class Kind : std::uint8_t {
  Other,       // stays open until its end tag
  Special,     // as Other, and ends of other elements do not reach beyond it
  Void,        // has no content
  RawText,     // content is text up to its own end tag
  PlainText,   // everything after it is text
  Removed,     // taken out with its content
  Formatting,  // is opened again in later blocks when left open
  Block,       // closes an open <p>
  List,        // as Block, and ends of items do not reach beyond it
  Form,        // as Block, closed without what is open inside of it
  Paragraph,   // as Block, closed by blocks
  ListItem,    // as Block, closed by the next item
  Term,        // the same for <dt> and <dd>
  Cell,        // starts with no formatting open
  Row,
  RowGroup,
  Table,
  Barrier,  // starts with no formatting open, keeps ends of other elements inside
  Root,
  Frame,  // would replace the body
};

const std::unordered_map<std::string_view, Kind>& kinds() {
  static const auto* const table = new std::unordered_map<std::string_view, Kind>{
      {"area", Kind::Void},         {"base", Kind::Void},
      {"basefont", Kind::Void},     {"bgsound", Kind::Void},
      {"br", Kind::Void},           {"col", Kind::Void},
      {"embed", Kind::Void},        {"hr", Kind::Void},
      {"image", Kind::Void},        {"img", Kind::Void},
      {"input", Kind::Void},        {"keygen", Kind::Void},
      {"link", Kind::Void},         {"meta", Kind::Void},
      {"param", Kind::Void},        {"source", Kind::Void},
      {"track", Kind::Void},        {"wbr", Kind::Void},
      {"style", Kind::RawText},     {"xmp", Kind::RawText},
      {"iframe", Kind::RawText},    {"noembed", Kind::RawText},
      {"noframes", Kind::RawText},  {"textarea", Kind::RawText},
      {"title", Kind::RawText},     {"script", Kind::Removed},
      {"svg", Kind::Removed},       {"math", Kind::Removed},
      {"select", Kind::Removed},    {"plaintext", Kind::PlainText},
      {"a", Kind::Formatting},      {"b", Kind::Formatting},
      {"big", Kind::Formatting},    {"code", Kind::Formatting},
      {"em", Kind::Formatting},     {"font", Kind::Formatting},
      {"i", Kind::Formatting},      {"nobr", Kind::Formatting},
      {"s", Kind::Formatting},      {"small", Kind::Formatting},
      {"strike", Kind::Formatting}, {"strong", Kind::Formatting},
      {"tt", Kind::Formatting},     {"u", Kind::Formatting},
      {"address", Kind::Block},     {"article", Kind::Block},
      {"aside", Kind::Block},       {"blockquote", Kind::Block},
      {"center", Kind::Block},      {"details", Kind::Block},
      {"dialog", Kind::Block},      {"dir", Kind::Block},
      {"div", Kind::Block},         {"dl", Kind::Block},
      {"fieldset", Kind::Block},    {"figcaption", Kind::Block},
      {"figure", Kind::Block},      {"footer", Kind::Block},
      {"h1", Kind::Block},          {"h2", Kind::Block},
      {"h3", Kind::Block},          {"h4", Kind::Block},
      {"h5", Kind::Block},          {"h6", Kind::Block},
      {"header", Kind::Block},      {"hgroup", Kind::Block},
      {"listing", Kind::Block},     {"main", Kind::Block},
      {"menu", Kind::Block},        {"nav", Kind::Block},
      {"pre", Kind::Block},         {"section", Kind::Block},
      {"summary", Kind::Block},     {"ol", Kind::List},
      {"ul", Kind::List},           {"form", Kind::Form},
      {"p", Kind::Paragraph},       {"li", Kind::ListItem},
      {"dd", Kind::Term},           {"dt", Kind::Term},
      {"button", Kind::Special},    {"noscript", Kind::Special},
      {"td", Kind::Cell},           {"th", Kind::Cell},
      {"caption", Kind::Cell},      {"tr", Kind::Row},
      {"tbody", Kind::RowGroup},    {"thead", Kind::RowGroup},
      {"tfoot", Kind::RowGroup},    {"colgroup", Kind::RowGroup},
      {"table", Kind::Table},       {"applet", Kind::Barrier},
      {"marquee", Kind::Barrier},   {"object", Kind::Barrier},
      {"template", Kind::Removed},  {"html", Kind::Root},
      {"body", Kind::Root},         {"head", Kind::Root},
      {"frameset", Kind::Frame},    {"frame", Kind::Frame}};
  return *table;
}

// A tag as it stands in the input.
struct Tag {
  std::size_t begin = 0;
  // Behind the ">"; npos when the input ends inside the tag.
  std::size_t end = 0;
  // Behind the last attribute that is allowed.
  std::size_t lastAttribute = 0;
  std::size_t attributes = 0;
  bool isEnd = false;
  std::string_view name;
};

std::uint32_t hashOf(std::string_view text) {
  std::uint32_t hash = 2166136261U;
  for (const char c : text) {
    hash = (hash ^ static_cast<std::uint8_t>(toLower(c))) * 16777619U;
  }
  return hash;
}

class Reducer {
 public:
  Reducer(std::string_view html, StandIns* standIns) : html_(html), standIns_(standIns) {}

  // True when everything may stay.
  bool run(std::string& out) {
    std::size_t at = 0;
    while (at < html_.size()) {
      const std::size_t open = html_.find('<', at);
      if (open == std::string_view::npos || html_.size() - open < 2) {
        text(at, html_.size());
        break;
      }
      text(at, open);
      at = token(open);
    }
    if (edits_.empty()) {
      return true;
    }
    out.reserve(html_.size());
    std::size_t from = 0;
    for (const Edit& edit : edits_) {
      out.append(html_.substr(from, edit.begin - from));
      from = edit.end;
      const std::string_view text = html_.substr(edit.begin, edit.end - edit.begin);
      if (edit.kind == EditKind::Text) {
        standIns_->appendText(text, out);
      } else if (edit.kind == EditKind::RawText) {
        standIns_->appendRawText(text, out);
      } else if (edit.kind == EditKind::Value) {
        standIns_->appendValue(text, out);
      }
    }
    out.append(html_.substr(from));
    return false;
  }

 private:
  enum class EditKind : std::uint8_t { Removal, Text, RawText, Value };
  struct Edit {
    std::size_t begin;
    std::size_t end;
    EditKind kind;
  };
  struct Open {
    std::uint32_t name;
    Kind kind;
    // For cells and barriers: where the formatting elements around them end, and end around those.
    std::uint32_t formatting;
    std::uint32_t marker;
  };
  struct Formatting {
    std::uint32_t name;
    std::uint32_t hash;
  };

  void remove(std::size_t begin, std::size_t end) {
    edits_.push_back({begin, end, EditKind::Removal});
  }

  void text(std::size_t begin, std::size_t end, EditKind kind = EditKind::Text) {
    if (standIns_ != nullptr && begin < end) {
      edits_.push_back({begin, end, kind});
    }
  }

  // Handles what starts with the "<" at `open`; gives the place behind it.
  std::size_t token(std::size_t open) {
    const char next = html_[open + 1];
    if (text::isAlpha(next)) {
      return tag(open, false);
    }
    if (next == '/') {
      if (html_.size() - open > 2 && text::isAlpha(html_[open + 2])) {
        return tag(open, true);
      }
      return behind(">", open + 2);
    }
    if (next == '!') {
      if (html_.substr(open, 4) != "<!--") {
        return behind(">", open + 2);
      }
      const std::string_view rest = html_.substr(open + 4);
      if (rest.substr(0, 1) == ">" || rest.substr(0, 2) == "->") {
        return behind(">", open + 4);
      }
      return comment(open + 4);
    }
    return next == '?' ? behind(">", open + 2) : open + 1;
  }

  std::size_t behind(std::string_view what, std::size_t from) const {
    const std::size_t found = html_.find(what, from);
    return found == std::string_view::npos ? html_.size() : found + what.size();
  }

  // Nobody reads it, and the tree builder would read each character.
  std::size_t comment(std::size_t begin) {
    const std::size_t end = commentEnd(begin);
    constexpr std::string_view kClosing = "-->";
    if (standIns_ != nullptr && end - begin > kClosing.size() &&
        html_.substr(end - kClosing.size(), kClosing.size()) == kClosing) {
      remove(begin, end - kClosing.size());
    }
    return end;
  }

  std::size_t commentEnd(std::size_t from) const {
    for (std::size_t at = html_.find("--", from); at != std::string_view::npos;
         at = html_.find("--", at + 1)) {
      const std::string_view rest = html_.substr(at + 2);
      if (rest.substr(0, 1) == ">") {
        return at + 3;
      }
      if (rest.substr(0, 2) == "!>") {
        return at + 4;
      }
    }
    return html_.size();
  }

  std::size_t tag(std::size_t open, bool isEnd) {
    Tag tag;
    tag.begin = open;
    tag.isEnd = isEnd;
    scan(tag);
    if (tag.end == std::string_view::npos) {
      // Never becomes a tag.
      return html_.size();
    }
    std::string name(tag.name.substr(0, kMaxNameLength));
    for (char& c : name) {
      c = toLower(c);
    }
    const auto known = kinds().find(name);
    const Kind kind = known == kinds().end() ? Kind::Other : known->second;
    const std::uint32_t id = hashOf(name);
    if (isEnd) {
      endTag(tag, kind, id);
      return tag.end;
    }
    if (kind == Kind::Removed) {
      return removedElement(tag, name);
    }
    const bool kept = startTag(tag, kind, id);
    if (kind == Kind::PlainText && kept) {
      return html_.size();
    }
    if (kind != Kind::RawText) {
      return tag.end;
    }
    const std::size_t end = rawTextEnd(name, tag.end);
    if (!kept) {
      // The text of a style sheet must not turn into text for readers.
      remove(tag.end, end);
    } else if (name == "style") {
      text(tag.end, end, EditKind::RawText);
    }
    return end;
  }

  std::size_t removedElement(const Tag& tag, const std::string& name) {
    std::size_t end = tag.end;
    const bool isScript = name == "script";
    const bool isClosed = !isScript && html_[tag.end - 2] == '/';
    if (!isClosed && unclosed_.count(name) == 0) {
      end = rawTextEnd(name, tag.end);
      if (end != html_.size()) {
        end = behind(">", end);
      } else if (!isScript) {
        // Without an end the rest is text for readers.
        unclosed_.insert(name);
        end = tag.end;
      }
    }
    remove(tag.begin, end);
    return end;
  }

  void scan(Tag& tag) {
    std::size_t at = tag.begin + (tag.isEnd ? 2 : 1);
    const std::size_t nameBegin = at;
    while (at < html_.size() && !isHtmlSpace(html_[at]) && html_[at] != '/' && html_[at] != '>') {
      ++at;
    }
    tag.name = html_.substr(nameBegin, at - nameBegin);
    tag.lastAttribute = at;
    values_.clear();
    while (true) {
      while (at < html_.size() && (isHtmlSpace(html_[at]) || html_[at] == '/')) {
        ++at;
      }
      if (at >= html_.size()) {
        tag.end = std::string_view::npos;
        return;
      }
      if (html_[at] == '>') {
        tag.end = at + 1;
        return;
      }
      at = attribute(at);
      if (++tag.attributes <= kMaxAttributes) {
        tag.lastAttribute = std::min(at, html_.size());
      }
    }
  }

  std::size_t attribute(std::size_t at) {
    const std::size_t nameBegin = at;
    ++at;  // a name may start with "="
    while (at < html_.size() && !isHtmlSpace(html_[at]) && html_[at] != '/' && html_[at] != '>' &&
           html_[at] != '=') {
      ++at;
    }
    const std::size_t behindName = at;
    while (at < html_.size() && isHtmlSpace(html_[at])) {
      ++at;
    }
    if (at >= html_.size() || html_[at] != '=') {
      return behindName;
    }
    ++at;
    while (at < html_.size() && isHtmlSpace(html_[at])) {
      ++at;
    }
    if (at >= html_.size() || html_[at] == '>') {
      return at;
    }
    const std::string_view name = html_.substr(nameBegin, behindName - nameBegin);
    if (html_[at] == '"' || html_[at] == '\'') {
      const std::size_t end = behind(html_.substr(at, 1), at + 1);
      value(name, at + 1, end - 1);
      return end;
    }
    const std::size_t begin = at;
    while (at < html_.size() && !isHtmlSpace(html_[at]) && html_[at] != '>') {
      ++at;
    }
    value(name, begin, at);
    return at;
  }

  // The value of an attribute that is often long and tells the tree builder nothing.
  void value(std::string_view name, std::size_t begin, std::size_t end) {
    static constexpr std::string_view kNames[] = {"style", "href", "src", "class", "alt", "title"};
    const auto isName = [name](std::string_view known) {
      return text::equalsIgnoringCase(name, known);
    };
    if (standIns_ != nullptr && begin + kShortestValue <= end &&
        std::any_of(std::begin(kNames), std::end(kNames), isName)) {
      values_.push_back({begin, end, EditKind::Value});
    }
  }

  std::size_t rawTextEnd(std::string_view name, std::size_t from) const {
    for (std::size_t at = html_.find("</", from); at != std::string_view::npos;
         at = html_.find("</", at + 2)) {
      const std::string_view rest = html_.substr(at + 2);
      if (rest.size() > name.size() && text::startsWithIgnoringCase(rest, name)) {
        const char next = rest[name.size()];
        if (isHtmlSpace(next) || next == '/' || next == '>') {
          return at;
        }
      }
    }
    return html_.size();
  }

  // False when the tag is taken out.
  bool startTag(const Tag& tag, Kind kind, std::uint32_t id) {
    const std::size_t waiting = formatting_.size() - std::min(openFormatting_, formatting_.size());
    elements_ += 1 + waiting;
    const bool isRoot = kind == Kind::Root;
    if (kind == Kind::Frame || elements_ > kMaxElements || (isRoot && ++roots_ > kMaxBodyTags)) {
      remove(tag.begin, tag.end);
      return false;
    }
    if (isRoot || kind == Kind::Void || kind == Kind::RawText || kind == Kind::PlainText) {
      trimAttributes(tag);
      return true;
    }
    const bool isTablePart = kind == Kind::Cell || kind == Kind::Row || kind == Kind::RowGroup;
    if (isTablePart && !isInTable()) {
      // Ignored by the tree builder.
      trimAttributes(tag);
      return true;
    }
    closeImplied(kind, id);
    const bool tooMany = kind == Kind::Formatting && formatting_.size() >= kMaxOpenFormatting;
    if (open_.size() >= kMaxOpenElements || tooMany) {
      ++removedOpen_[id];
      remove(tag.begin, tag.end);
      return false;
    }
    trimAttributes(tag);
    Open entry{id, kind, 0, 0};
    if (kind == Kind::Formatting) {
      addFormatting(id, hashOf(html_.substr(tag.begin, tag.end - tag.begin)));
      ++openFormatting_;
    } else if (hasMarker(kind)) {
      entry.formatting = static_cast<std::uint32_t>(formatting_.size());
      entry.marker = marker_;
      marker_ = entry.formatting;
    }
    open_.push_back(entry);
    return true;
  }

  static bool hasMarker(Kind kind) { return kind == Kind::Cell || kind == Kind::Barrier; }

  bool isInTable() const {
    return std::any_of(open_.begin(), open_.end(),
                       [](const Open& open) { return open.kind == Kind::Table; });
  }

  // Of a tag that stays.
  void trimAttributes(const Tag& tag) {
    for (const Edit& value : values_) {
      if (value.end <= tag.lastAttribute) {
        edits_.push_back(value);
      }
    }
    if (tag.attributes > kMaxAttributes) {
      remove(tag.lastAttribute, tag.end - 1);
    }
  }

  // Of formatting elements that are alike only the last three are opened again.
  void addFormatting(std::uint32_t name, std::uint32_t hash) {
    std::size_t alike = 0;
    std::size_t first = 0;
    for (std::size_t i = formatting_.size(); i-- > marker_;) {
      if (formatting_[i].hash == hash) {
        ++alike;
        first = i;
      }
    }
    if (alike >= 3) {
      formatting_.erase(formatting_.begin() + static_cast<std::ptrdiff_t>(first));
    }
    formatting_.push_back({name, hash});
  }

  void closeImplied(Kind kind, std::uint32_t id) {
    switch (kind) {
      case Kind::ListItem:
      case Kind::Term:
        closeNearest(kind, true);
        closeNearest(Kind::Paragraph, false);
        break;
      case Kind::Block:
      case Kind::List:
      case Kind::Form:
      case Kind::Paragraph:
      case Kind::Table:
        closeNearest(Kind::Paragraph, false);
        break;
      case Kind::Cell:
      case Kind::Row:
      case Kind::RowGroup:
        closeTableParts(kind);
        break;
      case Kind::Formatting:
        // A link ends the link before it.
        if (id == kLink) {
          closeFormatting(id);
        }
        break;
      default:
        break;
    }
  }

  // Closes an element that only inline ones are open inside of.
  void closeNearest(Kind kind, bool throughParagraphs) {
    for (std::size_t i = open_.size(); i-- > 0;) {
      const Kind at = open_[i].kind;
      if (at == kind) {
        popTo(i);
        return;
      }
      const bool isInline = at == Kind::Formatting || at == Kind::Other ||
                            (throughParagraphs && at == Kind::Paragraph);
      if (!isInline) {
        return;
      }
    }
  }

  // What stands in the same table and is not a parent of the new part ends.
  void closeTableParts(Kind kind) {
    for (std::size_t i = open_.size(); i-- > 0;) {
      const Kind at = open_[i].kind;
      if (at == Kind::Table) {
        return;
      }
      const bool ends = at == Kind::Cell || (at == Kind::Row && kind != Kind::Cell) ||
                        (at == Kind::RowGroup && kind == Kind::RowGroup);
      if (ends) {
        popTo(i);
      }
    }
  }

  void endTag(const Tag& tag, Kind kind, std::uint32_t id) {
    const auto removed = removedOpen_.find(id);
    if (removed != removedOpen_.end() && removed->second > 0) {
      --removed->second;
      remove(tag.begin, tag.end);
      return;
    }
    if (elements_ > kMaxElements || kind == Kind::Frame) {
      remove(tag.begin, tag.end);
      return;
    }
    trimAttributes(tag);
    if (kind == Kind::Formatting) {
      closeFormatting(id);
      return;
    }
    if (kind == Kind::Paragraph) {
      // Makes one when there is none.
      ++elements_;
    }
    for (std::size_t i = open_.size(); i-- > 0;) {
      if (open_[i].name == id) {
        if (kind == Kind::Form) {
          open_.erase(open_.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
          popTo(i);
        }
        return;
      }
      if (isWall(open_[i].kind, kind)) {
        return;
      }
    }
  }

  // Whether the end of an element of kind `ending` does not reach beyond one of kind `at`.
  static bool isWall(Kind at, Kind ending) {
    switch (ending) {
      case Kind::Table:
      case Kind::Cell:
      case Kind::Row:
      case Kind::RowGroup:
        return at == Kind::Table;
      case Kind::Other:
      case Kind::Special:
        return at != Kind::Other && at != Kind::Formatting;
      default:
        return at == Kind::Table || at == Kind::Cell || at == Kind::Barrier ||
               at == Kind::Special || at == Kind::List;
    }
  }

  void closeFormatting(std::uint32_t id) {
    const auto isWanted = [&](const Formatting& entry) { return entry.name == id; };
    const auto found = std::find_if(
        formatting_.rbegin(), formatting_.rend() - static_cast<std::ptrdiff_t>(marker_), isWanted);
    const bool isListed = found != formatting_.rend() - static_cast<std::ptrdiff_t>(marker_);
    for (std::size_t i = open_.size(); i-- > 0;) {
      const Kind at = open_[i].kind;
      if (open_[i].name == id) {
        open_.erase(open_.begin() + static_cast<std::ptrdiff_t>(i));
        --openFormatting_;
        break;
      }
      // One that is no longer listed ends as any other element would.
      const bool isInline = at == Kind::Formatting || at == Kind::Other;
      if (at == Kind::Table || hasMarker(at) || (!isListed && !isInline)) {
        return;
      }
    }
    if (isListed) {
      formatting_.erase(std::next(found).base());
    }
  }

  // Takes the element at `index` and all above it from the stack.
  void popTo(std::size_t index) {
    while (open_.size() > index) {
      const Open& top = open_.back();
      if (top.kind == Kind::Formatting) {
        --openFormatting_;
      } else if (hasMarker(top.kind)) {
        formatting_.resize(std::min<std::size_t>(formatting_.size(), top.formatting));
        marker_ = top.marker;
      }
      open_.pop_back();
    }
  }

  static constexpr std::size_t kMaxNameLength = 32;
  // Shorter ones may as well stay.
  static constexpr std::size_t kShortestValue = 8;
  const std::uint32_t kLink = hashOf("a");

  std::string_view html_;
  // Null where text stays as it is.
  StandIns* standIns_;
  std::vector<Open> open_;
  std::vector<Formatting> formatting_;
  // Where those of the innermost cell or barrier begin.
  std::uint32_t marker_ = 0;
  // How many of open_ are formatting elements.
  std::size_t openFormatting_ = 0;
  std::size_t elements_ = 0;
  std::size_t roots_ = 0;
  // Start tags that were taken out, so that their end tags go too.
  std::unordered_map<std::uint32_t, std::size_t> removedOpen_;
  // Names that have no further end tag.
  std::unordered_set<std::string> unclosed_;
  // Of the last tag that was scanned.
  std::vector<Edit> values_;
  // In order; where the reduced text differs.
  std::vector<Edit> edits_;
};

}  // namespace

std::string_view boundedHtml(std::string_view html, std::string& storage, StandIns* standIns) {
  html = html.substr(0, kMaxHtmlLength);
  return Reducer(html, standIns).run(storage) ? html : std::string_view(storage);
}

}  // namespace brennox::html
