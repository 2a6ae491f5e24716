#include <brennox/Data.h>
#include <brennox/HTMLRendererCallback.h>
#include <brennox/IMAPPart.h>
#include <brennox/String.h>

namespace brennox {

Data* HTMLRendererIMAPCallback::dataForIMAPPart(String* /*folder*/, IMAPPart* /*part*/) {
  return nullptr;
}

void HTMLRendererIMAPCallback::prefetchAttachmentIMAPPart(String* /*folder*/, IMAPPart* /*part*/) {}

void HTMLRendererIMAPCallback::prefetchImageIMAPPart(String* /*folder*/, IMAPPart* /*part*/) {}

}  // namespace brennox
