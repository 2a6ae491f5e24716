// Headers are read line by line; bodies are searched for "\n--" alone. The open boundaries form a
// stack; a table over the stack finds the innermost one that equals a line, so that the cost of a
// line does not depend on the depth. Nothing here recurses.
#include "mime/entity.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "mime/content_fields.h"
#include "mime/find3.h"
#include "mime/open_boundaries.h"
#include "rfc822/header_fields.h"
#include "text/ascii.h"

namespace brennox::mime {
namespace {

// A multipart whose Content-Type names no boundary: how far from its start a boundary is looked
// for.
constexpr std::size_t kGuessWindow = 2048;
// A header line that is no field: how far a field that must belong to the header is looked for.
constexpr std::size_t kGarbageWindow = 4096;

using text::equalsIgnoringCase;
using text::isBlank;
using text::isSpace;

// All but the ftext of RFC 5322 section 3.6.8.
constexpr text::CharacterSet kEndsFieldName =
    text::CharacterSet(" :").withControls().withNonAscii();

// A line that starts a field: the length of its name, else 0.
std::size_t fieldNameLength(const char* line, const char* end) {
  const std::size_t length = kEndsFieldName.runBefore({line, static_cast<std::size_t>(end - line)});
  const char* at = line + length;
  while (at < end && isBlank(*at)) {
    ++at;
  }
  return at < end && *at == ':' ? length : 0;
}

// Fields that show that a header goes on behind a line that is none.
bool isTellingField(std::string_view name) {
  static constexpr std::array<std::string_view, 14> kNames = {
      "from",         "to",       "subject",    "date",        "message-id",
      "mime-version", "received", "references", "reply-to",    "in-reply-to",
      "return-path",  "cc",       "sender",     "delivered-to"};
  if (name.size() > 8 && equalsIgnoringCase(name.substr(0, 8), "content-")) {
    return true;
  }
  return std::any_of(kNames.begin(), kNames.end(), [name](std::string_view telling) {
    return equalsIgnoringCase(name, telling);
  });
}

class Scan {
 public:
  explicit Scan(std::string_view bytes)
      : base_(bytes.data()), end_(bytes.data() + bytes.size()), at_(bytes.data()) {}

  std::vector<Entity> run(unsigned int depth) {
    entities_.reserve(4);
    addEntity(kNoEntity, static_cast<std::uint16_t>(depth));
    skipToFirstField(true);
    readEntity();
    while (nextBoundary()) {
      readEntity();
    }
    closeDownTo(kNoEntity, end_);
    for (const Closing& closing : closedEmpty_) {
      Entity& entity = entities_[closing.entity];
      // What stands before the line is shown, without it; unless it is the line that is wrong.
      if (entity.firstChild == kNoEntity && closing.next <= entity.end &&
          std::all_of(base_ + closing.next, base_ + entity.end, isSpace)) {
        entity.end = std::max(closing.line, entity.body);
      }
    }
    for (Entity& entity : entities_) {
      if (entity.kind == EntityKind::Multipart && entity.firstChild == kNoEntity) {
        entity.kind = EntityKind::Leaf;
      }
    }
    return std::move(entities_);
  }

 private:
  std::size_t offset(const char* p) const { return static_cast<std::size_t>(p - base_); }
  std::size_t rest() const { return static_cast<std::size_t>(end_ - at_); }
  Entity& current() { return entities_[current_]; }

  const char* lineEnd(const char* line) const {
    const void* const newline = std::memchr(line, '\n', static_cast<std::size_t>(end_ - line));
    return newline == nullptr ? end_ : static_cast<const char*>(newline);
  }
  const char* nextLine(const char* lineEnd) const { return lineEnd < end_ ? lineEnd + 1 : end_; }

  // Makes a new last child of `parent` the current entity. Its header starts at the cursor.
  void addEntity(std::uint32_t parent, std::uint16_t depth) {
    const auto index = static_cast<std::uint32_t>(entities_.size());
    Entity entity;
    entity.header = entity.body = offset(at_);
    entity.parent = parent;
    entity.depth = depth;
    entities_.push_back(entity);
    if (parent != kNoEntity) {
      Entity& above = entities_[parent];
      if (above.firstChild == kNoEntity) {
        above.firstChild = index;
      } else {
        entities_[lastChild_[above.depth]].nextSibling = index;
      }
      if (lastChild_.size() <= above.depth) {
        lastChild_.resize(above.depth + 1U);
      }
      lastChild_[above.depth] = index;
    }
    current_ = index;
  }

