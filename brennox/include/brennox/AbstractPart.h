// A node of a message's part tree, however its content is reached (parsed bytes or an IMAP server).
#pragma once

#include <brennox/Object.h>
#include <brennox/Ref.h>
#include <brennox/String.h>

namespace brennox {

class Array;
class MessageHeader;

enum class PartType {
  Single,                // a leaf
  Message,               // message/rfc822
  MultipartMixed,        // any multipart that is not one of the following
  MultipartRelated,      // RFC 2387
  MultipartAlternative,  // RFC 2046 section 5.1.4
  MultipartSigned,       // RFC 1847
};

// Texts are decoded UTF-8, null where absent.
class BRENNOX_EXPORT AbstractPart : public Object {
 public:
  AbstractPart() = default;
  explicit AbstractPart(AbstractPart* other);

  virtual PartType partType() { return partType_; }
  virtual void setPartType(PartType type) { partType_ = type; }

  // Cleaned of path separators and control characters when it comes from a message.
  virtual String* filename() { return filename_.get(); }
  virtual void setFilename(String* filename) { filename_ = filename; }
  // Lower case, without parameters ("text/plain").
  virtual String* mimeType() { return mimeType_.get(); }
  virtual void setMimeType(String* mimeType) { mimeType_ = mimeType; }
  virtual String* charset() { return charset_.get(); }
  virtual void setCharset(String* charset) { charset_ = charset; }
  // Distinguishes the parts of one message; made by the parser.
  virtual String* uniqueID() { return uniqueID_.get(); }
  virtual void setUniqueID(String* uniqueID) { uniqueID_ = uniqueID; }
  // Without angle brackets.
  virtual String* contentID() { return contentID_.get(); }
  virtual void setContentID(String* contentID) { contentID_ = contentID; }
  virtual String* contentLocation() { return contentLocation_.get(); }
  virtual void setContentLocation(String* location) { contentLocation_ = location; }
  virtual String* contentDescription() { return contentDescription_.get(); }
  virtual void setContentDescription(String* text) { contentDescription_ = text; }

  // The Content-Disposition as given (RFC 2183); both false when absent.
  virtual bool isInlineAttachment() { return inline_; }
  virtual void setInlineAttachment(bool isInline) { inline_ = isInline; }
  virtual bool isAttachment() { return attachment_; }
  virtual void setAttachment(bool isAttachment) { attachment_ = isAttachment; }

  // The children of a multipart (array of AbstractPart), the root first child of message/rfc822,
  // the header of message/rfc822; null where the part type has none.
  virtual Array* parts() { return nullptr; }
  virtual AbstractPart* mainPart() { return nullptr; }
  virtual MessageHeader* header() { return nullptr; }

  String* description() override;

 protected:
  const char* className() const override { return "AbstractPart"; }

 private:
  PartType partType_ = PartType::Single;
  bool inline_ = false;
  bool attachment_ = false;
  Ref<String> filename_;
  Ref<String> mimeType_;
  Ref<String> charset_;
  Ref<String> uniqueID_;
  Ref<String> contentID_;
  Ref<String> contentLocation_;
  Ref<String> contentDescription_;
};

}  // namespace brennox
