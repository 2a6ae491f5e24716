// Checks that a parser reads a cleaned text as the tree that was written.
#pragma once

#include <string>
#include <string_view>

#include "html/escape.h"
#include "html/parse_tree.h"

namespace brennox::html {

// Writes the tree of a parsed text as the sanitiser would, without deciding anything.
class TreeWriter {
 public:
  bool enter(const GumboNode* node) {
    if (isText(node)) {
      std::string_view text = node->v.text.text;
      if (afterPre_ && !text.empty() && text.front() == '\n') {
        out_ += '\n';
      }
      afterPre_ = false;
      if (isInStyle_) {
        out_ += text;
      } else {
        appendEscapedText(text, out_);
      }
      return false;
    }
    if (!isElement(node)) {
      out_ += "<!---->";
      return false;
    }
    const GumboTag tag = node->v.element.tag;
    if (tag == GUMBO_TAG_HTML || tag == GUMBO_TAG_BODY) {
      return true;
    }
    if (tag == GUMBO_TAG_HEAD) {
      return true;
    }
    const std::string_view name = gumbo_normalized_tagname(tag);
    out_ += '<';
    out_ += name.empty() ? "unknown" : name;
    for (unsigned i = 0; i < node->v.element.attributes.length; ++i) {
      const auto* const attribute =
          static_cast<const GumboAttribute*>(node->v.element.attributes.data[i]);
      out_ += ' ';
      out_ += attribute->name;
      out_ += "=\"";
      appendEscaped(attribute->value, out_);
      out_ += '"';
    }
    out_ += '>';
    const bool isVoid =
        name == "br" || name == "hr" || name == "img" || name == "wbr" || name == "col";
    afterPre_ = name == "pre";
    isInStyle_ = name == "style";
    return !isVoid;
  }

  void leave(const GumboNode* node) {
    const GumboTag tag = node->v.element.tag;
    afterPre_ = false;
    isInStyle_ = false;
    if (tag != GUMBO_TAG_HTML && tag != GUMBO_TAG_BODY && tag != GUMBO_TAG_HEAD) {
      const std::string_view name = gumbo_normalized_tagname(tag);
      out_ += "</";
      out_ += name.empty() ? "unknown" : name;
      out_ += '>';
    }
  }

  const std::string& text() const { return out_; }

 private:
  std::string out_;
  bool afterPre_ = false;
  bool isInStyle_ = false;
};

// The same text again when parsing gives the tree that the text shows.
inline std::string reparsed(std::string_view html) {
  const ParseTree tree(html);
  TreeWriter writer;
  walk(tree.root(), writer);
  return writer.text();
}

}  // namespace brennox::html
