#include "message/CustomHTMLRendererTemplateCallback.h"

#include <brennox/String.h>

namespace velkor {

brennox::String* CustomHTMLRendererTemplateCallback::templateForAttachment(brennox::AbstractPart*) {
  return brennox::String::uniquedStringWithUTF8Characters("");
}

brennox::String* CustomHTMLRendererTemplateCallback::templateForAttachmentSeparator() {
  return brennox::String::uniquedStringWithUTF8Characters("");
}

}  // namespace velkor
