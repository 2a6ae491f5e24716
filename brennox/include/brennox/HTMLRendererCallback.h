// Hooks of the renderings.
#pragma once

#include <brennox/Export.h>
#include <brennox/Object.h>

namespace brennox {

class AbstractPart;
class Data;
class IMAPPart;
class MessageHeader;
class String;

// The templates of HtmlRendering, in the order in which they are listed here. A template is
// mustache text ({{NAME}} escaped, {{#NAME}}...{{/NAME}} blocks); an empty one renders as nothing.
// The defaults and the names that each template may use are documented with them in html/templates.
class BRENNOX_EXPORT HTMLRendererTemplateCallback {
 public:
  virtual ~HTMLRendererTemplateCallback();
  virtual String* templateForMainHeader(MessageHeader* header);
  virtual String* templateForImage(AbstractPart* part);
  virtual String* templateForAttachment(AbstractPart* part);
  virtual String* templateForMessage();
  virtual String* templateForEmbeddedMessage(AbstractPart* part);
  virtual String* templateForEmbeddedMessageHeader(MessageHeader* header);
  virtual String* templateForAttachmentSeparator();
};

// Where the rendering of an IMAP message gets its parts from. The default implementation fetches
// through the session that fetched the message, and gives null without one.
class BRENNOX_EXPORT HTMLRendererIMAPCallback : public Object {
 public:
  // The decoded content of a part; null when it cannot be had.
  virtual Data* dataForIMAPPart(String* folder, IMAPPart* part);
  // Told in advance which parts a rendering will need.
  virtual void prefetchAttachmentIMAPPart(String* folder, IMAPPart* part);
  virtual void prefetchImageIMAPPart(String* folder, IMAPPart* part);
};

}  // namespace brennox
