// Header fields: the scanner stays in the bytes and moves on; every property of the header can be
// read and what is written of it is a header again.
#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/Data.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "rfc822/header_fields.h"
#include "rfc822/header_writer.h"
#include "text/charset.h"

using namespace brennox;

namespace {

void check(bool good) {
  if (!good) {
    std::abort();
  }
}

void checkText(String* text) {
  check(text::isValidUtf8(textOf(text)));
  check(textOf(text).find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos);
}

constexpr std::size_t kMaxLine = 998;

void checkLines(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t end = bytes.find("\r\n");
    check(end != std::string_view::npos && end > 0 && end <= kMaxLine);
    check(bytes.substr(0, end).find_first_of(std::string_view("\r\n\0", 3)) ==
          std::string_view::npos);
    bytes.remove_prefix(end + 2);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const AutoreleasePool pool;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  rfc822::FieldScanner part(bytes, true);
  rfc822::HeaderField field;
  while (part.next(field)) {
  }
  check(part.bodyOffset() <= size);

  MessageHeader* const header = MessageHeader::headerWithData(Data::dataWithBytes(data, size));
  checkText(header->subject());
  checkText(header->userAgent());
  checkText(header->messageID());
  header->date();
  header->receivedDate();
  Array* const names = header->allExtraHeadersNames();
  for (unsigned int i = 0; i < names->count(); ++i) {
    checkText(header->extraHeaderValueForName(names->at<String>(i)));
  }
  std::string written;
  rfc822::writeHeader(header, written);
  checkLines(written);
  MessageHeader* const back =
      MessageHeader::headerWithData(Data::dataWithBytes(written.data(), written.size()));
  check(textOf(back->subject()) == textOf(header->subject()));
  check(back->date() == header->date());
  check(back->bcc() == nullptr);
  return 0;
}
