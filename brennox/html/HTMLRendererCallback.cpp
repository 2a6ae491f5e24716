// The default hooks hand out the default templates.
#include <brennox/HTMLRendererCallback.h>
#include <brennox/String.h>

#include "html/templates.h"

namespace brennox {

HTMLRendererTemplateCallback::~HTMLRendererTemplateCallback() = default;

String* HTMLRendererTemplateCallback::templateForMainHeader(MessageHeader* /*header*/) {
  return String::uniquedStringWithText(html::kHeaderTemplate);
}

String* HTMLRendererTemplateCallback::templateForImage(AbstractPart* /*part*/) {
  return String::uniquedStringWithText(html::kImageTemplate);
}

String* HTMLRendererTemplateCallback::templateForAttachment(AbstractPart* /*part*/) {
  return String::uniquedStringWithText(html::kAttachmentTemplate);
}

String* HTMLRendererTemplateCallback::templateForMessage() {
  return String::uniquedStringWithText(html::kMessageTemplate);
}

String* HTMLRendererTemplateCallback::templateForEmbeddedMessage(AbstractPart* /*part*/) {
  return String::uniquedStringWithText(html::kEmbeddedMessageTemplate);
}

String* HTMLRendererTemplateCallback::templateForEmbeddedMessageHeader(MessageHeader* /*header*/) {
  return String::uniquedStringWithText(html::kHeaderTemplate);
}

String* HTMLRendererTemplateCallback::templateForAttachmentSeparator() {
  return String::uniquedStringWithText(html::kAttachmentSeparatorTemplate);
}

}  // namespace brennox
