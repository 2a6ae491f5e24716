#include "html/css.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "html/css_tokens.h"
#include "text/ascii.h"

namespace brennox::html {
namespace {

using Tokens = std::span<const CssToken>;
using Type = CssTokenType;

// Blocks inside blocks (@media) that are looked into; functions inside functions (calc).
constexpr std::size_t kMaxBlocks = 4;
constexpr std::size_t kMaxFunctions = 8;
// A cleaned style sheet may grow to this many times its length (the scope stands before each
// selector).
constexpr std::size_t kMaxGrowth = 8;
constexpr std::size_t kGrowthFloor = 4096;

enum class Rule : std::uint8_t {
  Plain,
  NoNegative,  // lengths below zero would move content out of its element
  Background,  // only its colour is kept
  Family,      // strings are allowed
};

struct Property {
  std::string_view name;
  Rule rule = Rule::Plain;
};

// Sorted by name.
constexpr Property kProperties[] = {
    {"align-content"},
    {"align-items"},
    {"align-self"},
    {"background", Rule::Background},
    {"background-color"},
    {"border"},
    {"border-bottom"},
    {"border-bottom-color"},
    {"border-bottom-left-radius"},
    {"border-bottom-right-radius"},
    {"border-bottom-style"},
    {"border-bottom-width"},
    {"border-collapse"},
    {"border-color"},
    {"border-left"},
    {"border-left-color"},
    {"border-left-style"},
    {"border-left-width"},
    {"border-radius"},
    {"border-right"},
    {"border-right-color"},
    {"border-right-style"},
    {"border-right-width"},
    {"border-spacing"},
    {"border-style"},
    {"border-top"},
    {"border-top-color"},
    {"border-top-left-radius"},
    {"border-top-right-radius"},
    {"border-top-style"},
    {"border-top-width"},
    {"border-width"},
    {"box-shadow"},
    {"box-sizing"},
    {"caption-side"},
    {"clear"},
    {"color"},
    {"column-gap"},
    {"direction"},
    {"display"},
    {"empty-cells"},
    {"flex"},
    {"flex-basis"},
    {"flex-direction"},
    {"flex-flow"},
    {"flex-grow"},
    {"flex-shrink"},
    {"flex-wrap"},
    {"float"},
    {"font", Rule::Family},
    {"font-family", Rule::Family},
    {"font-size"},
    {"font-stretch"},
    {"font-style"},
    {"font-variant"},
    {"font-weight"},
    {"gap"},
    {"height", Rule::NoNegative},
    {"hyphens"},
    {"justify-content"},
    {"letter-spacing"},
    {"line-height"},
    {"list-style"},
    {"list-style-position"},
    {"list-style-type"},
    {"margin", Rule::NoNegative},
    {"margin-bottom", Rule::NoNegative},
    {"margin-left", Rule::NoNegative},
    {"margin-right", Rule::NoNegative},
    {"margin-top", Rule::NoNegative},
    {"max-height", Rule::NoNegative},
    {"max-width", Rule::NoNegative},
    {"min-height", Rule::NoNegative},
    {"min-width", Rule::NoNegative},
    {"object-fit"},
    {"opacity"},
    {"order"},
    {"overflow"},
    {"overflow-wrap"},
    {"overflow-x"},
    {"overflow-y"},
    {"padding", Rule::NoNegative},
    {"padding-bottom", Rule::NoNegative},
    {"padding-left", Rule::NoNegative},
    {"padding-right", Rule::NoNegative},
    {"padding-top", Rule::NoNegative},
    {"page-break-after"},
    {"page-break-before"},
    {"page-break-inside"},
    {"row-gap"},
    {"tab-size"},
    {"table-layout"},
    {"text-align"},
    {"text-decoration"},
    {"text-decoration-color"},
    {"text-decoration-line"},
    {"text-decoration-style"},
    {"text-indent"},
    {"text-overflow"},
    {"text-shadow"},
    {"text-transform"},
    {"unicode-bidi"},
    {"vertical-align"},
    {"visibility"},
    {"white-space"},
    {"width", Rule::NoNegative},
    {"word-break"},
    {"word-spacing"},
    {"word-wrap"},
};
static_assert(std::is_sorted(std::begin(kProperties), std::end(kProperties),
                             [](const Property& a, const Property& b) { return a.name < b.name; }));

const Property* propertyNamed(std::string_view name) {
  const auto* const found = std::lower_bound(
      std::begin(kProperties), std::end(kProperties), name,
      [](const Property& property, std::string_view wanted) { return property.name < wanted; });
  return found != std::end(kProperties) && found->name == name ? found : nullptr;
}

constexpr std::string_view kColorFunctions[] = {"rgb", "rgba", "hsl", "hsla"};
constexpr std::string_view kMathFunctions[] = {"calc", "min", "max", "clamp"};

bool isOneOf(std::span<const std::string_view> list, std::string_view name) {
  return std::find(list.begin(), list.end(), name) != list.end();
}

bool isNonAscii(char c) {
  return static_cast<unsigned char>(c) >= 0x80;
}

// Identifiers of values are keywords and font names; anything else in them is an attack or a
// mistake.
bool isPlainIdent(std::string_view ident) {
  return std::all_of(ident.begin(), ident.end(), [](char c) {
    return text::isAlpha(c) || text::isDigit(c) || c == '-' || c == '_' || isNonAscii(c);
  });
}

bool isPlainString(std::string_view value) {
  return std::all_of(value.begin(), value.end(), [](char c) {
    return text::isAlpha(c) || text::isDigit(c) || isNonAscii(c) ||
           std::string_view(" -_.,+&()").find(c) != std::string_view::npos;
  });
}

bool isPlainUnit(std::string_view unit) {
  return unit.size() <= 8 && std::all_of(unit.begin(), unit.end(), text::isAlpha);
}

bool isColorHash(std::string_view hash) {
  return hash.size() >= 3 && hash.size() <= 8 &&
         std::all_of(hash.begin(), hash.end(), [](char c) { return text::hexValue(c) >= 0; });
}

constexpr std::size_t kMaxNumberLength = 24;

// Takes one value through the allow-list of tokens.
class ValueWriter {
 public:
  explicit ValueWriter(Rule rule) : rule_(rule) {}

