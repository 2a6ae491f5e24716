// The templates of MessageParser.HtmlRendering: the default ones without the list of attachments.
#pragma once

#include <brennox/HTMLRendererCallback.h>
#include <brennox/Object.h>

namespace velkor {

class CustomHTMLRendererTemplateCallback final : public brennox::Object,
                                                 public brennox::HTMLRendererTemplateCallback {
 public:
  brennox::String* templateForAttachment(brennox::AbstractPart* part) override;
  brennox::String* templateForAttachmentSeparator() override;
};

}  // namespace velkor
