// The tree builder is a C library that frees its trees by recursion. Its allocations come from an
// arena here: freeing is one step at any depth, and parsing is faster.
#include "html/parse_tree.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

#include "html/bounded_html.h"
#include "html/stand_ins.h"

namespace brennox::html {

// Small blocks are cut from chunks and freed with the arena; large ones are freed when the library
// says so.
class ParseTree::Arena {
 public:
  Arena() {
    if (kept().bytes != nullptr) {
      take(std::exchange(kept(), {}));
    }
  }
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;
  ~Arena() {
    for (const Chunk& chunk : chunks_) {
      if (chunk.size > kept().size) {
        std::free(std::exchange(kept(), chunk).bytes);
      } else {
        std::free(chunk.bytes);
      }
    }
    while (large_ != nullptr) {
      Large* const next = large_->next;
      std::free(large_);
      large_ = next;
    }
  }

  static void* allocate(void* self, std::size_t size) noexcept {
    return static_cast<Arena*>(self)->allocate(size);
  }
  static void release(void* self, void* block) noexcept {
    static_cast<Arena*>(self)->release(block);
  }

 private:
  static constexpr std::size_t kAlignment = alignof(std::max_align_t);
  // Each chunk is twice as large as the one before: a short text must not cost fresh pages.
  static constexpr std::size_t kFirstChunk = std::size_t{32} << 10;
  static constexpr std::size_t kLargestChunk = std::size_t{256} << 10;
  static constexpr std::size_t kLargeBlock = std::size_t{16} << 10;

  // Stands before every block; tells the two kinds apart.
  struct alignas(kAlignment) Header {
    bool isLarge;
  };
  struct alignas(kAlignment) Large {
    Large* previous;
    Large* next;
    Header header;
  };

  struct Chunk {
    char* bytes = nullptr;
    std::size_t size = 0;
  };
  struct KeptChunk : Chunk {
    ~KeptChunk() { std::free(std::exchange(bytes, nullptr)); }
  };

  // The largest chunk of the texts before: a thread that parses one parses more.
  static Chunk& kept() {
    thread_local KeptChunk chunk;
    return chunk;
  }

  void take(Chunk chunk) {
    chunks_.push_back(chunk);
    next_ = chunk.bytes;
    left_ = chunk.size;
  }

  void* allocate(std::size_t size) noexcept {
    if (size >= kLargeBlock) {
      auto* const large = static_cast<Large*>(checked(std::malloc(sizeof(Large) + size)));
      large->previous = nullptr;
      large->next = large_;
      large->header.isLarge = true;
      if (large_ != nullptr) {
        large_->previous = large;
      }
      large_ = large;
      return large + 1;
    }
    const std::size_t needed = sizeof(Header) + (size + kAlignment - 1) / kAlignment * kAlignment;
    if (left_ < needed) {
      take({static_cast<char*>(checked(std::malloc(nextChunk_))), nextChunk_});
      nextChunk_ = std::min(2 * nextChunk_, kLargestChunk);
    }
    auto* const header = new (next_) Header{false};
    next_ += needed;
    left_ -= needed;
    return header + 1;
  }

  void release(void* block) noexcept {
    if (block == nullptr || !(static_cast<Header*>(block) - 1)->isLarge) {
      return;
    }
    Large* const large = static_cast<Large*>(block) - 1;
    if (large->previous != nullptr) {
      large->previous->next = large->next;
    } else {
      large_ = large->next;
    }
    if (large->next != nullptr) {
      large->next->previous = large->previous;
    }
    std::free(large);
  }

  // The tree builder cannot go on without memory, and nothing can be thrown through it.
  static void* checked(void* block) noexcept {
    if (block == nullptr) {
      std::abort();
    }
    return block;
  }

