// Cleans any bytes; parsing the result has to give the tree that was written, and nothing dangerous
// may stand in it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/TextBuffer.h"
#include "html/reparse_for_test.h"
#include "html/sanitizer.h"
#include "html/text_to_html.h"
#include "text/charset.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brennox::html;
  const std::string html(data, data + size);
  SanitizerOptions options;
  options.scope = "S";
  const std::string result = sanitizedHtml(html, options);
  if (reparsed(result) != result || result.size() > 16 * size + 2 * kOutputFloor) {
    std::abort();
  }
  brennox::TextBuffer text;
  std::string valid;
  brennox::text::appendRepairedUtf8(html, valid);
  appendAsHtml(valid, text);
  if (reparsed(text.view()) != text.view()) {
    std::abort();
  }
  return 0;
}
