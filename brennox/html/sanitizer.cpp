#include "html/sanitizer.h"

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "html/css.h"
#include "html/elements.h"
#include "html/escape.h"
#include "html/image_type.h"
#include "html/parse_tree.h"
#include "html/url.h"
#include "text/ascii.h"

namespace brennox::html {

// Paint containment clips what would stick out and keeps floats and fixed boxes inside.
const std::string_view kPartOpening =
    "<div class=\"bx-part\" style=\"contain:content;overflow:auto\">";
const std::string_view kPartClosing = "</div>";

namespace {

// The two elements around every part.
constexpr std::size_t kOuterDepth = 2;
// <table><tbody><tr><td>: a table is opened only when its cells fit too.
constexpr std::size_t kTableDepth = 4;
// Different style attributes of one text that are kept cleaned.
constexpr std::size_t kMaxKeptStyles = 256;

constexpr bool isHtmlSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

bool isBlank(std::string_view text) {
  for (const char c : text) {
    if (!isHtmlSpace(c)) {
      return false;
    }
  }
  return true;
}

void appendAttribute(std::string_view name, std::string_view value, std::string& out) {
  out += ' ';
  out += name;
  out += "=\"";
  appendEscaped(value, out);
  out += '"';
}

std::string prefixedClasses(std::string_view value) {
  std::string result;
  std::size_t at = 0;
  while (at < value.size()) {
    if (isHtmlSpace(value[at])) {
      ++at;
      continue;
    }
    const std::size_t begin = at;
    while (at < value.size() && !isHtmlSpace(value[at])) {
      ++at;
    }
    if (!result.empty()) {
      result += ' ';
    }
    result += kNamePrefix;
    result += value.substr(begin, at - begin);
  }
  return result;
}

std::string prefixedName(std::string_view value) {
  if (value.empty() || value.find_first_of(" \t\r\n\f") != std::string_view::npos) {
    return {};
  }
  return std::string(kNamePrefix) + std::string(value);
}

class Sanitizer {
 public:
  Sanitizer(std::string_view html, const SanitizerOptions& options)
      : options_(options), limit_(html.size() * kMaxOutputGrowth + kOutputFloor) {}

  std::string run(const GumboNode* root) {
    walk(root, *this);
    std::string result(kPartOpening);
    result.reserve(result.size() + styles_.size() + out_.size() + 128);
    if (!styles_.empty()) {
      result += "<style>\n" + styles_ + "</style>";
    }
    result += "<div class=\"" + options_.scope;
    if (!rootClasses_.empty()) {
      result += ' ';
      appendEscaped(rootClasses_, result);
    }
    result += '"';
    result += rootAttributes_;
    if (!rootStyle_.empty()) {
      appendAttribute("style", rootStyle_, result);
    }
    result += '>';
    result += out_;
    result += "</div>";
    result += kPartClosing;
    return result;
  }

  bool enter(const GumboNode* node) {
    if (isText(node)) {
      text(node->v.text.text);
      return false;
    }
    if (!isElement(node)) {
      return false;
    }
    if (!isHtmlElement(node)) {
      return false;
    }
    const GumboTag tag = node->v.element.tag;
    if (tag == GUMBO_TAG_STYLE) {
      styleSheet(node);
      return false;
    }
    if (tag == GUMBO_TAG_HTML || tag == GUMBO_TAG_BODY) {
      rootElement(node);
    }
    const Element element = elementOf(tag);
    if (element.treatment == Treatment::Drop) {
      return false;
    }
    const bool keep = element.treatment == Treatment::Keep && fits(element);
    if (isVoid(element)) {
      if (keep) {
        open(node, element);
      }
      return false;
    }
    if (keep) {
      open(node, element);
      push(element);
    }
    kept_.push_back(keep);
    return true;
  }

  void leave(const GumboNode* /*node*/) {
    if (kept_.back()) {
      afterPre_ = false;
      out_ += "</";
      out_ += stack_.back().name;
      out_ += '>';
      stack_.pop_back();
    }
    kept_.pop_back();
  }

 private:
  // An element of the result that is open, and what a parser would find open around it.
  struct Open {
    std::string_view name;
    Shape shape = Shape::Block;
    bool hasParagraph = false;  // a <p> that blocks would end
    bool hasLink = false;       // an <a> that another <a> would end
    bool hasItem = false;       // an <li> that another <li> would end
    bool hasTerm = false;       // a <dt> or <dd> that another one would end
  };