  // Before the header of a message may stand: a byte order mark (the first message only), the
  // separator line of a mailbox file, empty lines. They are skipped when a field follows.
  void skipToFirstField(bool root) {
    const char* p = at_;
    if (root && end_ - p >= 3 && std::memcmp(p, "\xEF\xBB\xBF", 3) == 0) {
      p += 3;
      at_ = p;
    }
    while (p < end_ && (*p == '\r' || *p == '\n')) {
      ++p;
    }
    const std::string_view text(p, static_cast<std::size_t>(end_ - p));
    if (text.substr(0, 5) == "From " || text.substr(0, 6) == ">From ") {
      p = nextLine(lineEnd(p));
      // One empty line after it is seen in the wild; a second one would end an empty header.
      const char* q = p;
      while (q < end_ && (*q == '\r' || *q == '\n')) {
        ++q;
      }
      p = fieldNameLength(q, lineEnd(q)) > 0 ? q : p;
      at_ = p;
      current().header = offset(at_);
      return;
    }
    if (p > at_ && startsHeader(p)) {
      at_ = p;
    }
    current().header = offset(at_);
  }

  // Behind empty lines a header is one only with a field that tells: "Note: the text starts here".
  bool startsHeader(const char* line) const {
    const char* const limit =
        line + std::min(kGarbageWindow, static_cast<std::size_t>(end_ - line));
    const char* p = line;
    while (p < limit) {
      const char* const lf = lineEnd(p);
      const std::size_t name = fieldNameLength(p, lf);
      if (isTellingField(std::string_view(p, name))) {
        return true;
      }
      if (name == 0 && (p == line || !isBlank(*p))) {
        return false;
      }
      p = nextLine(lf);
    }
    return false;
  }

  // Reads the header of the current entity and, where it is an embedded message, that of the
  // message inside, and so on; the cursor then stands at a body.
  void readEntity() {
    for (;;) {
      impliedPart_ = false;
      const bool cut = readHeader();
      Entity& entity = current();
      if (isIrregular_) {
        entity.hasOtherFields = true;
        entity.disposition = {};
      }
      entity.body = offset(at_);
      classify(entity);
      if (impliedPart_ && entity.kind == EntityKind::Multipart) {
        addEntity(current_, static_cast<std::uint16_t>(entity.depth + 1U));
        continue;
      }
      if (cut || entity.kind != EntityKind::Message) {
        return;
      }
      const std::uint32_t parent = current_;
      const auto depth = static_cast<std::uint16_t>(entity.depth + 1U);
      addEntity(parent, depth);
      skipToFirstField(false);
    }
  }

  // Reads header fields up to the empty line, and past it. True when a boundary line ended the
  // header; the cursor then stands on the line end before it, as nextBoundary() wants it.
  bool readHeader() {
    typeWasRepeated_ = false;
    isIrregular_ = hasLoneReturns();
    const char* garbageUntil = nullptr;
    std::string_view* field = nullptr;
    std::string_view ignored;
    while (at_ < end_) {
      const char* const line = at_;
      const char* const lf = lineEnd(line);
      if (*line == '\n' ||
          (*line == '\r' && std::find_if(line, lf, [](char c) { return c != '\r'; }) == lf)) {
        at_ = nextLine(lf);
        return false;
      }
      if (isBlank(*line)) {
        // A continuation; at the very start of a header there is nothing to continue.
        isIrregular_ = isIrregular_ || std::all_of(line, lf, isSpace);
        if (field != nullptr && field->data() != nullptr) {
          *field = std::string_view(field->data(), static_cast<std::size_t>(lf - field->data()));
        } else if (field == nullptr) {
          isIrregular_ = true;
          if (!headerGoesOn(line, garbageUntil)) {
            return false;
          }
        }
        at_ = nextLine(lf);
        continue;
      }
      if (*line == '-' && lf - line >= 3 && line[1] == '-' && !boundaries_.empty() &&
          matchLine(line).entity != kNoEntity) {
        return true;
      }
      const std::size_t name = fieldNameLength(line, lf);
      if (name != 0 && startsPartWithoutBoundary(std::string_view(line, name))) {
        impliedPart_ = true;
        return true;
      }
      if (name == 0) {
        isIrregular_ = true;
        if (!headerGoesOn(line, garbageUntil)) {
          return false;
        }
        at_ = nextLine(lf);
        field = &ignored;
        ignored = {};
        continue;
      }
      field = fieldFor(std::string_view(line, name));
      if (field == nullptr || field->data() != nullptr) {
        field = &ignored;
        ignored = {};
      } else {
        const char* value = line + name;
        while (*value != ':') {
          ++value;
        }
        ++value;
        *field = std::string_view(value, static_cast<std::size_t>(lf - value));
      }
      at_ = nextLine(lf);
    }
    return false;
  }

