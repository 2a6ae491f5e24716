// Messages inside messages are handled with a stack of our own: how deep they nest is up to the
// sender.
#include "html/render.h"

#include <brennox/AbstractPart.h>
#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/Data.h>
#include <brennox/HTMLRendererCallback.h>
#include <brennox/MessageHeader.h>
#include <brennox/Ref.h>
#include <brennox/String.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <unordered_map>
#include <utility>

#include "core/TextBuffer.h"
#include "html/escape.h"
#include "html/image_type.h"
#include "html/plain_text.h"
#include "html/sanitizer.h"
#include "html/templates.h"
#include "html/text_to_html.h"
#include "html/url.h"
#include "mime/classify.h"
#include "rfc822/date.h"
#include "text/ascii.h"

namespace brennox::html {

ContentSource::~ContentSource() = default;

std::optional<std::uint64_t> ContentSource::sizeOf(AbstractPart* /*part*/) {
  return std::nullopt;
}

void ContentSource::prefetch(const std::vector<AbstractPart*>& /*parts*/) {}

const mime::Sorting* ContentSource::sortingOf(AbstractPart* /*root*/) {
  return nullptr;
}

namespace {

// Messages inside messages that are shown; deeper ones are listed as attachments.
constexpr std::size_t kMaxEmbedded = 16;
// And beside each other: a digest of more is listed from there on.
constexpr std::size_t kMaxEmbeddedInAll = 1000;
// Pictures may be referred to many times. All copies together come to no more than this, or to
// twice the pictures themselves.
constexpr std::size_t kPictureFloor = std::size_t{8} << 20;
// Addresses of one header field that are shown.
constexpr unsigned kMaxAddresses = 1000;

bool isHtml(AbstractPart* part) {
  return textOf(part->mimeType()) == "text/html";
}

bool isBlank(std::string_view text) {
  while (!text.empty()) {
    if (text::isSpace(text[0]) || text[0] == '\f') {
      text.remove_prefix(1);
    } else if (text.substr(0, 2) == "\xC2\xA0") {
      text.remove_prefix(2);
    } else if (text.substr(0, 3) == "\xEF\xBB\xBF") {
      text.remove_prefix(3);
    } else {
      return false;
    }
  }
  return true;
}

std::string line(String* text) {
  return cleanedLine(textOf(text));
}

std::string addressText(Address* address) {
  return address == nullptr ? std::string() : line(address->nonEncodedRFC822String());
}

std::string addressesText(Array* addresses) {
  std::string text;
  const unsigned count = addresses == nullptr ? 0 : addresses->count();
  for (unsigned i = 0; i < count; ++i) {
    if (!text.empty()) {
      text += ", ";
    }
    if (i == kMaxAddresses) {
      text += "\xE2\x80\xA6";
      break;
    }
    text += addressText(addresses->at<Address>(i));
  }
  return text;
}

std::string dateText(MessageHeader* header) {
  const std::time_t date = header->date();
  return date == -1 ? std::string() : rfc822::formatDate(date);
}

// "812 bytes", "1.4 KB", "25 MB".
std::string sizeText(std::optional<std::uint64_t> size) {
  if (!size) {
    return {};
  }
  if (*size < 1024) {
    return std::to_string(*size) + (*size == 1 ? " byte" : " bytes");
  }
  std::uint64_t tenths = *size * 10 / 1024;
  const char* unit = " KB";
  for (const char* const larger : {" MB", " GB"}) {
    if (tenths < 10240) {
      break;
    }
    tenths /= 1024;
    unit = larger;
  }
  std::string text = std::to_string(tenths / 10);
  if (tenths < 100 && tenths % 10 != 0) {
    text += '.' + std::to_string(tenths % 10);
  }
  return text + unit;
}

std::string nameOf(AbstractPart* part) {
  std::string name = line(part->filename());
  if (name.empty() && part->partType() == PartType::Message && part->header() != nullptr) {
    name = line(part->header()->subject());
  }
  if (name.empty()) {
    name = line(part->contentDescription());
  }
  return name.empty() ? line(part->mimeType()) : name;
}

std::optional<std::uint64_t> sizeOf(AbstractPart* part, ContentSource& source) {
  if (const std::optional<std::uint64_t> size = source.sizeOf(part)) {
    return size;
  }
  const AutoreleasePool pool;
  Data* const content = source.contentOf(part);
  return content == nullptr ? std::nullopt : std::optional<std::uint64_t>(content->length());
}

// Only what may become a picture is fetched for its bytes.
bool mayBePicture(AbstractPart* part) {
  const std::string_view type = textOf(part->mimeType());
  return part->partType() == PartType::Single && type.substr(0, 6) == "image/" &&
         type.substr(0, 9) != "image/svg";
}

// The parts of one message in their places, with the texts of its bodies.
class Message {
 public:
  Message(AbstractPart* root, ContentSource& source, bool forHtml)
      : source_(source), sorting_(source.sortingOf(root)) {
    if (sorting_ != nullptr) {
      source.prefetch(bodyParts(*sorting_, forHtml));
      return;
    }
    ownSorting_ = mime::sortParts(root);
    sorting_ = &ownSorting_;
    source.prefetch(bodyParts(ownSorting_, forHtml));
    if (mime::needsCidReferences(ownSorting_)) {
      mime::CidReferences references;
      for (const mime::Body& body : ownSorting_.bodies) {
        for (AbstractPart* part : body.html) {
          if (isHtml(part)) {
            mime::collectCidReferences(textOfPart(part), references);
          }
        }
      }
      ownSorting_ = mime::sortParts(root, &references);
    }
  }
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  const mime::Sorting& sorting() const { return *sorting_; }