  // Nothing when any token is not allowed.
  std::optional<std::string> write(Tokens tokens) {
    for (const CssToken& token : tokens) {
      if (!put(token)) {
        return std::nullopt;
      }
    }
    if (!functions_.empty() || out_.empty()) {
      return std::nullopt;
    }
    return std::move(out_);
  }

 private:
  enum class Function : std::uint8_t { Color, Math };

  bool put(const CssToken& token) {
    if (token.afterComment && !out_.empty() && out_.back() != ' ') {
      out_ += ' ';
    }
    switch (token.type) {
      case Type::Whitespace:
        if (!out_.empty() && out_.back() != ' ') {
          out_ += ' ';
        }
        return true;
      case Type::Ident:
        out_ += token.value;
        return isPlainIdent(token.value);
      case Type::Number:
        return number(token, "");
      case Type::Percentage:
        return number(token, "%");
      case Type::Dimension:
        return isPlainUnit(token.unit) && number(token, token.unit);
      case Type::Hash:
        out_ += '#' + token.value;
        return functions_.empty() && isColorHash(token.value);
      case Type::Comma:
        out_ += ',';
        return true;
      case Type::String:
        out_ += '\'' + token.value + '\'';
        return rule_ == Rule::Family && functions_.empty() && isPlainString(token.value);
      case Type::Delim:
        return delim(token.delim);
      case Type::Function:
        return function(text::lowered(token.value));
      case Type::OpenParen:
        if (functions_.empty() || functions_.back() != Function::Math ||
            functions_.size() >= kMaxFunctions) {
          return false;
        }
        functions_.push_back(Function::Math);
        out_ += '(';
        return true;
      case Type::CloseParen:
        if (functions_.empty()) {
          return false;
        }
        functions_.pop_back();
        out_ += ')';
        return true;
      default:
        return false;
    }
  }

