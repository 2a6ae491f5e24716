// Address lists: any list can be read; a list that we write has as many mailboxes when read again.
#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/String.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "rfc822/address_list.h"
#include "rfc822/header_writer.h"
#include "text/charset.h"

using namespace brennox;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const AutoreleasePool pool;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  std::vector<rfc822::Mailbox> mailboxes;
  rfc822::parseAddressList(bytes, "koi8-r", rfc822::EncodedWords::kDecode, mailboxes);
  for (const rfc822::Mailbox& mailbox : mailboxes) {
    if (!text::isValidUtf8(mailbox.name) || !text::isValidUtf8(mailbox.address)) {
      std::abort();
    }
  }
  // The whole input as one mailbox: it must stay one.
  Array* const list =
      Array::arrayWithObject(Address::addressWithMailbox(String::stringWithText(bytes)));
  list->addObject(Address::addressWithMailbox(String::stringWithText("last@example.com")));
  std::string written;
  rfc822::writeAddresses("To", list, written);
  std::vector<rfc822::Mailbox> back;
  rfc822::parseAddressList(std::string_view(written).substr(3), {}, rfc822::EncodedWords::kDecode,
                           back);
  if (back.empty() || back.size() > 2 || back.back().address != "last@example.com") {
    std::abort();
  }
  return 0;
}
