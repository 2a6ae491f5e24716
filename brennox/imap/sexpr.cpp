#include "imap/sexpr.h"

namespace brennox::imap {

Tree Tree::parse(std::string_view text) {
  Tree tree;
  WireReader reader(text);
  // The open lists, and the last child of each.
  std::vector<Index> open;
  std::vector<Index> last;
  const auto add = [&](Node node) {
    const auto index = static_cast<Index>(tree.nodes_.size());
    tree.nodes_.push_back(std::move(node));
    if (!open.empty()) {
      if (last.back() == kNone) {
        tree.nodes_[open.back()].firstChild = index;
      } else {
        tree.nodes_[last.back()].next = index;
      }
      last.back() = index;
    }
    return index;
  };
  do {
    Node node;
    switch (reader.token(&node.text)) {
      case WireReader::Token::kOpen:
        if (open.size() >= kMaxNesting) {
          return tree;
        }
        node.list = true;
        open.push_back(add(std::move(node)));
        last.push_back(kNone);
        break;
      case WireReader::Token::kClose:
        if (open.empty()) {
          return tree;
        }
        open.pop_back();
        last.pop_back();
        break;
      case WireReader::Token::kText:
        add(std::move(node));
        break;
      case WireReader::Token::kEnd:
        return tree;
    }
  } while (!open.empty() && tree.nodes_.size() < kMaxNodes);
  return tree;
}

Tree::Index Tree::child(Index node, std::size_t position) const {
  Index child = firstChild(node);
  for (; position > 0 && child != kNone; --position) {
    child = nodes_[child].next;
  }
  return child;
}

std::string Tree::string(Index node) const {
  return isString(node) ? nodes_[node].text.str() : std::string();
}

}  // namespace brennox::imap