  bool number(const CssToken& token, std::string_view unit) {
    if (token.value.size() > kMaxNumberLength ||
        (rule_ == Rule::NoNegative && token.value.front() == '-')) {
      return false;
    }
    out_ += token.value;
    out_ += unit;
    return true;
  }

  bool delim(char c) {
    if (c == '/') {
      out_ += c;
      return true;
    }
    const bool isMath = !functions_.empty() && functions_.back() == Function::Math;
    if (!isMath || (c != '+' && c != '-' && c != '*')) {
      return false;
    }
    out_ += c;
    return true;
  }

  bool function(const std::string& name) {
    if (functions_.size() >= kMaxFunctions) {
      return false;
    }
    if (isOneOf(kColorFunctions, name)) {
      functions_.push_back(Function::Color);
    } else if (isOneOf(kMathFunctions, name) && !isMargin_) {
      functions_.push_back(Function::Math);
    } else {
      return false;
    }
    out_ += name + '(';
    return true;
  }

 public:
  // What calc() comes to is not known here, so margins do without.
  void forbidMath() { isMargin_ = true; }

 private:
  Rule rule_;
  bool isMargin_ = false;
  std::string out_;
  std::vector<Function> functions_;
};

Tokens trimmed(Tokens tokens) {
  while (!tokens.empty() && tokens.front().type == Type::Whitespace) {
    tokens = tokens.subspan(1);
  }
  while (!tokens.empty() && tokens.back().type == Type::Whitespace) {
    tokens = tokens.first(tokens.size() - 1);
  }
  return tokens;
}

// The colour in a background shorthand.
std::optional<std::string> backgroundColor(Tokens value) {
  static constexpr std::string_view kKeywords[] = {
      "none",   "repeat",      "repeat-x",   "repeat-y",    "no-repeat", "scroll",  "fixed",
      "local",  "top",         "bottom",     "left",        "right",     "center",  "auto",
      "cover",  "contain",     "round",      "space",       "inherit",   "initial", "unset",
      "revert", "padding-box", "border-box", "content-box", "text"};
  for (std::size_t i = 0; i < value.size(); ++i) {
    const CssToken& token = value[i];
    if (token.type == Type::Hash && isColorHash(token.value)) {
      return '#' + token.value;
    }
    if (token.type == Type::Ident && isPlainIdent(token.value) &&
        !isOneOf(kKeywords, text::lowered(token.value))) {
      return token.value;
    }
    if (token.type != Type::Function) {
      continue;
    }
    std::size_t end = i + 1;
    for (std::size_t depth = 1; end < value.size() && depth > 0; ++end) {
      if (value[end].type == Type::Function || value[end].type == Type::OpenParen) {
        ++depth;
      } else if (value[end].type == Type::CloseParen) {
        --depth;
      }
    }
    if (isOneOf(kColorFunctions, text::lowered(token.value))) {
      return ValueWriter(Rule::Plain).write(value.subspan(i, end - i));
    }
    i = end - 1;
  }
  return std::nullopt;
}

// Takes "!important" off the end.
bool takeImportant(Tokens& value) {
  if (value.empty() || value.back().type != Type::Ident ||
      !text::equalsIgnoringCase(value.back().value, "important")) {
    return false;
  }
  const Tokens rest = trimmed(value.first(value.size() - 1));
  if (rest.empty() || rest.back().type != Type::Delim || rest.back().delim != '!') {
    return false;
  }
  value = trimmed(rest.first(rest.size() - 1));
  return true;
}

// Calls `use(name, value)` for each declaration, name in lower case, both trimmed.
template <class Use>
void forEachDeclaration(Tokens tokens, Use use) {
  std::size_t from = 0;
  std::size_t depth = 0;
  for (std::size_t i = 0; i <= tokens.size(); ++i) {
    if (i < tokens.size()) {
      switch (tokens[i].type) {
        case Type::Function:
        case Type::OpenParen:
        case Type::OpenSquare:
        case Type::OpenCurly:
          ++depth;
          continue;
        case Type::CloseParen:
        case Type::CloseSquare:
        case Type::CloseCurly:
          depth -= depth > 0 ? 1 : 0;
          continue;
        case Type::Semicolon:
          if (depth == 0) {
            break;
          }
          continue;
        default:
          continue;
      }
    }
    const Tokens declaration = trimmed(tokens.subspan(from, i - from));
    from = i + 1;
    if (declaration.size() < 2 || declaration[0].type != Type::Ident) {
      continue;
    }
    const Tokens afterName = trimmed(declaration.subspan(1));
    if (afterName.empty() || afterName[0].type != Type::Colon) {
      continue;
    }
    use(text::lowered(declaration[0].value), trimmed(afterName.subspan(1)));
  }
}

std::string cleaned(Tokens tokens) {
  std::string out;
  forEachDeclaration(tokens, [&](const std::string& name, Tokens value) {
    const Property* const property = propertyNamed(name);
    if (property == nullptr) {
      return;
    }
    const bool important = takeImportant(value);
    std::optional<std::string> text;
    std::string_view written = property->name;
    if (property->rule == Rule::Background) {
      text = backgroundColor(value);
      written = "background-color";
    } else {
      ValueWriter writer(property->rule);
      if (text::startsWithIgnoringCase(name, "margin")) {
        writer.forbidMath();
      }
      text = writer.write(value);
    }
    if (!text) {
      return;
    }
    if (!out.empty()) {
      out += ';';
    }
    out += written;
    out += ':';
    out += *text;
    if (important) {
      out += "!important";
    }
  });
  return out;
}

// An identifier as it can stand in a style sheet inside of HTML.
void appendIdent(std::string_view name, std::string& out) {
  for (const char c : name) {
    if (text::isAlpha(c) || text::isDigit(c) || c == '-' || c == '_' || isNonAscii(c)) {
      out += c;
      continue;
    }
    constexpr char kHex[] = "0123456789abcdef";
    out += '\\';
    out += kHex[static_cast<unsigned char>(c) >> 4];
    out += kHex[static_cast<unsigned char>(c) & 15];
    out += ' ';
  }
}

constexpr std::string_view kPseudoClasses[] = {
    "link",       "visited",    "hover",         "active",       "focus",        "first-child",
    "last-child", "only-child", "first-of-type", "last-of-type", "only-of-type", "empty"};
constexpr std::string_view kPseudoFunctions[] = {"nth-child", "nth-last-child", "nth-of-type",
                                                 "nth-last-of-type"};

// Writes one selector inside a scope.
class SelectorWriter {
 public:
  SelectorWriter(Tokens tokens, std::string_view scope) : tokens_(trimmed(tokens)), scope_(scope) {}