  // Decoded once, kept as long as the message.
  std::string_view textOfPart(AbstractPart* part) {
    const auto found = texts_.find(part);
    if (found != texts_.end()) {
      return textOf(found->second.get());
    }
    const AutoreleasePool pool;
    const Ref<String> text = source_.textOf(part);
    return textOf(texts_.emplace(part, text).first->second.get());
  }

  ContentSource& source() const { return source_; }

 private:
  static std::vector<AbstractPart*> bodyParts(const mime::Sorting& sorting, bool forHtml) {
    std::vector<AbstractPart*> parts;
    for (const mime::Body& body : sorting.bodies) {
      const std::vector<AbstractPart*>& wanted = forHtml ? body.html : body.plain;
      parts.insert(parts.end(), wanted.begin(), wanted.end());
    }
    return parts;
  }

  ContentSource& source_;
  mime::Sorting ownSorting_;
  const mime::Sorting* sorting_;
  std::unordered_map<AbstractPart*, Ref<String>> texts_;
};

// Finds the pictures of one message by Content-ID and Content-Location.
class Pictures {
 public:
  Pictures(const mime::Sorting& sorting, ContentSource& source) : source_(source) {
    for (const auto* const parts : {&sorting.inlined, &sorting.attachments}) {
      for (AbstractPart* part : *parts) {
        if (part->partType() != PartType::Single) {
          continue;
        }
        if (!textOf(part->contentID()).empty()) {
          parts_.emplace("cid:" + std::string(part->contentID()->view()), part);
        }
        if (!textOf(part->contentLocation()).empty()) {
          parts_.emplace(trimmedUrl(part->contentLocation()->view()), part);
        }
      }
    }
  }

  // The data: URI for an address in the HTML; "" when there is none.
  std::string at(std::string_view address) {
    const bool isCid = text::startsWithIgnoringCase(address, "cid:");
    const auto found =
        parts_.find(isCid ? "cid:" + percentDecoded(address.substr(4)) : std::string(address));
    if (found == parts_.end()) {
      return {};
    }
    const std::string& uri = uriOf(found->second);
    if (written_ + uri.size() > kPictureFloor + 2 * distinct_) {
      return {};
    }
    written_ += uri.size();
    return uri;
  }