  static bool isVoid(const Element& element) {
    return element.shape == Shape::Void || element.shape == Shape::Column || element.name == "hr";
  }

  static bool isTablePart(Shape shape) { return shape >= Shape::Caption; }

  // True where a table allows nothing but its own parts.
  bool isInsideTableFrame() const {
    switch (top().shape) {
      case Shape::Table:
      case Shape::ColumnGroup:
      case Shape::RowGroup:
      case Shape::Row:
        return true;
      default:
        return false;
    }
  }

  const Open& top() const {
    static const Open kRoot;
    return stack_.empty() ? kRoot : stack_.back();
  }

  // Whether a parser that reads the result would put the element where it stands here.
  bool fits(const Element& element) const {
    const Open& around = top();
    switch (element.shape) {
      case Shape::Caption:
      case Shape::ColumnGroup:
      case Shape::RowGroup:
        return around.shape == Shape::Table;
      case Shape::Column:
        return around.shape == Shape::ColumnGroup;
      case Shape::Row:
        return around.shape == Shape::RowGroup;
      case Shape::Cell:
        return around.shape == Shape::Row;
      default:
        break;
    }
    const std::size_t depth =
        kOuterDepth + stack_.size() + (element.shape == Shape::Table ? kTableDepth : 1);
    if (isInsideTableFrame() || depth > kMaxDepth || out_.size() - pictures_ > limit_) {
      return false;
    }
    switch (element.shape) {
      case Shape::Link:
        return !around.hasLink;
      case Shape::Heading:
        return !around.hasParagraph && around.shape != Shape::Heading;
      case Shape::ListItem:
        return !around.hasParagraph && !around.hasItem;
      case Shape::Term:
        return !around.hasParagraph && !around.hasTerm;
      case Shape::Block:
      case Shape::Table:
        return !around.hasParagraph;
      case Shape::RubyText:
        return around.shape != Shape::RubyText && around.shape != Shape::ListItem &&
               around.shape != Shape::Term && around.name != "p";
      default:
        return true;
    }
  }

  void push(const Element& element) {
    const Open& around = top();
    Open entry;
    entry.name = element.name;
    entry.shape = element.shape;
    const bool isWall = element.shape == Shape::Cell || element.shape == Shape::Caption ||
                        element.shape == Shape::Table;
    if (!isWall) {
      entry.hasParagraph = around.hasParagraph || element.name == "p";
      entry.hasLink = around.hasLink || element.shape == Shape::Link;
    }
    const bool isTransparent = element.shape == Shape::Inline || element.shape == Shape::Link ||
                               element.shape == Shape::RubyText || element.name == "div" ||
                               element.name == "address" || element.name == "p";
    entry.hasItem = element.shape == Shape::ListItem || (isTransparent && around.hasItem);
    entry.hasTerm = element.shape == Shape::Term || (isTransparent && around.hasTerm);
    stack_.push_back(entry);
  }

  void text(std::string_view text) {
    if (text.empty() || (isInsideTableFrame() && !isBlank(text))) {
      return;
    }
    // A parser swallows the first line end inside <pre>.
    if (afterPre_ && text.front() == '\n') {
      out_ += '\n';
    }
    afterPre_ = false;
    appendEscapedText(text, out_);
  }

  void open(const GumboNode* node, const Element& element) {
    afterPre_ = element.name == "pre";
    out_ += '<';
    out_ += element.name;
    const GumboVector& attributes = node->v.element.attributes;
    for (unsigned int i = 0; i < attributes.length; ++i) {
      const auto* const attribute = static_cast<const GumboAttribute*>(attributes.data[i]);
      this->attribute(element, attribute->name, attribute->value);
    }
    out_ += '>';
  }

  void attribute(const Element& element, std::string_view name, std::string_view value) {
    if (name == "style") {
      const std::string& style = cleanedStyle(value);
      if (!style.empty()) {
        appendAttribute(name, style, out_);
      }
    } else if (name == "class") {
      const std::string classes = prefixedClasses(value);
      if (!classes.empty()) {
        appendAttribute(name, classes, out_);
      }
    } else if (name == "id" || (name == "name" && element.name == "a")) {
      const std::string id = prefixedName(value);
      if (!id.empty()) {
        appendAttribute(name, id, out_);
      }
    } else if (name == "href") {
      if (element.name == "a") {
        link(value);
      }
    } else if (name == "src") {
      if (element.name == "img") {
        picture(value);
      }
    } else if (keepsAttribute(element.name, name, value, value_)) {
      appendAttribute(name, value_, out_);
    }
  }

