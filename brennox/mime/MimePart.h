// One entity of a parsed message.
#pragma once

#include <brennox/Attachment.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mime/Source.h"
#include "mime/content_fields.h"
#include "mime/entity.h"

namespace brennox::mime {

// Its fields are read when the object is made, its section number, children and texts when they are
// asked for, its content at every call of data(). A leaf that holds parts in a form of its own (an
// encoded message, winmail.dat, uuencoded or yEnc files inside a text) is presented as a multipart
// or a message.
class MimePart final : public Attachment {
 public:
  // The root of the message in `data`.
  static Ref<MimePart> parse(Data* data);
  static Ref<MimePart> parse(Ref<Source> source);

  ~MimePart() override;

  String* partID() override;
  void setPartID(String* partID) override;
  String* uniqueID() override;
  void setUniqueID(String* uniqueID) override;

  Data* data() override;
  void setData(Data* data) override;
  void setCharset(String* charset) override;
  // For text parts with format=flowed undone. Also decodes by what the content itself tells: a byte
  // order mark, the HTML's meta element.
  String* decodedString() override;

  Array* parts() override;
  // The root child of multipart/related too, where the start parameter names it.
  AbstractPart* mainPart() override;
  MessageHeader* header() override;

  // The header with its empty line, the body as it stands, and both.
  std::string_view rawHeader() const;
  std::string_view rawBody() const;
  // Where the part was found; null for content that was made while opening another part.
  Source* source() const { return source_.get(); }
  // Shares the message's bytes; autoreleased.
  Data* rawEntity() const;
  // A parameter of the Content-Type (lower-case name) in UTF-8; "" when absent.
  std::string contentTypeParameter(std::string_view name) const;
  // The header as that of a message; autoreleased.
  MessageHeader* messageHeader() const;

 protected:
  const char* className() const override { return "MimePart"; }

 private:
  // Content that was made while opening another part: decoded bytes with their fields.
  struct Made {
    std::string mimeType;
    std::string charset;
    std::string filename;
    std::string contentID;
    Ref<Data> content;
    bool attachment = true;
    bool flowed = false;
    bool deleteSpace = false;
  };

  MimePart(Ref<Source> source, std::uint32_t entity, MimePart* parent, unsigned int index);
  MimePart(Made made, MimePart* parent, unsigned int index);
  void inheritCharset(MimePart* parent);

  const Entity& entity() const { return source_->entity(entity_); }
  void readFields();
  // Reads the Content-Type; its parameter "name" becomes `name` as it stands.
  void readType(std::string_view field, std::string& name);
  template <class Parameters>
  void takeType(const Parameters& type, std::string& name);
  void readDisposition(std::string_view field);
  template <class Parameters>
  void takeDisposition(const Parameters& disposition);
  // What a field's raw 8-bit text is in, where it is not UTF-8; else empty.
  std::string charsetForRaw(std::string_view field);
  void place(MimePart* parent, unsigned int index);
  void number();
  const Ref<Source>& childSource() const { return childSource_ ? childSource_ : source_; }
  const Ref<Array>& children();

  // What the part holds besides plain content. Each finds out at once, since it decides what kind
  // of part this is; the children are made when they are asked for.
  void lookInside();
  void openMessage();
  void openMultipart();
  void openTnef();
  void openFilesInText();

  // Null for made parts.
  Ref<Source> source_;
  std::uint32_t entity_ = 0;
  // Where the children are; null where that is `source_`.
  Ref<Source> childSource_;
  std::uint32_t firstChild_ = kNoEntity;
  std::vector<Made> made_;

  // The section number of this part; for a multipart at the root of a message, that of the message.
  // Null where there is none. Of a leaf, that of what is around it.
  Ref<String> section_;
  unsigned int index_ = 0;
  bool isNumbered_ = false;
  std::string start_;
  // For a text that declares no charset: the one that a multipart around it declares.
  std::string outerCharset_;
  unsigned int depth_ = 0;
  unsigned int encodings_ = 0;
  TransferEncoding encoding_ = TransferEncoding::Identity;
  bool flowed_ = false;
  bool deleteSpace_ = false;
  // Content that is not decoded from the message: made, or set by a caller.
  bool hasContent_ = false;
  Ref<Data> content_;
  // The last decodedString(), unless it is long.
  Ref<String> text_;
  Ref<Array> children_;
  Ref<MessageHeader> header_;
};

}  // namespace brennox::mime