  // The header may have lines that end with CR alone. Other readers of it see more fields then.
  bool hasLoneReturns() const {
    const char* const lf = lineEnd(at_);
    const void* const found = std::memchr(at_, '\r', static_cast<std::size_t>(lf - at_));
    return lf == end_ || (found != nullptr && static_cast<const char*>(found) + 1 != lf);
  }

  // A second Content-Type behind that of an inner multipart: the boundary line of its first part is
  // missing, and this field belongs to that part.
  bool startsPartWithoutBoundary(std::string_view name) {
    const Entity& entity = current();
    if (name.size() != 12 || typeWasRepeated_ || entity.parent == kNoEntity ||
        entity.contentType.data() == nullptr || !equalsIgnoringCase(name, "content-type")) {
      return false;
    }
    // Only the first repetition is looked at: the field may be long, and the repetitions many.
    typeWasRepeated_ = true;
    return equalsIgnoringCase(mediaTypeOf(entity.contentType).type, "multipart") &&
           !boundariesOf(entity.contentType).empty();
  }

  std::string_view* fieldFor(std::string_view name) {
    switch (rfc822::fieldId(name)) {
      case rfc822::FieldId::kContentType:
        return &current().contentType;
      case rfc822::FieldId::kContentTransferEncoding:
        return &current().encoding;
      case rfc822::FieldId::kContentDisposition:
        current().hasOtherFields = true;
        isIrregular_ = isIrregular_ || current().disposition.data() != nullptr;
        return &current().disposition;
      case rfc822::FieldId::kContentID:
      case rfc822::FieldId::kContentLocation:
      case rfc822::FieldId::kContentDescription:
        isIrregular_ = true;
        return nullptr;
      default:
        return nullptr;
    }
  }

  // "X-Some strange name: value" can only have been meant as a field.
  bool looksLikeExtensionField(const char* line) const {
    const std::string_view text(line, static_cast<std::size_t>(lineEnd(line) - line));
    return text::startsWithIgnoringCase(text, "x-") && text.find(':') != std::string_view::npos;
  }

  // A line that is no field ends the header (the empty line is missing), unless a field that
  // belongs to a header follows before the next empty line. `garbageUntil` remembers the last such
  // field.
  bool headerGoesOn(const char* line, const char*& garbageUntil) const {
    if (looksLikeExtensionField(line)) {
      return true;
    }
    if (garbageUntil == nullptr) {
      garbageUntil = line;
      const char* const limit =
          line + std::min(kGarbageWindow, static_cast<std::size_t>(end_ - line));
      for (const char* p = nextLine(lineEnd(line)); p < limit;) {
        const char* const lf = lineEnd(p);
        if (*p == '\n' || *p == '\r' || (lf - p >= 2 && p[0] == '-' && p[1] == '-')) {
          break;
        }
        if (isTellingField(std::string_view(p, fieldNameLength(p, lf)))) {
          garbageUntil = p;
        }
        p = nextLine(lf);
      }
    }
    return line < garbageUntil;
  }

