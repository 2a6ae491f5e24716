// The nested lists of ENVELOPE and BODYSTRUCTURE, as a tree.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "imap/wire_reader.h"

namespace brennox::imap {

// More than that is no description of a message.
inline constexpr std::size_t kMaxNodes = 200000;

class Tree {
 public:
  using Index = std::uint32_t;
  static constexpr Index kNone = UINT32_MAX;

  struct Node {
    bool list = false;
    Text text;
    Index firstChild = kNone;
    Index next = kNone;
  };

  // Reads one list. Text that breaks off, or that has too many or too deep lists, gives what was
  // read up to there: servers have cut descriptions short, and half of one is better than none.
  static Tree parse(std::string_view text);

  bool isEmpty() const noexcept { return nodes_.empty(); }
  Index root() const noexcept { return nodes_.empty() ? kNone : 0; }
  bool isList(Index node) const { return node != kNone && nodes_[node].list; }
  Index firstChild(Index node) const { return isList(node) ? nodes_[node].firstChild : kNone; }
  Index next(Index node) const { return node == kNone ? kNone : nodes_[node].next; }
  // The child at a position; kNone when there are fewer.
  Index child(Index node, std::size_t position) const;
  // The text of a node; "" for NIL, lists and kNone.
  std::string string(Index node) const;
  bool isString(Index node) const {
    return node != kNone && !nodes_[node].list && !nodes_[node].text.nil;
  }

 private:
  std::vector<Node> nodes_;
};

}  // namespace brennox::imap