  std::optional<std::string> write() {
    out_ = '.';
    out_ += scope_;
    char combinator = ' ';
    while (at_ < tokens_.size()) {
      if (!compound(combinator)) {
        return std::nullopt;
      }
      combinator = nextCombinator();
      if (combinator == 0) {
        return std::nullopt;
      }
    }
    // Ends with a combinator, or holds nothing.
    return isEmpty_ || lastWasCombinator_ ? std::nullopt : std::optional(std::move(out_));
  }

 private:
  // Blank, ">", "+" or "~"; 0 for anything else.
  char nextCombinator() {
    char combinator = ' ';
    lastWasCombinator_ = false;
    while (at_ < tokens_.size()) {
      const CssToken& token = tokens_[at_];
      if (token.type == Type::Delim && combinator == ' ' &&
          (token.delim == '>' || token.delim == '+' || token.delim == '~')) {
        combinator = token.delim;
        lastWasCombinator_ = true;
      } else if (token.type != Type::Whitespace) {
        break;
      }
      ++at_;
    }
    return combinator;
  }

  bool compound(char combinator) {
    std::string text;
    bool isScope = false;
    const std::size_t begin = at_;
    const CssToken& first = tokens_[at_];
    if (first.type == Type::Ident) {
      std::string name = text::lowered(first.value);
      ++at_;
      if (name == "html" || name == "body") {
        isScope = true;
      } else if (!isPlainIdent(name)) {
        return false;
      } else {
        text += name;
      }
    } else if (first.type == Type::Delim && first.delim == '*') {
      text += '*';
      ++at_;
    }
    while (at_ < tokens_.size() && tokens_[at_].type != Type::Whitespace) {
      if (tokens_[at_].type == Type::Delim) {
        if (tokens_[at_].delim != '.') {
          break;
        }
        if (!className(text)) {
          return false;
        }
      } else if (!simple(text, isScope)) {
        return false;
      }
    }
    return finish(text, isScope, combinator, at_ > begin);
  }

