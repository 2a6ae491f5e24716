// The mustache engine is a library; this is the one file that sees it. All escaping is done before
// the engine gets the values, so that no spelling of a tag can put a foreign value in unescaped.
#include "html/templates.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "html/escape.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"
#include <kainjow/mustache.hpp>
#pragma GCC diagnostic pop

namespace brennox::html {

namespace {

// Styles stand in the elements: a rendering is often shown where style sheets do not reach.
#define BRENNOX_FONT "font-family:system-ui,-apple-system,'Segoe UI',Roboto,Arial,sans-serif;"

#define BRENNOX_ROW(NAME, LABEL)                                                            \
  "{{#" NAME                                                                                \
  "}}<tr><td style=\"padding:1px 12px 1px 0;color:#656d76;vertical-align:top;"              \
  "white-space:nowrap\">" LABEL                                                             \
  "</td><td style=\"padding:1px 0;vertical-align:top;overflow-wrap:anywhere\"><bdi>{{" NAME \
  "}}</bdi></td></tr>{{/" NAME "}}"

}  // namespace

const std::string_view kHeaderTemplate =
    "<div style=\"margin:0 0 16px;padding:0 0 12px;border-bottom:1px solid #d0d7de;" BRENNOX_FONT
    "font-size:14px;line-height:1.45;color:#1f2328\">"
    "{{#SUBJECT}}<div style=\"margin:0 0 8px;font-size:20px;line-height:1.3;font-weight:600;"
    "overflow-wrap:anywhere\"><bdi>{{SUBJECT}}</bdi></div>{{/SUBJECT}}"
    "<table style=\"border-collapse:collapse;font-size:inherit;line-height:inherit;color:inherit\">"
    "<tbody>" BRENNOX_ROW("FROM", "From") BRENNOX_ROW("SENDER", "Sender")
        BRENNOX_ROW("REPLYTO", "Reply to") BRENNOX_ROW("TO", "To") BRENNOX_ROW("CC", "Cc")
            BRENNOX_ROW("BCC", "Bcc") BRENNOX_ROW("DATE", "Date") "</tbody></table></div>";

const std::string_view kImageTemplate =
    "<div style=\"margin:16px 0;" BRENNOX_FONT
    "font-size:13px;color:#656d76\">"
    "<img src=\"{{URL}}\" alt=\"{{FILENAME}}\" style=\"max-width:100%;height:auto\">"
    "{{#FILENAME}}<div style=\"margin:4px 0 0;overflow-wrap:anywhere\"><bdi>{{FILENAME}}</bdi>"
    "{{#SIZE}} ({{SIZE}}){{/SIZE}}</div>{{/FILENAME}}</div>";

const std::string_view kAttachmentTemplate =
    "<div style=\"margin:0 0 6px;padding:6px 10px;border:1px solid "
    "#d0d7de;border-radius:6px;" BRENNOX_FONT
    "font-size:14px;line-height:1.45;color:#1f2328;overflow-wrap:anywhere\">"
    "<bdi>{{FILENAME}}</bdi>{{#SIZE}} <span "
    "style=\"color:#656d76\">({{SIZE}})</span>{{/SIZE}}</div>";

const std::string_view kMessageTemplate =
    "<div style=\"" BRENNOX_FONT "\">{{HEADER}}{{BODY}}{{ATTACHMENTS}}</div>";

const std::string_view kEmbeddedMessageTemplate =
    "<div style=\"margin:16px 0;padding:12px 16px;border:1px solid #d0d7de;border-radius:6px\">"
    "{{HEADER}}{{BODY}}{{ATTACHMENTS}}</div>";

const std::string_view kAttachmentSeparatorTemplate =
    "<hr style=\"margin:20px 0 16px;border:0;border-top:1px solid #d0d7de\">";

#undef BRENNOX_ROW
#undef BRENNOX_FONT

namespace {

// Partials would read a foreign value as a template, and other delimiters could hide one.
bool usesForbiddenTags(std::string_view text) {
  for (std::size_t at = text.find("{{"); at != std::string_view::npos;
       at = text.find("{{", at + 1)) {
    const std::size_t sign = text.find_first_not_of(" \t\r\n{", at);
    if (sign != std::string_view::npos && (text[sign] == '>' || text[sign] == '=')) {
      return true;
    }
  }
  return false;
}

// Taking a template apart costs more than filling it, and a rendering has few templates for many
// parts: the last ones of a thread are kept.
constexpr std::size_t kMaxKeptTemplates = 8;

struct Compiled {
  std::string text;
  std::unique_ptr<kainjow::mustache::mustache> filled;  // null: cannot be used
};

kainjow::mustache::mustache* compiled(std::string_view text) {
  thread_local std::vector<Compiled> kept;
  const auto known = std::find_if(kept.begin(), kept.end(), [text](const Compiled& candidate) {
    return candidate.text == text;
  });
  if (known != kept.end()) {
    return known->filled.get();
  }
  Compiled made{std::string(text), nullptr};
  if (!usesForbiddenTags(text)) {
    made.filled = std::make_unique<kainjow::mustache::mustache>(made.text);
    made.filled->set_custom_escape([](const std::string& value) { return value; });
    if (!made.filled->is_valid()) {
      made.filled.reset();
    }
  }
  if (kept.size() == kMaxKeptTemplates) {
    kept.erase(kept.begin());
  }
  kept.push_back(std::move(made));
  return kept.back().filled.get();
}

}  // namespace

std::string fillTemplate(std::string_view text, const std::vector<TemplateValue>& values) {
  kainjow::mustache::mustache* const filled = text.empty() ? nullptr : compiled(text);
  if (filled == nullptr) {
    return {};
  }
  // A block shows when its name is there at all, so empty values are left out.
  kainjow::mustache::data data;
  for (const TemplateValue& value : values) {
    if (!value.text.empty()) {
      data.set(std::string(value.name), value.isMarkup ? value.text : escaped(value.text));
    }
  }
  return filled->render(data);
}

}  // namespace brennox::html
