// The tree is walked once, depth first, without recursion. What a multipart/alternative offers is
// gathered per child and chosen from when its last child has been seen.
#include "mime/classify.h"

#include <brennox/Array.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>

namespace brennox::mime {
namespace {

// Deeper parts are left out: the parser makes leaves of them before.
constexpr std::size_t kMaxDepth = 1000;

enum class Place {
  Only,         // the root of the message
  First,        // first child of a multipart that shows all of its children
  Later,        // any other child of such a multipart
  Alternative,  // child of multipart/alternative
  RelatedRoot,
  Related,  // any other child of multipart/related
};

bool isText(AbstractPart* part) {
  const std::string_view type = textOf(part->mimeType());
  return type == "text/html" || type == "text/plain" || type.empty();
}

bool isHtml(AbstractPart* part) {
  return textOf(part->mimeType()) == "text/html";
}

// Forms of the same text that only some other program reads. As alternatives they add nothing.
bool isSecondaryText(AbstractPart* part) {
  const std::string_view type = textOf(part->mimeType());
  return type == "text/x-amp-html" || type == "text/watch-html" || type == "text/enriched" ||
         type == "text/richtext";
}

// RFC 2046 section 4.1.4: a text in a form that is not known is shown as it stands. But for those
// that say nothing to a reader.
bool isReadableText(AbstractPart* part) {
  const std::string_view type = textOf(part->mimeType());
  if (type.substr(0, 5) != "text/") {
    return false;
  }
  static constexpr std::string_view kData[] = {
      "calendar",   "vcard",      "x-vcard",    "directory", "csv",  "tab-separated-values",
      "rtf",        "css",        "xml",        "xsl",       "json", "rfc822-headers",
      "javascript", "ecmascript", "x-amp-html", "watch-html"};
  return std::find(std::begin(kData), std::end(kData), type.substr(5)) == std::end(kData);
}

bool has(const String* text) {
  return text != nullptr && !text->isEmpty();
}

bool isBody(AbstractPart* part, Place place) {
  if (!isText(part) || part->isAttachment()) {
    return false;
  }
  switch (place) {
    case Place::Only:
    case Place::Alternative:
    case Place::RelatedRoot:
      return true;
    case Place::First:
      // Some mailers name the body itself.
      return true;
    case Place::Later:
      return !has(part->filename());
    case Place::Related:
      return !has(part->filename()) && !has(part->contentID()) && !has(part->contentLocation());
  }
  return false;
}

// What one child of a multipart/alternative offers, or the message as a whole.
using Bodies = std::vector<Body>;

bool offersHtml(const Bodies& bodies) {
  for (const Body& body : bodies) {
    for (AbstractPart* part : body.html) {
      if (isHtml(part)) {
        return true;
      }
    }
  }
  return false;
}

bool offersPlain(const Bodies& bodies) {
  for (const Body& body : bodies) {
    for (AbstractPart* part : body.plain) {
      if (!isHtml(part)) {
        return true;
      }
    }
  }
  return false;
}

// The last child that can be shown in the wanted form, else the last that can be shown at all.
Body chooseAlternative(std::vector<Bodies>& children) {
  const Bodies* html = nullptr;
  const Bodies* plain = nullptr;
  const Bodies* any = nullptr;
  bool plainIsPure = false;
  for (const Bodies& child : children) {
    if (child.empty()) {
      continue;
    }
    any = &child;
    const bool hasHtml = offersHtml(child);
    if (hasHtml) {
      html = &child;
    }
    // A child of plain text alone is better than one that mixes both; among those the first, which
    // is what a reader without HTML was meant to see.
    if (offersPlain(child) && (plain == nullptr || (!hasHtml && !plainIsPure))) {
      plain = &child;
      plainIsPure = !hasHtml;
    }
  }
  Body chosen;
  const Bodies* const forHtml = html != nullptr ? html : any;
  const Bodies* const forPlain = plain != nullptr ? plain : any;
  if (forHtml != nullptr) {
    for (const Body& body : *forHtml) {
      chosen.html.insert(chosen.html.end(), body.html.begin(), body.html.end());
    }
  }
  if (forPlain != nullptr) {
    for (const Body& body : *forPlain) {
      chosen.plain.insert(chosen.plain.end(), body.plain.begin(), body.plain.end());
    }
  }
  return chosen;
}

class Walk {
 public:
  explicit Walk(const CidReferences* references) : references_(references) {}

  Sorting run(AbstractPart* root) {
    enter(root, Place::Only);
    while (!frames_.empty()) {
      Frame& frame = frames_.back();
      if (frame.next == frame.count) {
        leave();
        continue;
      }
      const unsigned int index = frame.next++;
      AbstractPart* const child = frame.children->at<AbstractPart>(index);
      enter(child, placeOf(frame, child, index));
    }
    if (bodies_.empty() && readable_ != nullptr) {
      bodies_.push_back({{readable_}, {readable_}});
    }
    sorting_.bodies = std::move(bodies_);
    return std::move(sorting_);
  }

 private:
  struct Frame {
    Array* children;
    unsigned int count;
    unsigned int next = 0;
    PartType type;
    AbstractPart* root = nullptr;
    // For multipart/alternative: the bodies gathered before it, and those of its children so far.
    Bodies outer;
    std::vector<Bodies> alternatives;
  };