  void classify(Entity& entity) {
    entity.inDigest = entity.parent != kNoEntity && entities_[entity.parent].isDigest;
    const MediaTypeView media = mediaTypeOf(entity.contentType);
    entity.isText =
        media.type.empty() ||
        (equalsIgnoringCase(media.type, "text") &&
         (equalsIgnoringCase(media.subtype, "plain") || equalsIgnoringCase(media.subtype, "html")));
    if (entity.depth >= kMaxEntityDepth || entities_.size() >= kMaxEntities) {
      return;
    }
    if (equalsIgnoringCase(media.type, "multipart")) {
      std::vector<std::string> boundaries = boundariesOf(entity.contentType);
      if (boundaries.empty()) {
        boundaries = guessBoundary();
      }
      if (boundaries.empty()) {
        return;
      }
      entity.kind = EntityKind::Multipart;
      entity.isDigest = equalsIgnoringCase(media.subtype, "digest");
      for (std::string& boundary : boundaries) {
        boundaries_.push(current_, std::move(boundary));
      }
      return;
    }
    const bool message = media.type.empty() ? entity.inDigest
                                            : equalsIgnoringCase(media.type, "message") &&
                                                  (equalsIgnoringCase(media.subtype, "rfc822") ||
                                                   equalsIgnoringCase(media.subtype, "global") ||
                                                   equalsIgnoringCase(media.subtype, "news"));
    if (message && isReadable(entity)) {
      entity.kind = EntityKind::Message;
    }
  }

  // True when the embedded message at the cursor stands there as it is, whatever its encoding
  // claims.
  bool isReadable(const Entity& entity) const {
    const TransferEncoding encoding = transferEncodingOf(entity.encoding);
    if (encoding == TransferEncoding::Identity) {
      return true;
    }
    const char* p = at_;
    while (p < end_ && isSpace(*p)) {
      ++p;
    }
    if (fieldNameLength(p, lineEnd(p)) == 0) {
      return false;
    }
    if (encoding != TransferEncoding::QuotedPrintable) {
      return true;
    }
    // Its header tells: an encoded one has "=3D" for each equals sign, or soft line breaks.
    const char* const limit = p + std::min(kGarbageWindow, static_cast<std::size_t>(end_ - p));
    bool equals = false;
    while (p < limit && *p != '\r' && *p != '\n') {
      const char* const lf = lineEnd(p);
      const std::string_view line(p, static_cast<std::size_t>(lf - p));
      if (line.find("=3D") != std::string_view::npos || (!line.empty() && line.back() == '=') ||
          (line.size() > 1 && line.substr(line.size() - 2) == "=\r")) {
        return false;
      }
      equals = equals || line.find('=') != std::string_view::npos;
      p = nextLine(lf);
    }
    return equals;
  }

  // The boundary parameter is missing: the first line that could be a boundary and has a
  // Content-... field below it.
  std::vector<std::string> guessBoundary() const {
    const char* const limit = at_ + std::min(kGuessWindow, rest());
    for (const char* p = at_; p < limit;) {
      const char* const lf = lineEnd(p);
      const char* const next = nextLine(lf);
      if (lf - p >= 3 && p[0] == '-' && p[1] == '-' && end_ - next >= 8 &&
          equalsIgnoringCase(std::string_view(next, 8), "content-")) {
        const char* last = lf;
        while (last > p + 2 && isSpace(last[-1])) {
          --last;
        }
        const auto length = static_cast<std::size_t>(last - p) - 2;
        if (length > 0 && length <= kMaxBoundary) {
          return {std::string(p + 2, length)};
        }
      }
      p = next;
    }
    return {};
  }

  struct Match {
    std::uint32_t entity = kNoEntity;
    bool closes = false;
    const char* next = nullptr;  // the line after
  };

  // Compares a line that starts with "--" with the open boundaries. White space may follow a
  // boundary.
  Match matchLine(const char* line) const {
    const char* const lf = lineEnd(line);
    const char* last = lf;
    while (last > line + 2 && isSpace(last[-1])) {
      --last;
    }
    const std::string_view text(line + 2, static_cast<std::size_t>(last - line) - 2);
    Match match;
    match.next = nextLine(lf);
    match.entity = boundaries_.find(text);
    if (text.size() > 2 && text.substr(text.size() - 2) == "--") {
      const std::uint32_t closed = boundaries_.find(text.substr(0, text.size() - 2));
      // One boundary may be another one with "--" behind it: the inner one is meant.
      if (closed != kNoEntity && (match.entity == kNoEntity || closed > match.entity)) {
        match.entity = closed;
        match.closes = true;
      }
    }
    return match;
  }