  // The "." of a class is a delimiter like the combinators.
  bool className(std::string& text) {
    if (tokens_.size() - at_ < 2 || tokens_[at_ + 1].type != Type::Ident) {
      return false;
    }
    text += '.';
    text += kNamePrefix;
    appendIdent(tokens_[at_ + 1].value, text);
    at_ += 2;
    return true;
  }

  bool finish(const std::string& text, bool isScope, char combinator, bool hasContent) {
    if (!hasContent) {
      return false;
    }
    isEmpty_ = false;
    if (isScope) {
      // The element of the scope stands for html and body, so both can only come first.
      if (!atScope_ || (combinator != ' ' && combinator != '>')) {
        return false;
      }
      out_ += text;
      return true;
    }
    if (atScope_ && combinator != ' ' && combinator != '>') {
      return false;
    }
    atScope_ = false;
    out_ += combinator;
    out_ += text;
    return true;
  }

  // An id, an attribute or a pseudo class.
  bool simple(std::string& text, bool& isScope) {
    const CssToken& token = tokens_[at_];
    switch (token.type) {
      case Type::Hash:
        text += '#';
        text += kNamePrefix;
        appendIdent(token.value, text);
        ++at_;
        return true;
      case Type::OpenSquare:
        return attribute(text);
      case Type::Colon:
        return pseudo(text, isScope);
      default:
        return false;
    }
  }

  // [class=x], [class~=x] and [id=x], whose values have their prefix in the rendering, and
  // attributes that stand there as they were.
  bool attribute(std::string& text) {
    static constexpr std::string_view kAsTheyWere[] = {
        "align", "bgcolor", "dir", "height", "href", "lang", "title", "type", "valign", "width"};
    std::size_t i = at_ + 1;
    const auto skip = [&] {
      while (i < tokens_.size() && tokens_[i].type == Type::Whitespace) {
        ++i;
      }
    };
    const auto isDelim = [&](char c) {
      return i < tokens_.size() && tokens_[i].type == Type::Delim && tokens_[i].delim == c;
    };
    const auto closes = [&] {
      skip();
      return i < tokens_.size() && tokens_[i].type == Type::CloseSquare;
    };
    skip();
    if (i >= tokens_.size() || tokens_[i].type != Type::Ident) {
      return false;
    }
    const std::string name = text::lowered(tokens_[i].value);
    const bool isPrefixed = name == "class" || name == "id";
    if (!isPrefixed && !isOneOf(kAsTheyWere, name)) {
      return false;
    }
    ++i;
    if (!isPrefixed && closes()) {
      text += '[' + name + ']';
      at_ = i + 1;
      return true;
    }
    skip();
    if (isPrefixed && isDelim('~')) {
      ++i;
    }
    if (!isDelim('=')) {
      return false;
    }
    ++i;
    skip();
    if (i >= tokens_.size() ||
        (tokens_[i].type != Type::Ident && tokens_[i].type != Type::String) ||
        tokens_[i].value.empty()) {
      return false;
    }
    const std::string& value = tokens_[i].value;
    ++i;
    if (!closes()) {
      return false;
    }
    if (isPrefixed) {
      text += name == "class" ? '.' : '#';
      text += kNamePrefix;
      appendIdent(value, text);
    } else if (isPlainString(value) && name != "href") {
      text += '[' + name + "='" + value + "']";
    } else {
      return false;
    }
    at_ = i + 1;
    return true;
  }

