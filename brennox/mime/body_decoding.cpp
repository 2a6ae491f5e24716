#include "mime/body_decoding.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "mime/uuencode.h"
#include "mime/yenc.h"
#include "text/ascii.h"
#include "text/base64.h"
#include "text/quoted_printable.h"

namespace brennox::mime {

Ref<Block> decodeBody(std::string_view body, TransferEncoding encoding, std::size_t room) {
  std::size_t bound = body.size();
  if (encoding == TransferEncoding::Base64) {
    bound = text::base64DecodedBound(body.size());
  } else if (encoding == TransferEncoding::Uuencode) {
    body = uuencodedLines(body);
    bound = uudecodedBound(body.size());
  } else if (encoding == TransferEncoding::Yenc) {
    const std::vector<EmbeddedFile> files = findYencFiles(body);
    body = files.empty() ? body : files.front().lines;
    bound = body.size();
  }
  Ref<Block> block = Block::allocate(room + bound);
  char* const out = block->bytes() + room;
  std::size_t length = body.size();
  switch (encoding) {
    case TransferEncoding::Base64:
      length = text::base64Decode(body, out);
      break;
    case TransferEncoding::QuotedPrintable:
      length = text::quotedPrintableDecode(body, out);
      break;
    case TransferEncoding::Uuencode:
      length = uudecodeLines(body, out);
      break;
    case TransferEncoding::Yenc:
      length = ydecodeLines(body, out);
      break;
    case TransferEncoding::Identity:
      std::memcpy(out, body.data(), body.size());
      break;
  }
  block->truncate(room + length);
  return block;
}

bool isMislabeled(std::string_view body) {
  constexpr std::size_t kWindow = 4096;
  constexpr std::size_t kEncodedLine = 16;
  body = text::trimmed(body.substr(0, kWindow));
  bool hasBlank = false;
  bool hasForeign = false;
  bool isFirst = true;
  while (!body.empty()) {
    const std::size_t end = std::min(body.find('\n'), body.size());
    const std::string_view line = text::trimmed(body.substr(0, end));
    body.remove_prefix(std::min(end + 1, body.size()));
    // Letters of both cases in no order are no word.
    const bool isMixed =
        std::any_of(line.begin() + (line.empty() ? 0 : 1), line.end(),
                    [](char c) { return c >= 'A' && c <= 'Z'; }) &&
        std::any_of(line.begin(), line.end(), [](char c) { return c >= 'a' && c <= 'z'; });
    bool isEncoded = line.size() >= kEncodedLine && isMixed;
    for (const char c : line) {
      const bool isBlank = text::isBlank(c);
      const bool isForeign =
          !isBlank && !text::isAlpha(c) && !text::isDigit(c) && c != '+' && c != '/' && c != '=';
      isEncoded = isEncoded && !isBlank && !isForeign;
      hasBlank = hasBlank || (isFirst && isBlank);
      hasForeign = hasForeign || (isFirst && isForeign);
    }
    if (isEncoded || !hasBlank || !hasForeign) {
      return false;
    }
    isFirst = false;
  }
  return hasBlank && hasForeign;
}

bool isUsAscii(std::string_view charset) {
  return text::equalsIgnoringCase(charset, "us-ascii") ||
         text::equalsIgnoringCase(charset, "ascii");
}

}  // namespace brennox::mime
