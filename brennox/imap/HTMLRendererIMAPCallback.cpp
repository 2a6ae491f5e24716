// The default way to the parts of a message: through the session that fetched it.
#include <brennox/Data.h>
#include <brennox/HTMLRendererCallback.h>
#include <brennox/IMAPPart.h>
#include <brennox/String.h>

#include "imap/rendering.h"

namespace brennox {

Data* HTMLRendererIMAPCallback::dataForIMAPPart(String* folder, IMAPPart* part) {
  imap::Rendering* const rendering = imap::Rendering::current();
  return rendering == nullptr ? nullptr : rendering->fetch(folder, part);
}

void HTMLRendererIMAPCallback::prefetchAttachmentIMAPPart(String* /*folder*/, IMAPPart* part) {
  if (imap::Rendering* const rendering = imap::Rendering::current()) {
    rendering->want(part);
  }
}

void HTMLRendererIMAPCallback::prefetchImageIMAPPart(String* /*folder*/, IMAPPart* part) {
  if (imap::Rendering* const rendering = imap::Rendering::current()) {
    rendering->want(part);
  }
}

}  // namespace brennox