  bool pseudo(std::string& text, bool& isScope) {
    if (tokens_.size() - at_ < 2) {
      return false;
    }
    const CssToken& token = tokens_[at_ + 1];
    const std::string name = text::lowered(token.value);
    at_ += 2;
    if (token.type == Type::Ident) {
      if (name == "root" && text.empty() && atScope_) {
        isScope = true;
        return true;
      }
      text += ':' + name;
      return isOneOf(kPseudoClasses, name);
    }
    if (token.type != Type::Function || !isOneOf(kPseudoFunctions, name)) {
      return false;
    }
    text += ':' + name + '(';
    for (; at_ < tokens_.size(); ++at_) {
      const CssToken& argument = tokens_[at_];
      if (argument.afterComment) {
        text += ' ';
      }
      switch (argument.type) {
        case Type::CloseParen:
          text += ')';
          ++at_;
          return true;
        case Type::Whitespace:
          text += ' ';
          break;
        case Type::Ident:
        case Type::Number:
        case Type::Dimension:
          if (!isPlainIdent(argument.unit) ||
              (argument.type == Type::Ident && !isPlainIdent(argument.value)) ||
              argument.value.size() > kMaxNumberLength) {
            return false;
          }
          text += argument.value + argument.unit;
          break;
        case Type::Delim:
          if (argument.delim != '+' && argument.delim != '-') {
            return false;
          }
          text += argument.delim;
          break;
        default:
          return false;
      }
    }
    return false;
  }

  Tokens tokens_;
  std::string_view scope_;
  std::size_t at_ = 0;
  std::string out_;
  bool isEmpty_ = true;
  bool lastWasCombinator_ = false;
  // Only html, body and :root have been seen so far.
  bool atScope_ = true;
};

// Parts of `tokens` between commas that stand outside of brackets.
std::vector<Tokens> commaSeparated(Tokens tokens) {
  std::vector<Tokens> result;
  std::size_t from = 0;
  std::size_t depth = 0;
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    switch (tokens[i].type) {
      case Type::Function:
      case Type::OpenParen:
      case Type::OpenSquare:
        ++depth;
        break;
      case Type::CloseParen:
      case Type::CloseSquare:
        depth -= depth > 0 ? 1 : 0;
        break;
      case Type::Comma:
        if (depth == 0) {
          result.push_back(tokens.subspan(from, i - from));
          from = i + 1;
        }
        break;
      default:
        break;
    }
  }
  result.push_back(tokens.subspan(from));
  return result;
}

std::optional<std::string> mediaQuery(Tokens tokens) {
  std::string out;
  std::size_t open = 0;
  for (const CssToken& token : trimmed(tokens)) {
    if (token.afterComment && !out.empty()) {
      out += ' ';
    }
    switch (token.type) {
      case Type::Whitespace:
        out += ' ';
        break;
      case Type::Ident:
        if (!isPlainIdent(token.value)) {
          return std::nullopt;
        }
        out += token.value;
        break;
      case Type::OpenParen:
        out += '(';
        ++open;
        break;
      case Type::CloseParen:
        if (open == 0) {
          return std::nullopt;
        }
        out += ')';
        --open;
        break;
      case Type::Colon:
        out += ':';
        break;
      case Type::Comma:
        out += ',';
        break;
      case Type::Number:
      case Type::Dimension:
        if (!isPlainUnit(token.unit) || token.value.size() > kMaxNumberLength) {
          return std::nullopt;
        }
        out += token.value + token.unit;
        break;
      case Type::Delim:
        if (token.delim != '/') {
          return std::nullopt;
        }
        out += '/';
        break;
      // "and(" reads as a function.
      default:
        return std::nullopt;
    }
  }
  return open == 0 ? std::optional(std::move(out)) : std::nullopt;
}

// A style rule, or an at-rule with or without a block, as it stands between others.
struct RawRule {
  // The name of an at-rule in lower case; empty for a style rule.
  std::string atName;
  Tokens prelude;
  Tokens block;
  bool hasBlock = false;
};

// The rules of a list, one after the other.
class RuleReader {
 public:
  explicit RuleReader(Tokens tokens) : tokens_(tokens) {}

