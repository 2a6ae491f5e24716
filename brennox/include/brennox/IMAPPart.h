// A node of the structure that an IMAP server describes (RFC 9051 section 7.5.2, BODYSTRUCTURE).
#pragma once

#include <brennox/AbstractPart.h>
#include <brennox/Array.h>

#include <cstdint>

namespace brennox {

// A leaf, a multipart or a message/rfc822, as partType() says.
class BRENNOX_EXPORT IMAPPart : public AbstractPart {
 public:
  IMAPPart();
  explicit IMAPPart(IMAPPart* other);
  ~IMAPPart() override;

  // The section number for FETCH ("1.2").
  virtual String* partID() { return partID_.get(); }
  virtual void setPartID(String* partID) { partID_ = partID; }
  // In encoded bytes.
  virtual std::uint32_t size() { return size_; }
  virtual void setSize(std::uint32_t size) { size_ = size; }
  // Content-Transfer-Encoding in lower case ("base64"); null reads as 7bit.
  virtual String* encoding() { return encoding_.get(); }
  virtual void setEncoding(String* encoding) { encoding_ = encoding; }

  // format=flowed and its DelSp=yes (RFC 3676), of text/plain.
  virtual bool isFlowed() { return flowed_; }
  virtual bool deletesFlowedSpaces() { return deletesFlowedSpaces_; }
  virtual void setFlowed(bool flowed, bool deletesSpaces) {
    flowed_ = flowed;
    deletesFlowedSpaces_ = deletesSpaces;
  }

  Array* parts() override { return parts_.get(); }
  virtual void setParts(Array* parts) { parts_ = parts; }
  AbstractPart* mainPart() override { return mainPart_.get(); }
  virtual void setMainPart(IMAPPart* part) { mainPart_ = part; }
  MessageHeader* header() override;
  virtual void setHeader(MessageHeader* header);

  Object* copy() override;

 protected:
  const char* className() const override { return "IMAPPart"; }

 private:
  Ref<String> partID_;
  Ref<String> encoding_;
  Ref<Array> parts_;
  Ref<IMAPPart> mainPart_;
  Ref<Object> header_;
  std::uint32_t size_ = 0;
  bool flowed_ = false;
  bool deletesFlowedSpaces_ = false;
};

}  // namespace brennox
