#include "html/elements.h"

#include <algorithm>
#include <unordered_map>

#include "text/ascii.h"

namespace brennox::html {
namespace {

Element kept(std::string_view name, Shape shape) {
  return {Treatment::Keep, shape, name};
}

const std::unordered_map<int, Element>& elements() {
  static const auto* const table = [] {
    auto* const map = new std::unordered_map<int, Element>;
    const auto keep = [&](GumboTag tag, std::string_view name, Shape shape) {
      map->emplace(tag, kept(name, shape));
    };
    const auto drop = [&](GumboTag tag) { map->emplace(tag, Element{Treatment::Drop, {}, {}}); };

    keep(GUMBO_TAG_A, "a", Shape::Link);
    keep(GUMBO_TAG_ABBR, "abbr", Shape::Inline);
    keep(GUMBO_TAG_ACRONYM, "abbr", Shape::Inline);
    keep(GUMBO_TAG_B, "b", Shape::Inline);
    keep(GUMBO_TAG_BDI, "bdi", Shape::Inline);
    keep(GUMBO_TAG_BDO, "bdo", Shape::Inline);
    keep(GUMBO_TAG_BIG, "big", Shape::Inline);
    keep(GUMBO_TAG_CITE, "cite", Shape::Inline);
    keep(GUMBO_TAG_CODE, "code", Shape::Inline);
    keep(GUMBO_TAG_DEL, "del", Shape::Inline);
    keep(GUMBO_TAG_DFN, "dfn", Shape::Inline);
    keep(GUMBO_TAG_EM, "em", Shape::Inline);
    keep(GUMBO_TAG_FONT, "font", Shape::Inline);
    keep(GUMBO_TAG_I, "i", Shape::Inline);
    keep(GUMBO_TAG_INS, "ins", Shape::Inline);
    keep(GUMBO_TAG_KBD, "kbd", Shape::Inline);
    keep(GUMBO_TAG_MARK, "mark", Shape::Inline);
    keep(GUMBO_TAG_Q, "q", Shape::Inline);
    keep(GUMBO_TAG_RUBY, "ruby", Shape::Inline);
    keep(GUMBO_TAG_RT, "rt", Shape::RubyText);
    keep(GUMBO_TAG_RP, "rp", Shape::RubyText);
    keep(GUMBO_TAG_S, "s", Shape::Inline);
    keep(GUMBO_TAG_SAMP, "samp", Shape::Inline);
    keep(GUMBO_TAG_SMALL, "small", Shape::Inline);
    keep(GUMBO_TAG_SPAN, "span", Shape::Inline);
    keep(GUMBO_TAG_STRIKE, "strike", Shape::Inline);
    keep(GUMBO_TAG_STRONG, "strong", Shape::Inline);
    keep(GUMBO_TAG_SUB, "sub", Shape::Inline);
    keep(GUMBO_TAG_SUP, "sup", Shape::Inline);
    keep(GUMBO_TAG_TIME, "time", Shape::Inline);
    keep(GUMBO_TAG_TT, "tt", Shape::Inline);
    keep(GUMBO_TAG_U, "u", Shape::Inline);
    keep(GUMBO_TAG_VAR, "var", Shape::Inline);

    keep(GUMBO_TAG_BR, "br", Shape::Void);
    keep(GUMBO_TAG_IMG, "img", Shape::Void);
    keep(GUMBO_TAG_WBR, "wbr", Shape::Void);

    keep(GUMBO_TAG_ADDRESS, "address", Shape::Block);
    keep(GUMBO_TAG_ARTICLE, "article", Shape::Block);
    keep(GUMBO_TAG_ASIDE, "aside", Shape::Block);
    keep(GUMBO_TAG_BLOCKQUOTE, "blockquote", Shape::Block);
    keep(GUMBO_TAG_CENTER, "center", Shape::Block);
    keep(GUMBO_TAG_DIV, "div", Shape::Block);
    keep(GUMBO_TAG_DL, "dl", Shape::Block);
    keep(GUMBO_TAG_FIGCAPTION, "figcaption", Shape::Block);
    keep(GUMBO_TAG_FIGURE, "figure", Shape::Block);
    keep(GUMBO_TAG_FOOTER, "footer", Shape::Block);
    keep(GUMBO_TAG_HEADER, "header", Shape::Block);
    keep(GUMBO_TAG_HR, "hr", Shape::Block);
    keep(GUMBO_TAG_MAIN, "main", Shape::Block);
    keep(GUMBO_TAG_NAV, "nav", Shape::Block);
    keep(GUMBO_TAG_OL, "ol", Shape::Block);
    keep(GUMBO_TAG_P, "p", Shape::Block);
    keep(GUMBO_TAG_PRE, "pre", Shape::Block);
    keep(GUMBO_TAG_SECTION, "section", Shape::Block);
    keep(GUMBO_TAG_UL, "ul", Shape::Block);
    for (const GumboTag tag : {GUMBO_TAG_DETAILS, GUMBO_TAG_SUMMARY, GUMBO_TAG_FIELDSET,
                               GUMBO_TAG_LEGEND, GUMBO_TAG_FORM, GUMBO_TAG_HGROUP}) {
      keep(tag, "div", Shape::Block);
    }
    for (const GumboTag tag : {GUMBO_TAG_LISTING, GUMBO_TAG_XMP, GUMBO_TAG_PLAINTEXT}) {
      keep(tag, "pre", Shape::Block);
    }
    keep(GUMBO_TAG_DIR, "ul", Shape::Block);
    keep(GUMBO_TAG_MENU, "ul", Shape::Block);
    keep(GUMBO_TAG_H1, "h1", Shape::Heading);
    keep(GUMBO_TAG_H2, "h2", Shape::Heading);
    keep(GUMBO_TAG_H3, "h3", Shape::Heading);
    keep(GUMBO_TAG_H4, "h4", Shape::Heading);
    keep(GUMBO_TAG_H5, "h5", Shape::Heading);
    keep(GUMBO_TAG_H6, "h6", Shape::Heading);
    keep(GUMBO_TAG_LI, "li", Shape::ListItem);
    keep(GUMBO_TAG_DT, "dt", Shape::Term);
    keep(GUMBO_TAG_DD, "dd", Shape::Term);

    keep(GUMBO_TAG_TABLE, "table", Shape::Table);
    keep(GUMBO_TAG_CAPTION, "caption", Shape::Caption);
    keep(GUMBO_TAG_COLGROUP, "colgroup", Shape::ColumnGroup);
    keep(GUMBO_TAG_COL, "col", Shape::Column);
    keep(GUMBO_TAG_TBODY, "tbody", Shape::RowGroup);
    keep(GUMBO_TAG_THEAD, "thead", Shape::RowGroup);
    keep(GUMBO_TAG_TFOOT, "tfoot", Shape::RowGroup);
    keep(GUMBO_TAG_TR, "tr", Shape::Row);
    keep(GUMBO_TAG_TD, "td", Shape::Cell);
    keep(GUMBO_TAG_TH, "th", Shape::Cell);

    for (const GumboTag tag :
         {GUMBO_TAG_SCRIPT,   GUMBO_TAG_STYLE,    GUMBO_TAG_TITLE,    GUMBO_TAG_TEMPLATE,
          GUMBO_TAG_NOSCRIPT, GUMBO_TAG_IFRAME,   GUMBO_TAG_NOEMBED,  GUMBO_TAG_NOFRAMES,
          GUMBO_TAG_FRAMESET, GUMBO_TAG_FRAME,    GUMBO_TAG_SVG,      GUMBO_TAG_MATH,
          GUMBO_TAG_EMBED,    GUMBO_TAG_INPUT,    GUMBO_TAG_SELECT,   GUMBO_TAG_OPTION,
          GUMBO_TAG_OPTGROUP, GUMBO_TAG_DATALIST, GUMBO_TAG_TEXTAREA, GUMBO_TAG_LINK,
          GUMBO_TAG_META,     GUMBO_TAG_BASE,     GUMBO_TAG_BASEFONT, GUMBO_TAG_BGSOUND,
          GUMBO_TAG_PARAM,    GUMBO_TAG_SOURCE,   GUMBO_TAG_TRACK,    GUMBO_TAG_AREA,
          GUMBO_TAG_KEYGEN,   GUMBO_TAG_ISINDEX}) {
      drop(tag);
    }
    return map;
  }();
  return *table;
}

enum class Kind : std::uint8_t { Text, Language, Keyword, Length, Integer, Color, Presence, Role };

struct Attribute {
  std::string_view element;  // empty: any
  std::string_view name;
  Kind kind;
};

constexpr Attribute kAttributes[] = {
    {"", "title", Kind::Text},
    {"", "lang", Kind::Language},
    {"", "dir", Kind::Keyword},
    {"", "align", Kind::Keyword},
    {"", "valign", Kind::Keyword},
    {"", "bgcolor", Kind::Color},
    {"", "width", Kind::Length},
    {"", "height", Kind::Length},
    {"", "hidden", Kind::Presence},
    {"", "aria-label", Kind::Text},
    {"", "aria-hidden", Kind::Keyword},
    {"", "role", Kind::Role},
    {"img", "alt", Kind::Text},
    {"img", "border", Kind::Length},
    {"img", "hspace", Kind::Length},
    {"img", "vspace", Kind::Length},
    {"font", "color", Kind::Color},
    {"font", "face", Kind::Text},
    {"font", "size", Kind::Length},
    {"hr", "color", Kind::Color},
    {"hr", "size", Kind::Length},
    {"hr", "noshade", Kind::Presence},
    {"br", "clear", Kind::Keyword},
    {"ol", "start", Kind::Integer},
    {"ol", "type", Kind::Keyword},
    {"ol", "reversed", Kind::Presence},
    {"ul", "type", Kind::Keyword},
    {"li", "type", Kind::Keyword},
    {"li", "value", Kind::Integer},
    {"blockquote", "type", Kind::Keyword},
    {"time", "datetime", Kind::Text},
    {"ins", "datetime", Kind::Text},
    {"del", "datetime", Kind::Text},
    {"table", "border", Kind::Length},
    {"table", "bordercolor", Kind::Color},
    {"table", "cellpadding", Kind::Length},
    {"table", "cellspacing", Kind::Length},
    {"table", "frame", Kind::Keyword},
    {"table", "rules", Kind::Keyword},
    {"table", "summary", Kind::Text},
    {"td", "colspan", Kind::Integer},
    {"td", "rowspan", Kind::Integer},
    {"td", "nowrap", Kind::Presence},
    {"td", "abbr", Kind::Text},
    {"th", "colspan", Kind::Integer},
    {"th", "rowspan", Kind::Integer},
    {"th", "nowrap", Kind::Presence},
    {"th", "abbr", Kind::Text},
    {"th", "scope", Kind::Keyword},
    {"col", "span", Kind::Integer},
    {"colgroup", "span", Kind::Integer},
};

constexpr std::size_t kMaxWordLength = 40;
// Beyond it numbers only make browsers slow (column spans).
constexpr std::size_t kMaxDigits = 4;

bool isWord(std::string_view value) {
  return !value.empty() && value.size() <= kMaxWordLength &&
         std::all_of(value.begin(), value.end(),
                     [](char c) { return text::isAlpha(c) || text::isDigit(c) || c == '-'; });
}

// "12", "-1", "50%", "12px", "+2".
bool isLength(std::string_view value) {
  if (!value.empty() && (value.front() == '+' || value.front() == '-')) {
    value.remove_prefix(1);
  }
  const std::size_t digits = static_cast<std::size_t>(
      std::find_if_not(value.begin(), value.end(),
                       [](char c) { return text::isDigit(c) || c == '.'; }) -
      value.begin());
  const std::string_view unit = value.substr(digits);
  return digits > 0 && digits <= 2 * kMaxDigits &&
         (unit.empty() || unit == "%" || text::equalsIgnoringCase(unit, "px"));
}

bool isInteger(std::string_view value) {
  if (!value.empty() && value.front() == '-') {
    value.remove_prefix(1);
  }
  return !value.empty() && value.size() <= kMaxDigits &&
         std::all_of(value.begin(), value.end(), text::isDigit);
}

constexpr std::size_t kMaxSpan = 1000;

}  // namespace

Element elementOf(GumboTag tag) {
  const auto found = elements().find(tag);
  return found == elements().end() ? Element{} : found->second;
}

std::string colorOf(std::string_view value) {
  value = text::trimmed(value);
  if (value.empty() || value.size() > kMaxWordLength) {
    return {};
  }
  const std::string_view digits = value.front() == '#' ? value.substr(1) : value;
  const bool isHex = !digits.empty() && std::all_of(digits.begin(), digits.end(),
                                                    [](char c) { return text::hexValue(c) >= 0; });
  if (isHex && (digits.size() == 3 || digits.size() == 6)) {
    return '#' + std::string(digits);
  }
  const bool isName = std::all_of(value.begin(), value.end(), text::isAlpha);
  return isName ? std::string(value) : std::string();
}

bool keepsAttribute(std::string_view element, std::string_view name, std::string_view value,
                    std::string& kept) {
  const auto* const found =
      std::find_if(std::begin(kAttributes), std::end(kAttributes), [&](const Attribute& attribute) {
        return attribute.name == name &&
               (attribute.element.empty() || attribute.element == element);
      });
  if (found == std::end(kAttributes)) {
    return false;
  }
  const std::string_view word = text::trimmed(value);
  switch (found->kind) {
    case Kind::Text:
      kept = value;
      return true;
    case Kind::Language:
    case Kind::Keyword:
      kept = word;
      return isWord(word);
    case Kind::Length:
      kept = word;
      return isLength(word);
    case Kind::Integer:
      kept = word;
      if (name == "colspan" || name == "rowspan" || name == "span") {
        return isInteger(word) && word.front() != '-' && std::stoul(kept) <= kMaxSpan;
      }
      return isInteger(word);
    case Kind::Color:
      kept = colorOf(word);
      return !kept.empty();
    case Kind::Presence:
      kept.clear();
      return true;
    case Kind::Role:
      kept = text::lowered(word);
      return kept == "presentation" || kept == "none" || kept == "article" || kept == "img";
  }
  return false;
}

}  // namespace brennox::html
