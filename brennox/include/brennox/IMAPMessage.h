// One message as an IMAP server describes it.
#pragma once

#include <brennox/Flags.h>
#include <brennox/Object.h>
#include <brennox/Ref.h>

#include <cstdint>

namespace brennox {

namespace imap {
class MessageDetails;
class MessageList;
}  // namespace imap

class Array;
class HTMLRendererIMAPCallback;
class HTMLRendererTemplateCallback;
class IMAPPart;
class IMAPSession;
class MessageHeader;
class String;

// A snapshot. It remembers the session that fetched it (by reference), so that a rendering can
// fetch the parts it needs.
class BRENNOX_EXPORT IMAPMessage : public Object {
 public:
  IMAPMessage();
  explicit IMAPMessage(IMAPMessage* other);
  ~IMAPMessage() override;

  virtual std::uint32_t sequenceNumber() { return sequenceNumber_; }
  virtual void setSequenceNumber(std::uint32_t value) { sequenceNumber_ = value; }
  virtual std::uint32_t uid() { return uid_; }
  virtual void setUid(std::uint32_t value) { uid_ = value; }
  // In bytes, as RFC822.SIZE says.
  virtual std::uint32_t size() { return size_; }
  virtual void setSize(std::uint32_t value) { size_ = value; }
  virtual MessageFlag flags() { return flags_; }
  virtual void setFlags(MessageFlag flags) { flags_ = flags; }
  // As fetched.
  virtual MessageFlag originalFlags() { return originalFlags_; }
  virtual void setOriginalFlags(MessageFlag flags) { originalFlags_ = flags; }
  virtual std::uint64_t modSeqValue() { return modSeqValue_; }
  virtual void setModSeqValue(std::uint64_t value) { modSeqValue_ = value; }

  // Null when not asked for.
  virtual MessageHeader* header();
  virtual void setHeader(MessageHeader* header);
  virtual IMAPPart* mainPart();
  virtual void setMainPart(IMAPPart* part);
  virtual IMAPSession* session();
  virtual void setSession(IMAPSession* session);

  // Sanitised HTML in UTF-8; see html/render.h. A null callback behaves like the default one.
  virtual String* htmlRendering(String* folder, HTMLRendererIMAPCallback* callback,
                                HTMLRendererTemplateCallback* templates);

  String* description() override;
  Object* copy() override;

 protected:
  const char* className() const override { return "IMAPMessage"; }

 private:
  friend class imap::MessageList;
  // Takes the server's words, which are read when the header or the parts are asked for. `listing`
  // has them, and the session.
  void setFetched(imap::MessageDetails* listing, std::uint32_t offset, bool header, bool structure);
  // Those of this message alone.
  imap::MessageDetails& own();

  std::uint32_t sequenceNumber_ = 0;
  std::uint32_t uid_ = 0;
  std::uint32_t size_ = 0;
  MessageFlag flags_ = MessageFlagNone;
  MessageFlag originalFlags_ = MessageFlagNone;
  // Where this message's words are in the text of the details.
  std::uint32_t textOffset_ = 0;
  std::uint64_t modSeqValue_ = 0;
  // Null while there are none.
  Ref<imap::MessageDetails> details_;
};

}  // namespace brennox