 private:
  const std::string& uriOf(AbstractPart* part) {
    const auto known = uris_.find(part);
    if (known != uris_.end()) {
      return known->second;
    }
    const AutoreleasePool pool;
    Data* const content = source_.contentOf(part);
    std::string uri = content == nullptr ? std::string() : dataUriOf(content->view());
    distinct_ += uri.size();
    return uris_.emplace(part, std::move(uri)).first->second;
  }

  ContentSource& source_;
  std::unordered_map<std::string, AbstractPart*> parts_;
  std::unordered_map<AbstractPart*, std::string> uris_;
  std::size_t distinct_ = 0;
  std::size_t written_ = 0;
};

// Different for every part of a rendering, and as good as different for parts of different
// messages, so that style sheets reach nothing but their own part.
std::string scopeFor(std::string_view html, std::size_t number) {
  std::uint64_t hash = 14695981039346656037U ^ html.size();
  for (std::size_t at = 0; at < html.size(); at += sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    std::memcpy(&word, html.data() + at, std::min(sizeof word, html.size() - at));
    hash = (hash ^ word) * 1099511628211U;
    hash ^= hash >> 32;
  }
  std::string scope = "bx-";
  for (int i = 0; i < 8; ++i) {
    scope += "abcdefghijklmnopqrstuvwxyz234567"[hash >> (5 * i + 20) & 31];
  }
  return scope + std::to_string(number);
}

// All renderings as HTML.
class HtmlRenderer {
 public:
  HtmlRenderer(ContentSource& source, HTMLRendererTemplateCallback* templates)
      : source_(source), templates_(templates == nullptr ? &defaults_ : templates) {}

  void appendBodies(Message& message, TextBuffer& out) {
    Pictures pictures(message.sorting(), source_);
    for (const mime::Body& body : message.sorting().bodies) {
      for (AbstractPart* part : body.html) {
        const std::string_view text = message.textOfPart(part);
        if (isBlank(text)) {
          continue;
        }
        if (isHtml(part)) {
          out += fromHtml(text, pictures);
        } else {
          appendAsHtml(text, out);
        }
      }
    }
  }

  std::string message(MessageHeader* header, AbstractPart* root) {
    std::vector<Frame> frames;
    frames.push_back(openMessage(root, nullptr, 0));
    frames.back().header = mainHeader(header);
    while (true) {
      Frame& frame = frames.back();
      if (frame.next < frame.embedded.size()) {
        AbstractPart* const part = frame.embedded[frame.next++];
        Frame inner = openMessage(part->mainPart(), part, frames.size());
        if (part->header() != nullptr) {
          inner.header = filled(templates_->templateForEmbeddedMessageHeader(part->header()),
                                headerValues(part->header()));
        }
        frames.push_back(std::move(inner));
        continue;
      }
      const std::string finished = closeMessage(frame);
      frames.pop_back();
      if (frames.empty()) {
        return finished;
      }
      frames.back().inner += finished;
    }
  }

 private:
  // A message that is being put together.
  struct Frame {
    AbstractPart* part = nullptr;  // null for the outermost
    std::string header;
    std::string body;
    std::string pictures;
    std::string rows;
    std::vector<AbstractPart*> embedded;
    std::size_t next = 0;
    std::string inner;
  };

  std::string fromHtml(std::string_view text, Pictures& pictures) {
    SanitizerOptions options;
    options.scope = scopeFor(text, ++parts_);
    options.pictureAt = [&](std::string_view address) { return pictures.at(address); };
    return sanitizedHtml(text, options);
  }

  std::string filled(String* text, const std::vector<TemplateValue>& values) const {
    return fillTemplate(textOf(text), values);
  }

