// An HTML document as a tree (HTML Standard, tree construction), and a walk over it.
#pragma once

#include <gumbo.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace brennox::html {

// Parses any bytes as an HTML document in no-quirks mode, after bounding them (bounded_html.h). The
// tree lives as long as this object; it may refer to the bytes it was made from.
class ParseTree {
 public:
  explicit ParseTree(std::string_view html);
  ~ParseTree();
  ParseTree(const ParseTree&) = delete;
  ParseTree& operator=(const ParseTree&) = delete;

  // The <html> element.
  const GumboNode* root() const { return root_; }

 private:
  class Arena;
  std::unique_ptr<Arena> arena_;
  std::string text_;
  const GumboNode* root_ = nullptr;
};

// True for elements and templates, whose fields are in node->v.element.
inline bool isElement(const GumboNode* node) {
  return node->type == GUMBO_NODE_ELEMENT || node->type == GUMBO_NODE_TEMPLATE;
}
inline bool isHtmlElement(const GumboNode* node) {
  return isElement(node) && node->v.element.tag_namespace == GUMBO_NAMESPACE_HTML;
}
// Text of any kind (character data, white space, CDATA).
inline bool isText(const GumboNode* node) {
  return node->type == GUMBO_NODE_TEXT || node->type == GUMBO_NODE_WHITESPACE ||
         node->type == GUMBO_NODE_CDATA;
}
// The value of an attribute by its lower case name; null when it is not there.
const char* attributeOf(const GumboNode* element, const char* name);

// The text inside an element whose content is raw text (<style>).
std::string rawTextOf(const GumboNode* element);

// Visits `root` and everything below it in document order without recursion. The visitor has
//   bool enter(const GumboNode*)   true: visit the children, then call leave
//   void leave(const GumboNode*)
template <class Visitor>
void walk(const GumboNode* root, Visitor& visitor) {
  struct Frame {
    const GumboNode* node;
    unsigned int next;
  };
  std::vector<Frame> frames;
  if (visitor.enter(root)) {
    frames.push_back({root, 0});
  }
  while (!frames.empty()) {
    Frame& frame = frames.back();
    const bool hasChildren = isElement(frame.node);
    if (!hasChildren || frame.next == frame.node->v.element.children.length) {
      visitor.leave(frame.node);
      frames.pop_back();
      continue;
    }
    const auto* const child =
        static_cast<const GumboNode*>(frame.node->v.element.children.data[frame.next++]);
    if (visitor.enter(child)) {
      frames.push_back({child, 0});
    }
  }
}

}  // namespace brennox::html
