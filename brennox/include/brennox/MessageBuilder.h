// Composes a message (RFC 5322, RFC 2045-2049), optionally signed and encrypted (RFC 8551).
#pragma once

#include <brennox/Data.h>
#include <brennox/Object.h>

#include <memory>

namespace brennox {

class Array;
class Attachment;
class MessageHeader;
class String;

// Objects handed in are shared: what is changed in them later changes the message. Lists are
// copied, their elements shared. Getters return null where nothing is set. An empty body is none.
class BRENNOX_EXPORT MessageBuilder : public Object {
 public:
  MessageBuilder();
  ~MessageBuilder() override;

  virtual MessageHeader* header();
  virtual void setHeader(MessageHeader* header);
  virtual String* htmlBody();
  virtual void setHTMLBody(String* html);
  virtual String* textBody();
  virtual void setTextBody(String* text);
  // Arrays of Attachment. Related attachments are shown inside the HTML body.
  virtual Array* attachments();
  virtual void setAttachments(Array* attachments);
  virtual void addAttachment(Attachment* attachment);
  virtual Array* relatedAttachments();
  virtual void setRelatedAttachments(Array* attachments);
  virtual void addRelatedAttachment(Attachment* attachment);
  // Begins every boundary of the message; characters that a boundary may not have are left out,
  // and what would make it longer than allowed.
  virtual String* boundaryPrefix();
  virtual void setBoundaryPrefix(String* prefix);

  // The signer: PEM text, thumbprint in the store, file, address, or base64; `second` is a password
  // or a PEM private key, null when not given. See crypto/store for the order of resolution.
  virtual void setSigningCertificate(String* certificate, String* second);
  // Array of String in the same forms.
  virtual void setRecipientsCertificates(Array* certificates);
  virtual String* keyUsagePolicy();
  virtual void setKeyUsagePolicy(String* policy);
  // Where temporary files would go. There are none.
  virtual String* getTempFolder();
  virtual void setTempFolder(String* path);

  // The message as bytes, lines ended by CRLF, made anew at each call. Equal bytes until something
  // changes: a Message-ID and a Date that the header does not give, and the boundaries, stay until
  // a setter is called. Never null; throws std::runtime_error when the message cannot be built (a
  // certificate that is not found, say).
  virtual Data* data();
  // Builds and writes whole or not at all. Throws as data() does.
  virtual ErrorCode writeToFile(String* path);

 protected:
  const char* className() const override { return "MessageBuilder"; }

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace brennox