  static std::vector<TemplateValue> headerValues(MessageHeader* header) {
    const std::string from = addressText(header->from());
    const std::string sender = addressText(header->sender());
    const std::string replyTo = addressesText(header->replyTo());
    return {{"SUBJECT", line(header->subject())},
            {"FROM", from},
            {"SENDER", sender == from ? std::string() : sender},
            {"REPLYTO", replyTo == from ? std::string() : replyTo},
            {"TO", addressesText(header->to())},
            {"CC", addressesText(header->cc())},
            {"BCC", addressesText(header->bcc())},
            {"DATE", dateText(header)}};
  }

  std::string mainHeader(MessageHeader* header) const {
    return header == nullptr
               ? std::string()
               : filled(templates_->templateForMainHeader(header), headerValues(header));
  }

  std::vector<TemplateValue> attachmentValues(AbstractPart* part,
                                              std::optional<std::uint64_t> size) const {
    return {{"FILENAME", nameOf(part)},
            {"SIZE", sizeText(size)},
            {"MIMETYPE", line(part->mimeType())},
            {"CONTENTID", line(part->contentID())}};
  }

  // `depth` is how many messages it is inside of.
  Frame openMessage(AbstractPart* root, AbstractPart* part, std::size_t depth) {
    Frame frame;
    frame.part = part;
    Message message(root, source_, true);
    TextBuffer body;
    appendBodies(message, body);
    frame.body = body.view();
    std::vector<AbstractPart*> pictures;
    for (AbstractPart* attachment : message.sorting().attachments) {
      if (mayBePicture(attachment)) {
        pictures.push_back(attachment);
      }
    }
    source_.prefetch(pictures);
    for (AbstractPart* attachment : message.sorting().attachments) {
      if (attachment->partType() == PartType::Message && attachment->mainPart() != nullptr &&
          depth < kMaxEmbedded && embedded_ < kMaxEmbeddedInAll) {
        ++embedded_;
        frame.embedded.push_back(attachment);
      } else if (!mayBePicture(attachment) || !picture(attachment, frame)) {
        row(attachment, frame);
      }
    }
    return frame;
  }

  bool picture(AbstractPart* part, Frame& frame) {
    const AutoreleasePool pool;
    Data* const content = source_.contentOf(part);
    const std::string uri = content == nullptr ? std::string() : dataUriOf(content->view());
    if (uri.empty()) {
      return false;
    }
    std::vector<TemplateValue> values = attachmentValues(part, content->length());
    values.push_back({"URL", uri});
    frame.pictures += filled(templates_->templateForImage(part), values);
    return true;
  }

  void row(AbstractPart* part, Frame& frame) {
    const AutoreleasePool pool;
    String* const text = templates_->templateForAttachment(part);
    if (!textOf(text).empty()) {
      frame.rows += filled(text, attachmentValues(part, sizeOf(part, source_)));
    }
  }

  std::string closeMessage(Frame& frame) {
    const AutoreleasePool pool;
    std::string attachments = std::move(frame.pictures);
    if (!frame.rows.empty()) {
      attachments += filled(templates_->templateForAttachmentSeparator(), {});
      attachments += frame.rows;
    }
    attachments += frame.inner;
    if (frame.header.empty() && frame.body.empty() && attachments.empty()) {
      return {};
    }
    String* const text = frame.part == nullptr ? templates_->templateForMessage()
                                               : templates_->templateForEmbeddedMessage(frame.part);
    return filled(text, {{"HEADER", std::move(frame.header), true},
                         {"BODY", std::move(frame.body), true},
                         {"ATTACHMENTS", std::move(attachments), true}});
  }