  static Place placeOf(const Frame& frame, const AbstractPart* child, unsigned int index) {
    switch (frame.type) {
      case PartType::MultipartAlternative:
        return Place::Alternative;
      case PartType::MultipartRelated:
        return child == frame.root ? Place::RelatedRoot : Place::Related;
      default:
        return index == 0 ? Place::First : Place::Later;
    }
  }

  void enter(AbstractPart* part, Place place) {
    // The bodies of the child before this one of an alternative are complete.
    closeAlternative();
    Array* const children = part->partType() == PartType::Message ? nullptr : part->parts();
    if (children != nullptr && part->partType() != PartType::Single) {
      if (frames_.size() < kMaxDepth) {
        Frame frame;
        frame.children = children;
        frame.count = children->count();
        frame.type = part->partType();
        if (frame.type == PartType::MultipartRelated) {
          frame.root = relatedRoot(part);
        } else if (frame.type == PartType::MultipartAlternative) {
          frame.outer = std::move(bodies_);
          bodies_.clear();
        }
        frames_.push_back(std::move(frame));
      }
      return;
    }
    if (part->partType() == PartType::Single && isBody(part, place)) {
      bodies_.push_back({{part}, {part}});
      return;
    }
    if (readable_ == nullptr && part->partType() == PartType::Single && isReadableText(part) &&
        !part->isAttachment() && !has(part->filename())) {
      readable_ = part;
    }
    if (place == Place::Alternative && isSecondaryText(part)) {
      return;
    } else if (isInlined(part, place)) {
      sorting_.inlined.push_back(part);
    } else {
      sorting_.attachments.push_back(part);
    }
  }

  bool isInlined(AbstractPart* part, Place place) const {
    if (part->partType() != PartType::Single) {
      return false;
    }
    if (has(part->contentID()) && references_ != nullptr) {
      return references_->count(std::string(part->contentID()->view())) != 0;
    }
    if (place != Place::Related || part->isAttachment()) {
      return false;
    }
    return (has(part->contentID()) || has(part->contentLocation())) &&
           textOf(part->mimeType()).substr(0, 6) == "image/";
  }

  void closeAlternative() {
    if (frames_.empty() || frames_.back().type != PartType::MultipartAlternative) {
      return;
    }
    if (!bodies_.empty()) {
      frames_.back().alternatives.push_back(std::move(bodies_));
      bodies_.clear();
    }
  }

  void leave() {
    closeAlternative();
    Frame frame = std::move(frames_.back());
    frames_.pop_back();
    if (frame.type == PartType::MultipartAlternative) {
      bodies_ = std::move(frame.outer);
      if (!frame.alternatives.empty()) {
        bodies_.push_back(chooseAlternative(frame.alternatives));
      }
    }
  }

  const CidReferences* references_;
  Sorting sorting_;
  // What is shown where there is no body; it stays among the attachments.
  AbstractPart* readable_ = nullptr;
  Bodies bodies_;
  std::vector<Frame> frames_;
};

int hexValue(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool endsUrl(char c) {
  return static_cast<unsigned char>(c) <= ' ' || c == '"' || c == '\'' || c == '<' || c == '>' ||
         c == ')' || c == '\\';
}

}  // namespace

void collectCidReferences(std::string_view html, CidReferences& references) {
  for (std::size_t at = html.find(':'); at != std::string_view::npos; at = html.find(':', at + 1)) {
    if (at < 3 || (html[at - 3] | 0x20) != 'c' || (html[at - 2] | 0x20) != 'i' ||
        (html[at - 1] | 0x20) != 'd') {
      continue;
    }
    std::string id;
    std::size_t i = at + 1;
    for (; i < html.size() && !endsUrl(html[i]); ++i) {
      if (html[i] == '%' && html.size() - i > 2 && hexValue(html[i + 1]) >= 0 &&
          hexValue(html[i + 2]) >= 0) {
        id += static_cast<char>(hexValue(html[i + 1]) * 16 + hexValue(html[i + 2]));
        i += 2;
      } else if (html.substr(i, 5) == "&amp;") {
        id += '&';
        i += 4;
      } else {
        id += html[i];
      }
    }
    if (!id.empty()) {
      references.insert(std::move(id));
    }
    at = i - 1;
  }
}

Sorting sortParts(AbstractPart* root, const CidReferences* references) {
  return root == nullptr ? Sorting() : Walk(references).run(root);
}

bool needsCidReferences(const Sorting& sorting) {
  for (const auto* parts : {&sorting.inlined, &sorting.attachments}) {
    for (AbstractPart* part : *parts) {
      if (part->partType() == PartType::Single && has(part->contentID())) {
        return true;
      }
    }
  }
  return false;
}

AbstractPart* relatedRoot(AbstractPart* related) {
  if (AbstractPart* const root = related->mainPart()) {
    return root;
  }
  Array* const children = related->parts();
  if (children == nullptr || children->count() == 0) {
    return nullptr;
  }
  for (unsigned int i = 0; i < children->count(); ++i) {
    auto* const child = children->at<AbstractPart>(i);
    const bool multipart =
        child->partType() != PartType::Single && child->partType() != PartType::Message;
    if (multipart || (isText(child) && !child->isAttachment())) {
      return child;
    }
  }
  return children->at<AbstractPart>(0);
}

}  // namespace brennox::mime
