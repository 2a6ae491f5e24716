// The renderings of a message: safe HTML and readable plain text, in UTF-8.
//
// What each contains:
// - htmlRendering: header block, bodies, attached pictures, embedded messages with header blocks of
//   their own, and rows for the attachments, each through its template.
// - htmlBodyRendering: the bodies alone as an HTML fragment, pictures that they refer to in place.
// - plainTextRendering: header block, an empty line, the body text, a line for each forwarded
// message.
// - plainTextBodyRendering: the text of the bodies alone, as a person would have typed it.
//
// Bodies are HTML where the message has it (for the plain forms: text where it has that and it is
// not blank). Every part is parsed, cleaned and closed on its own inside an element of its own. No
// rendering runs script, asks a server for anything or reaches out of its element; none holds
// control characters other than tab and line feed.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "mime/classify.h"

namespace brennox {

class AbstractPart;
class Data;
class HTMLRendererTemplateCallback;
class MessageHeader;
class String;

namespace html {

// Where a rendering gets the decoded contents of leaf parts from. Every method may be called more
// than once for the same part.
class ContentSource {
 public:
  virtual ~ContentSource();

  // The content with its transfer encoding removed; null when it cannot be had. Borrowed or
  // autoreleased.
  virtual Data* contentOf(AbstractPart* part) = 0;
  // The text of a text part in valid UTF-8: transfer encoding and charset (declared or guessed) decoded,
  // and format=flowed undone, with quote depth written as ">" marks. Null when it cannot be had.
  virtual String* textOf(AbstractPart* part) = 0;
  // The size of the decoded content in bytes, where it is known without fetching or decoding much.
  virtual std::optional<std::uint64_t> sizeOf(AbstractPart* part);
  // Parts that the rendering is about to ask for, bodies first. A source that fetches may use it.
  virtual void prefetch(const std::vector<AbstractPart*>& parts);
  // The parts under `root` in their places, where that is known already; else null.
  virtual const mime::Sorting* sortingOf(AbstractPart* root);
};

// `header` and `mainPart` may be null (a rendering without header block, an empty body);
// `templates` null means the default templates. Results are autoreleased and never null.
String* htmlRendering(MessageHeader* header, AbstractPart* mainPart, ContentSource& source,
                      HTMLRendererTemplateCallback* templates);
String* htmlBodyRendering(AbstractPart* mainPart, ContentSource& source);
String* plainTextRendering(MessageHeader* header, AbstractPart* mainPart, ContentSource& source);
// With `stripWhitespace` runs of white space become one blank.
String* plainTextBodyRendering(AbstractPart* mainPart, ContentSource& source, bool stripWhitespace);

}  // namespace html
}  // namespace brennox