  // Finds the next boundary line that starts a part, ends what it ends, and adds the part. False at
  // the end of the input.
  bool nextBoundary() {
    while (!boundaries_.empty()) {
      // The line end before the cursor belongs to a boundary that stands there.
      const char* const from = at_ > base_ && at_[-1] == '\n' ? at_ - 1 : at_;
      const char* const delimiter = find3(from, end_, '\n', '-', '-');
      if (delimiter == nullptr) {
        return false;
      }
      const char* const line = delimiter + 1;
      const Match match = matchLine(line);
      at_ = match.entity == kNoEntity ? line + 2 : match.next;
      if (match.entity == kNoEntity || (!match.closes && entities_.size() >= kMaxEntities)) {
        continue;
      }
      const char* bodyEnd = delimiter;
      if (bodyEnd > base_ && bodyEnd[-1] == '\r') {
        --bodyEnd;
      }
      closeDownTo(match.entity, bodyEnd);
      if (match.closes) {
        if (entities_[match.entity].firstChild == kNoEntity) {
          closedEmpty_.push_back({match.entity, offset(bodyEnd), offset(match.next)});
        }
        while (!boundaries_.empty() && boundaries_.innermost() == match.entity) {
          boundaries_.pop();
        }
        // The line end of the closing line may start the next boundary.
        continue;
      }
      addEntity(match.entity, static_cast<std::uint16_t>(entities_[match.entity].depth + 1U));
      return true;
    }
    return false;
  }

  // Ends the current entity and those around it, up to but without `keep`, which becomes current.
  void closeDownTo(std::uint32_t keep, const char* bodyEnd) {
    std::size_t end = offset(bodyEnd);
    while (current_ != keep) {
      Entity& entity = current();
      // A boundary right behind a header ends the body before it has begun.
      end = std::max(end, entity.body);
      entity.end = end;
      while (!boundaries_.empty() && boundaries_.innermost() == current_) {
        boundaries_.pop();
      }
      current_ = entity.parent;
    }
  }

  const char* const base_;
  const char* const end_;
  const char* at_;
  std::vector<Entity> entities_;
  // The last child so far of the open entity at each depth.
  std::vector<std::uint32_t> lastChild_;
  OpenBoundaries boundaries_;
  std::uint32_t current_ = kNoEntity;
  // Multiparts that ended before their first part, and where: the end of what stands before the
  // closing line, and the line after it.
  struct Closing {
    std::uint32_t entity;
    std::size_t line;
    std::size_t next;
  };
  std::vector<Closing> closedEmpty_;
  // The header that was read last ended where a part without a boundary line starts.
  bool impliedPart_ = false;
  bool typeWasRepeated_ = false;
  // Its fields of a part have to be looked for again.
  bool isIrregular_ = false;
};

}  // namespace

std::vector<Entity> scanEntities(std::string_view bytes, unsigned int depth) {
  if (bytes.data() == nullptr) {
    bytes = std::string_view("", 0);
  }
  return Scan(bytes).run(depth);
}

// A scan lists entities in the order in which they begin, so that a subtree is a run of its list.
std::vector<Entity> entitiesBelow(const std::vector<Entity>& entities, std::uint32_t root) {
  const Entity top = entities[root];
  const auto first = entities.begin() + root;
  const auto last = std::find_if(first + 1, entities.end(),
                                 [&](const Entity& entity) { return entity.depth <= top.depth; });
  std::vector<Entity> subtree(first, last);
  const auto rebase = [root](std::uint32_t index) {
    return index == kNoEntity ? kNoEntity : index - root;
  };
  for (Entity& entity : subtree) {
    entity.header -= top.header;
    entity.body -= top.header;
    entity.end -= top.header;
    entity.parent = rebase(entity.parent);
    entity.firstChild = rebase(entity.firstChild);
    entity.nextSibling = rebase(entity.nextSibling);
    entity.depth = static_cast<std::uint16_t>(entity.depth - top.depth);
  }
  subtree.front().parent = kNoEntity;
  subtree.front().nextSibling = kNoEntity;
  subtree.front().inDigest = false;
  return subtree;
}

}  // namespace brennox::mime
