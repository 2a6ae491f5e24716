// A received message: header, parts, renderings and the results of S/MIME.
#pragma once

#include <brennox/Data.h>
#include <brennox/Object.h>

#include <memory>

namespace brennox {

class AbstractPart;
class Array;
class HTMLRendererTemplateCallback;
class MessageHeader;
class String;

// Holds the message's bytes; parts are slices of them and are decoded when read. Any bytes parse: a
// broken message loses structure, never content. Getters that return pointers give objects owned by
// the parser, or autoreleased ones.
class BRENNOX_EXPORT MessageParser : public Object {
 public:
  // An empty parser: empty results everywhere.
  MessageParser();
  ~MessageParser() override;

  static MessageParser* messageParserWithData(Data* data);
  // `doNotDecrypt` and `keyUsagePolicy` (null: none) govern S/MIME; `tempFolder` is kept for
  // getTempFolder(). Null only for null data.
  static MessageParser* messageParserWithData(Data* data, String* tempFolder, bool doNotDecrypt,
                                              String* keyUsagePolicy);
  // Null when the file cannot be read.
  static MessageParser* messageParserWithContentsOfFile(String* path, String* tempFolder);

  // Null for an empty parser and for a message without a single header field.
  virtual MessageHeader* header();
  // The root of the part tree after decryption; null for an empty parser.
  virtual AbstractPart* mainPart();
  // Arrays of Attachment; null when the parser is empty.
  virtual Array* attachments();
  virtual Array* htmlInlineAttachments();
  // The raw bytes.
  virtual Data* data();

  // UTF-8; see html/render.h for what each contains. Never null.
  virtual String* htmlRendering(HTMLRendererTemplateCallback* templates = nullptr);
  virtual String* htmlBodyRendering();
  virtual String* plainTextRendering();
  // With `stripWhitespace` runs of white space become one blank.
  virtual String* plainTextBodyRendering(bool stripWhitespace);

  virtual bool doNotDecrypt();
  virtual void setDoNotDecrypt(bool doNotDecrypt);
  virtual String* keyUsagePolicy();
  virtual void setKeyUsagePolicy(String* policy);
  // Where temporary files would go. There are none: what was decrypted never reaches a disk.
  virtual String* getTempFolder();
  virtual void setTempFolder(String* path);

  // S/MIME (RFC 8551). A setting that changes afterwards applies to the next parser.
  virtual bool isSigned();
  virtual bool isEncrypted();
  virtual bool VerifyResult();
  // DER; null when not signed or not included and not found.
  virtual Data* SignerCert();
  // Of the outermost signature; never null.
  virtual String* CreationDate();
  virtual String* SignAlg();
  virtual String* HashAlg();
  virtual bool DecryptResult();
  // "" when nothing was encrypted or all was opened; never null.
  virtual String* DecryptResultMessage();

 protected:
  const char* className() const override { return "MessageParser"; }

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace brennox