  // Newsletters repeat a few long ones from cell to cell. `value` lives as long as the tree.
  const std::string& cleanedStyle(std::string_view value) {
    if (cleanedStyles_.size() >= kMaxKeptStyles) {
      cleanedStyles_.clear();
    }
    const auto [known, isNew] = cleanedStyles_.try_emplace(value);
    if (isNew) {
      known->second = cleanedDeclarations(value);
    }
    return known->second;
  }

  void link(std::string_view href) {
    const std::string address = trimmedUrl(href);
    if (address.size() > 1 && address.front() == '#') {
      const std::string name = prefixedName(std::string_view(address).substr(1));
      if (!name.empty()) {
        appendAttribute("href", "#" + name, out_);
      }
    } else if (const std::optional<std::string> url = linkUrl(address)) {
      appendAttribute("href", *url, out_);
      out_ += " rel=\"noopener noreferrer\" target=\"_blank\"";
    }
  }

  void picture(std::string_view src) {
    const std::string address = trimmedUrl(src);
    const std::string scheme = schemeOf(address);
    const std::string shown = scheme == "data"                ? cleanedDataUri(address)
                              : options_.pictureAt != nullptr ? options_.pictureAt(address)
                                                              : std::string();
    if (!shown.empty()) {
      const std::size_t before = out_.size();
      appendAttribute("src", shown, out_);
      pictures_ += out_.size() - before;
    } else if (const std::optional<std::string> remote = remoteImageUrl(address)) {
      appendAttribute("data-remote-src", *remote, out_);
    }
  }

  void styleSheet(const GumboNode* node) {
    const char* const type = attributeOf(node, "type");
    if (type != nullptr && *type != '\0' && !text::equalsIgnoringCase(type, "text/css")) {
      return;
    }
    const char* const media = attributeOf(node, "media");
    const bool isLimited = media != nullptr && !isBlank(media);
    if (isLimited && !isCleanMediaQuery(media)) {
      return;
    }
    const std::string rules = cleanedStyleSheet(rawTextOf(node), options_.scope);
    if (rules.empty()) {
      return;
    }
    if (isLimited) {
      styles_ += "@media " + std::string(text::trimmed(media)) + "{\n" + rules + "}\n";
    } else {
      styles_ += rules;
    }
  }

  void addRootStyle(std::string_view declarations) {
    if (declarations.empty()) {
      return;
    }
    if (!rootStyle_.empty()) {
      rootStyle_ += ';';
    }
    rootStyle_ += declarations;
  }

  // <html> and <body> become the element that holds the part.
  void rootElement(const GumboNode* node) {
    const auto value = [&](const char* name) -> std::string_view {
      const char* const found = attributeOf(node, name);
      return found == nullptr ? std::string_view() : found;
    };
    if (const std::string color = colorOf(value("bgcolor")); !color.empty()) {
      addRootStyle("background-color:" + color);
    }
    if (const std::string color = colorOf(value("text")); !color.empty()) {
      addRootStyle("color:" + color);
    }
    addRootStyle(cleanedDeclarations(value("style")));
    if (const std::string classes = prefixedClasses(value("class")); !classes.empty()) {
      rootClasses_ += (rootClasses_.empty() ? "" : " ") + classes;
    }
    for (const char* const name : {"lang", "dir"}) {
      const std::string written = " " + std::string(name) + "=\"";
      if (keepsAttribute("body", name, value(name), value_) &&
          rootAttributes_.find(written) == std::string::npos) {
        appendAttribute(name, value_, rootAttributes_);
      }
    }
    const std::string id = prefixedName(value("id"));
    if (!id.empty() && rootAttributes_.find(" id=\"") == std::string::npos) {
      appendAttribute("id", id, rootAttributes_);
    }
  }

  const SanitizerOptions& options_;
  std::size_t limit_;
  std::string out_;
  // How much of out_ is pictures.
  std::size_t pictures_ = 0;
  std::string styles_;
  std::string rootStyle_;
  std::string rootClasses_;
  std::string rootAttributes_;
  std::vector<Open> stack_;
  // For every element that is being walked: whether its tags are in the result.
  std::vector<bool> kept_;
  bool afterPre_ = false;
  std::string value_;
  std::unordered_map<std::string_view, std::string> cleanedStyles_;
};

}  // namespace

std::string sanitizedHtml(std::string_view html, const SanitizerOptions& options) {
  const ParseTree tree(html);
  return Sanitizer(html, options).run(tree.root());
}

}  // namespace brennox::html