  ContentSource& source_;
  HTMLRendererTemplateCallback defaults_;
  HTMLRendererTemplateCallback* templates_;
  // Parts rendered so far, in the whole rendering.
  std::size_t parts_ = 0;
  std::size_t embedded_ = 0;
};

// Without the empty lines at the end.
std::string_view withoutTrailingLines(std::string_view text) {
  while (true) {
    const std::size_t newline = text.rfind('\n');
    if (newline == std::string_view::npos || !isBlank(text.substr(newline))) {
      break;
    }
    text = text.substr(0, newline);
  }
  return isBlank(text) ? std::string_view() : text;
}

void appendPlainBodies(Message& message, TextBuffer& out) {
  for (const mime::Body& body : message.sorting().bodies) {
    bool isEmpty = true;
    for (AbstractPart* part : body.plain) {
      isEmpty = isEmpty && isBlank(message.textOfPart(part));
    }
    for (AbstractPart* part : isEmpty ? body.html : body.plain) {
      const std::string_view text = message.textOfPart(part);
      const std::size_t before = out.size();
      out += before == 0 ? "" : "\n\n";
      const std::size_t begin = out.size();
      if (isHtml(part)) {
        out += htmlToText(text);
      } else {
        appendCleanedText(text, out);
        out.truncate(begin + withoutTrailingLines(out.view().substr(begin)).size());
      }
      if (out.size() == begin) {
        out.truncate(before);
      }
    }
  }
}

std::string plainHeader(MessageHeader* header) {
  std::string out;
  if (header == nullptr) {
    return out;
  }
  const auto add = [&](std::string_view name, const std::string& value) {
    if (!value.empty()) {
      out += name;
      out += ": " + value + '\n';
    }
  };
  add("From", addressText(header->from()));
  add("To", addressesText(header->to()));
  add("Cc", addressesText(header->cc()));
  add("Subject", line(header->subject()));
  add("Date", dateText(header));
  return out;
}

std::string collapsed(std::string_view text) {
  std::string out;
  bool isSpace = false;
  while (!text.empty()) {
    const bool isNoBreakSpace = text.substr(0, 2) == "\xC2\xA0";
    if (isNoBreakSpace || text::isSpace(text[0])) {
      isSpace = !out.empty();
    } else {
      if (isSpace) {
        out += ' ';
      }
      isSpace = false;
      out += text[0];
    }
    text.remove_prefix(isNoBreakSpace ? 2 : 1);
  }
  return out;
}

String* stringOf(std::string text) {
  return makeAutoreleased<String>(std::move(text));
}

}  // namespace

String* htmlRendering(MessageHeader* header, AbstractPart* mainPart, ContentSource& source,
                      HTMLRendererTemplateCallback* templates) {
  return stringOf(HtmlRenderer(source, templates).message(header, mainPart));
}

String* htmlBodyRendering(AbstractPart* mainPart, ContentSource& source) {
  Message message(mainPart, source, true);
  TextBuffer html;
  HtmlRenderer(source, nullptr).appendBodies(message, html);
  return html.string();
}

String* plainTextRendering(MessageHeader* header, AbstractPart* mainPart, ContentSource& source) {
  Message message(mainPart, source, false);
  TextBuffer text;
  text += plainHeader(header);
  TextBuffer body;
  appendPlainBodies(message, body);
  std::string embedded;
  for (AbstractPart* part : message.sorting().attachments) {
    if (part->partType() != PartType::Message) {
      continue;
    }
    const std::string size = sizeText(sizeOf(part, source));
    embedded += embedded.empty() ? "" : "\n";
    embedded += "[" + nameOf(part) + (size.empty() ? "" : ", " + size) + "]";
  }
  if (!text.empty() && !(body.empty() && embedded.empty())) {
    text += '\n';
  }
  text += body.view();
  if (!embedded.empty()) {
    text += body.empty() ? "" : "\n\n";
    text += embedded;
  }
  while (!text.empty() && text.view().back() == '\n') {
    text.truncate(text.size() - 1);
  }
  return text.string();
}

String* plainTextBodyRendering(AbstractPart* mainPart, ContentSource& source,
                               bool stripWhitespace) {
  Message message(mainPart, source, false);
  TextBuffer text;
  appendPlainBodies(message, text);
  return stripWhitespace ? stringOf(collapsed(text.view())) : text.string();
}

}  // namespace brennox::html
