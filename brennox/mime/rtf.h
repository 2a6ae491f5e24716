// The text of an RTF document, and the HTML that a mailer packed into one (MS-OXRTFEX).
#pragma once

#include <string>
#include <string_view>

namespace brennox::mime {

struct RtfContent {
  // The original HTML in UTF-8; empty unless the document was made from HTML.
  std::string html;
  // The text without formatting in UTF-8; empty when `html` is not.
  std::string plain;
};

RtfContent readRtf(std::string_view rtf);

}  // namespace brennox::mime