  std::vector<Chunk> chunks_;
  char* next_ = nullptr;
  std::size_t left_ = 0;
  std::size_t nextChunk_ = kFirstChunk;
  Large* large_ = nullptr;
};

namespace {

// What no text has. The tree builder would show it as U+FFFD.
constexpr bool isControl(char c) {
  const auto byte = static_cast<std::uint8_t>(c);
  return (byte < 0x20 && c != '\t' && c != '\n' && c != '\f' && c != '\r') || byte == 0x7F;
}

// Looks at all bytes, without a way out of the loop: the compiler then takes many at a time.
bool hasControls(std::string_view text) {
  bool found = false;
  for (const char c : text) {
    found |= isControl(c);
  }
  return found;
}

// Puts what stand-ins stand for into a finished tree.
class Restorer {
 public:
  Restorer(const StandIns& standIns, const GumboOptions& options)
      : standIns_(standIns), options_(options) {}

  bool enter(const GumboNode* node) {
    if (isText(node)) {
      restore(const_cast<GumboNode*>(node)->v.text.text);
      return false;
    }
    if (!isElement(node)) {
      return false;
    }
    const GumboVector& attributes = node->v.element.attributes;
    for (unsigned int i = 0; i < attributes.length; ++i) {
      restore(static_cast<GumboAttribute*>(attributes.data[i])->value);
    }
    return true;
  }
  void leave(const GumboNode* /*node*/) {}

 private:
  void restore(const char*& text) const {
    const std::string_view shortened = text;
    if (!StandIns::areIn(shortened)) {
      return;
    }
    const std::size_t length = standIns_.restoredLength(shortened);
    auto* const restored = static_cast<char*>(options_.allocator(options_.userdata, length + 1));
    standIns_.restore(shortened, restored);
    restored[length] = '\0';
    text = restored;
  }

  const StandIns& standIns_;
  const GumboOptions& options_;
};

}  // namespace

ParseTree::ParseTree(std::string_view html) : arena_(std::make_unique<Arena>()) {
  if (html.substr(0, 3) == "\xEF\xBB\xBF") {
    html.remove_prefix(3);
  }
  std::string printable;
  if (hasControls(html)) {
    std::remove_copy_if(html.begin(), html.end(), std::back_inserter(printable), isControl);
    html = printable;
  }
  std::string reduced;
  StandIns standIns;
  const bool hasStandIns = StandIns::mayServe(html);
  const std::string_view bounded = boundedHtml(html, reduced, hasStandIns ? &standIns : nullptr);
  // The first document type wins. This one makes <table> end an open <p>, as any page that shows
  // the result would do.
  constexpr std::string_view kDoctype = "<!DOCTYPE html>";
  text_.reserve(kDoctype.size() + bounded.size());
  text_ += kDoctype;
  text_ += bounded;
  GumboOptions options = kGumboDefaultOptions;
  options.allocator = &Arena::allocate;
  options.deallocator = &Arena::release;
  options.userdata = arena_.get();
  options.max_errors = 0;
  root_ = gumbo_parse_with_options(&options, text_.data(), text_.size())->root;
  if (hasStandIns) {
    Restorer restorer(standIns, options);
    walk(root_, restorer);
  }
}

ParseTree::~ParseTree() = default;

const char* attributeOf(const GumboNode* element, const char* name) {
  const GumboVector& attributes = element->v.element.attributes;
  for (unsigned int i = 0; i < attributes.length; ++i) {
    const auto* const attribute = static_cast<const GumboAttribute*>(attributes.data[i]);
    if (std::strcmp(attribute->name, name) == 0) {
      return attribute->value;
    }
  }
  return nullptr;
}

std::string rawTextOf(const GumboNode* element) {
  std::string text;
  const GumboVector& children = element->v.element.children;
  for (unsigned int i = 0; i < children.length; ++i) {
    const auto* const child = static_cast<const GumboNode*>(children.data[i]);
    if (isText(child)) {
      text += child->v.text.text;
    }
  }
  return text;
}

}  // namespace brennox::html
