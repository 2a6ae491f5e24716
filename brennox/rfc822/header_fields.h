// Header bytes divided into fields. Nothing is copied or decoded: fields are views of the bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace brennox::rfc822 {

// The fields that the library knows by name.
enum class FieldId : std::uint8_t {
  kOther,
  kMessageID,
  kInReplyTo,
  kReferences,
  kDate,
  kReceived,
  kSender,
  kFrom,
  kTo,
  kCc,
  kBcc,
  kReplyTo,
  kSubject,
  kUserAgent,
  kXMailer,
  kMimeVersion,
  kContentType,
  kContentTransferEncoding,
  kContentDisposition,
  kContentID,
  kContentLocation,
  kContentDescription,
  kCount,
};

// Case does not matter.
FieldId fieldId(std::string_view name);

struct HeaderField {
  std::string_view name;   // as it stands, without white space around it
  std::string_view value;  // all after the colon up to the line end, folding included
  FieldId id = FieldId::kOther;
};

// Walks through the fields at the start of `bytes`. Skipped are a byte order mark, blank lines and
// an mbox "From " line before the first field, and lines that are neither field nor continuation.
// The header ends at the first empty line, or before lines that no field follows any more: a body
// without an empty line in front of it. Lines end with CRLF or LF, or all of them with a CR alone.
class FieldScanner {
 public:
  // `partHeader`: the header of a body part, where an empty first line means that there are no
  // fields.
  explicit FieldScanner(std::string_view bytes, bool partHeader = false);

  // False at the end of the header.
  bool next(HeaderField& field);

  // After next() returned false: where the body starts, past the empty line.
  std::size_t bodyOffset() const { return bodyOffset_; }
  // True when an empty line (and not the end of the bytes) ended the header.
  bool sawEmptyLine() const { return sawEmptyLine_; }

 private:
  bool fieldFollows(std::size_t position) const;

  std::string_view bytes_;
  char lineEnd_;
  std::size_t position_ = 0;
  std::size_t bodyOffset_ = 0;
  bool sawEmptyLine_ = false;
};

}  // namespace brennox::rfc822
