// What an IMAPMessage holds beside its numbers.
#pragma once

#include <brennox/IMAPPart.h>
#include <brennox/IMAPSession.h>
#include <brennox/MessageHeader.h>
#include <brennox/Object.h>
#include <brennox/Ref.h>

#include "imap/fetched_text.h"

namespace brennox::imap {

// The messages of a listing share one, and so do copies of a message: only a message that holds it
// alone may change it.
class MessageDetails final : public Object {
 public:
  MessageDetails() = default;
  explicit MessageDetails(const MessageDetails* other)
      : session(other->session),
        header(other->header),
        mainPart(other->mainPart),
        text(other->text),
        headerIsInText(other->headerIsInText),
        partsAreInText(other->partsAreInText) {}

  Ref<IMAPSession> session;
  Ref<MessageHeader> header;
  Ref<IMAPPart> mainPart;
  // The server's words, from which header and parts are read when somebody asks for them.
  Ref<FetchedText> text;
  bool headerIsInText = false;
  bool partsAreInText = false;
};

}  // namespace brennox::imap
