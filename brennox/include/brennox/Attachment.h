// A leaf part with its content.
#pragma once

#include <brennox/AbstractPart.h>
#include <brennox/Data.h>

namespace brennox {

class BRENNOX_EXPORT Attachment : public AbstractPart {
 public:
  Attachment();
  // Copies the fields; the content bytes are shared.
  explicit Attachment(Attachment* other);
  ~Attachment() override;

  // The MIME type that the shared MIME database gives for a file name, "application/octet-stream"
  // when it knows none. Never null.
  static String* mimeTypeForFilename(String* filename);
  // An attachment with the MIME type of its file name. A null file name is allowed.
  static Attachment* attachmentWithData(String* filename, Data* data);
  // A text/plain or text/html part in UTF-8 without a disposition.
  static Attachment* attachmentWithText(String* text);
  static Attachment* attachmentWithHTMLString(String* html);

  // The IMAP section number of the part ("1.2"); null unless set.
  virtual String* partID() { return partID_.get(); }
  virtual void setPartID(String* partID) { partID_ = partID; }

  // The content with its transfer encoding removed; null when unset. A part of a parsed message
  // decodes at every call and keeps no copy: the result is then the caller's alone
  // (Data::isUnique).
  virtual Data* data();
  virtual void setData(Data* data);
  // The content as text: by `charset`, by detection when that is missing or unknown. Null without
  // data.
  virtual String* decodedString();

  Object* copy() override;

 protected:
  const char* className() const override { return "Attachment"; }

 private:
  Ref<String> partID_;
  Ref<Data> data_;
};

}  // namespace brennox
