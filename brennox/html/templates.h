// The default templates of htmlRendering and how a template is filled.
//
// A template is mustache text: {{NAME}} puts a value in, escaped for HTML text and quoted
// attributes;
// {{{NAME}}} puts it in as it is; {{#NAME}}...{{/NAME}} shows the block when the value is not
// empty. Values that are markup already (HEADER, BODY, ATTACHMENTS, SEPARATOR) are safe to put in
// unescaped; every other value is foreign text, and {{{...}}} escapes it all the same.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace brennox::html {

// Main and embedded header. Names: SUBJECT, FROM, SENDER (only when it is not the author), TO, CC,
// BCC, REPLYTO, DATE.
extern const std::string_view kHeaderTemplate;
// An attached picture. Names: URL (a data: URI), FILENAME, SIZE, CONTENTID.
extern const std::string_view kImageTemplate;
// An attachment. Names: FILENAME, SIZE, MIMETYPE, CONTENTID.
extern const std::string_view kAttachmentTemplate;
// The whole. Names: HEADER, BODY, ATTACHMENTS (pictures, then separator and attachment rows, then
// embedded messages, in that order).
extern const std::string_view kMessageTemplate;
// A message inside the message; the same names as the whole.
extern const std::string_view kEmbeddedMessageTemplate;
// Stands between the body and what is attached. No names.
extern const std::string_view kAttachmentSeparatorTemplate;

struct TemplateValue {
  std::string_view name;
  std::string text;
  bool isMarkup = false;
};

// An empty template, and one that is not well formed, fills to nothing.
std::string fillTemplate(std::string_view text, const std::vector<TemplateValue>& values);

}  // namespace brennox::html