  bool next(RawRule& rule) {
    while (at_ < tokens_.size() &&
           (tokens_[at_].type == Type::Whitespace || tokens_[at_].type == Type::Cdo ||
            tokens_[at_].type == Type::Cdc)) {
      ++at_;
    }
    if (at_ >= tokens_.size()) {
      return false;
    }
    rule = {};
    if (tokens_[at_].type == Type::AtKeyword) {
      rule.atName = text::lowered(tokens_[at_].value);
      ++at_;
    }
    const std::size_t begin = at_;
    std::size_t depth = 0;
    for (; at_ < tokens_.size(); ++at_) {
      const Type type = tokens_[at_].type;
      if (type == Type::OpenCurly && depth == 0) {
        rule.prelude = tokens_.subspan(begin, at_ - begin);
        readBlock(rule);
        return true;
      }
      if (type == Type::Semicolon && depth == 0 && !rule.atName.empty()) {
        rule.prelude = tokens_.subspan(begin, at_ - begin);
        ++at_;
        return true;
      }
      if (type == Type::Function || type == Type::OpenParen || type == Type::OpenSquare) {
        ++depth;
      } else if ((type == Type::CloseParen || type == Type::CloseSquare) && depth > 0) {
        --depth;
      }
    }
    rule.prelude = tokens_.subspan(begin);
    return true;
  }

 private:
  void readBlock(RawRule& rule) {
    const std::size_t begin = ++at_;
    std::vector<Type> open;
    for (; at_ < tokens_.size(); ++at_) {
      switch (tokens_[at_].type) {
        case Type::OpenCurly:
          open.push_back(Type::CloseCurly);
          break;
        case Type::OpenSquare:
          open.push_back(Type::CloseSquare);
          break;
        case Type::OpenParen:
        case Type::Function:
          open.push_back(Type::CloseParen);
          break;
        case Type::CloseCurly:
          if (open.empty()) {
            rule.block = tokens_.subspan(begin, at_ - begin);
            rule.hasBlock = true;
            ++at_;
            return;
          }
          [[fallthrough]];
        case Type::CloseSquare:
        case Type::CloseParen:
          if (!open.empty() && open.back() == tokens_[at_].type) {
            open.pop_back();
          }
          break;
        default:
          break;
      }
    }
    rule.block = tokens_.subspan(begin);
    rule.hasBlock = true;
  }

  Tokens tokens_;
  std::size_t at_ = 0;
};

class SheetWriter {
 public:
  SheetWriter(std::string_view scope, std::size_t limit) : scope_(scope), limit_(limit) {}

  std::string write(Tokens tokens) {
    struct Level {
      RuleReader reader;
      std::size_t beginOfBlock;
      std::size_t beginOfRule;
    };
    std::vector<Level> levels;
    levels.push_back({RuleReader(tokens), 0, 0});
    while (!levels.empty()) {
      Level& level = levels.back();
      RawRule rule;
      if (out_.size() > limit_ || !level.reader.next(rule)) {
        if (levels.size() > 1) {
          if (out_.size() == level.beginOfBlock) {
            out_.resize(level.beginOfRule);
          } else {
            out_ += "}\n";
          }
        }
        levels.pop_back();
        continue;
      }
      if (!rule.hasBlock) {
        continue;
      }
      if (rule.atName.empty()) {
        styleRule(rule);
        continue;
      }
      const std::optional<std::string> query =
          rule.atName == "media" ? mediaQuery(rule.prelude) : std::nullopt;
      if (query && !query->empty() && levels.size() < kMaxBlocks) {
        const std::size_t begin = out_.size();
        out_ += "@media " + *query + "{\n";
        levels.push_back({RuleReader(rule.block), out_.size(), begin});
      }
    }
    return std::move(out_);
  }

 private:
  void styleRule(const RawRule& rule) {
    const std::string declarations = cleaned(rule.block);
    if (declarations.empty()) {
      return;
    }
    bool hasSelector = false;
    for (const Tokens part : commaSeparated(rule.prelude)) {
      const std::optional<std::string> selector = SelectorWriter(part, scope_).write();
      if (!selector) {
        continue;
      }
      if (out_.size() > limit_) {
        break;
      }
      out_ += hasSelector ? "," : "";
      out_ += *selector;
      hasSelector = true;
    }
    if (hasSelector) {
      out_ += '{' + declarations + "}\n";
    }
  }

  std::string_view scope_;
  std::size_t limit_;
  std::string out_;
};

bool isIdent(Tokens value, std::string_view ident) {
  return value.size() == 1 && value[0].type == Type::Ident &&
         text::equalsIgnoringCase(value[0].value, ident);
}

bool isZero(Tokens value) {
  if (value.size() != 1 || (value[0].type != Type::Number && value[0].type != Type::Dimension &&
                            value[0].type != Type::Percentage)) {
    return false;
  }
  return value[0].value.find_first_not_of("+-0.") == std::string::npos;
}

bool hides(Tokens tokens) {
  bool hidden = false;
  bool clips = false;
  bool noHeight = false;
  forEachDeclaration(tokens, [&](const std::string& name, Tokens value) {
    takeImportant(value);
    hidden = hidden || (name == "display" && isIdent(value, "none")) ||
             (name == "visibility" && isIdent(value, "hidden")) ||
             (name == "opacity" && isZero(value));
    clips = clips || (name == "overflow" && isIdent(value, "hidden"));
    noHeight = noHeight || ((name == "max-height" || name == "height") && isZero(value));
  });
  return hidden || (clips && noHeight);
}

}  // namespace

std::string cleanedDeclarations(std::string_view css) {
  return cleaned(cssTokens(css));
}

std::string cleanedStyleSheet(std::string_view css, std::string_view scope) {
  const std::vector<CssToken> tokens = cssTokens(css);
  return SheetWriter(scope, css.size() * kMaxGrowth + kGrowthFloor).write(tokens);
}

bool isCleanMediaQuery(std::string_view media) {
  const std::optional<std::string> query = mediaQuery(cssTokens(media));
  return query && !query->empty() && *query == text::trimmed(media);
}

bool hidesElement(std::string_view declarations) {
  return hides(cssTokens(declarations));
}

void collectHiddenNames(std::string_view css, std::unordered_set<std::string>& names) {
  const std::vector<CssToken> tokens = cssTokens(css);
  RuleReader reader(tokens);
  RawRule rule;
  while (reader.next(rule)) {
    if (!rule.hasBlock || !rule.atName.empty() || !hides(rule.block)) {
      continue;
    }
    for (Tokens part : commaSeparated(rule.prelude)) {
      part = trimmed(part);
      if (part.size() == 1 && part[0].type == Type::Hash) {
        names.insert('#' + part[0].value);
        continue;
      }
      // "td.name" counts as ".name": who hides a class hides it wherever it is used.
      if (part.size() == 3 && part[0].type == Type::Ident) {
        part = part.subspan(1);
      }
      if (part.size() == 2 && part[0].type == Type::Delim && part[0].delim == '.' &&
          part[1].type == Type::Ident) {
        names.insert('.' + part[1].value);
      }
    }
  }
}

bool isDisplayedAsBlock(std::string_view declarations) {
  bool isBlock = false;
  const std::vector<CssToken> tokens = cssTokens(declarations);
  forEachDeclaration(tokens, [&](const std::string& name, Tokens value) {
    takeImportant(value);
    if (name == "display") {
      isBlock = isIdent(value, "block");
    }
  });
  return isBlock;
}

}  // namespace brennox::html
