#include <brennox/Address.h>
#include <brennox/Array.h>

#include <functional>

#include "rfc822/address_list.h"
#include "rfc822/header_writer.h"
#include "text/ascii.h"

namespace brennox {
namespace {

// RFC 5322 section 3.2.3: a phrase of atoms needs no quotes, and neither does text in another
// script (RFC 6532).
bool needsQuotes(std::string_view text) {
  bool afterBlank = true;
  for (const char c : text) {
    if (c == ' ') {
      if (afterBlank) {
        return true;
      }
      afterBlank = true;
      continue;
    }
    afterBlank = false;
    if (!text::isAlpha(c) && !text::isDigit(c) && static_cast<unsigned char>(c) < 0x80 &&
        std::string_view("!#$%&'*+-/=?^_`{|}~").find(c) == std::string_view::npos) {
      return true;
    }
  }
  return afterBlank;
}

Address* fromMailbox(const rfc822::Mailbox& mailbox) {
  return Address::addressWithDisplayName(
      mailbox.name.empty() ? nullptr : String::stringWithText(mailbox.name),
      String::stringWithText(mailbox.address));
}

Array* parsed(String* text, rfc822::EncodedWords words) {
  std::vector<rfc822::Mailbox> mailboxes;
  rfc822::parseAddressList(textOf(text), "utf-8", words, mailboxes);
  Array* const result = Array::array();
  for (const rfc822::Mailbox& mailbox : mailboxes) {
    result->addObject(fromMailbox(mailbox));
  }
  return result;
}

}  // namespace

Address::Address(const Address* other) {
  if (other != nullptr) {
    displayName_ = other->displayName_;
    mailbox_ = other->mailbox_;
  }
}

Address* Address::addressWithDisplayName(String* displayName, String* mailbox) {
  auto* const address = makeAutoreleased<Address>();
  address->displayName_ = displayName;
  address->mailbox_ = mailbox;
  return address;
}

Address* Address::addressWithMailbox(String* mailbox) {
  return addressWithDisplayName(nullptr, mailbox);
}

Address* Address::addressWithRFC822String(String* text) {
  return addressesWithRFC822String(text)->at<Address>(0);
}

Address* Address::addressWithNonEncodedRFC822String(String* text) {
  return addressesWithNonEncodedRFC822String(text)->at<Address>(0);
}

Array* Address::addressesWithRFC822String(String* text) {
  return parsed(text, rfc822::EncodedWords::kDecode);
}

Array* Address::addressesWithNonEncodedRFC822String(String* text) {
  return parsed(text, rfc822::EncodedWords::kKeep);
}

String* Address::RFC822String() {
  return makeAutoreleased<String>(rfc822::addressText(this));
}

String* Address::nonEncodedRFC822String() {
  const std::string_view name = textOf(displayName_.get());
  const std::string_view mailbox = textOf(mailbox_.get());
  if (name.empty()) {
    return String::stringWithText(mailbox);
  }
  std::string text;
  constexpr std::size_t kMarks = std::string_view("\"\" <>").size();
  text.reserve(name.size() + mailbox.size() + kMarks);
  if (needsQuotes(name)) {
    text += '"';
    for (const char c : name) {
      if (c == '"' || c == '\\') {
        text += '\\';
      }
      text += c;
    }
    text += '"';
  } else {
    text += name;
  }
  if (!mailbox.empty()) {
    text += " <";
    text += mailbox;
    text += '>';
  }
  return makeAutoreleased<String>(std::move(text));
}

String* Address::description() {
  return nonEncodedRFC822String();
}

Object* Address::copy() {
  return makeAutoreleased<Address>(static_cast<const Address*>(this));
}

bool Address::isEqual(Object* other) {
  const auto* address = dynamic_cast<Address*>(other);
  return address != nullptr && textOf(address->displayName()) == textOf(displayName()) &&
         textOf(address->mailbox()) == textOf(mailbox());
}

std::size_t Address::hash() {
  const std::hash<std::string_view> hasher;
  return hasher(textOf(displayName())) * 31 + hasher(textOf(mailbox()));
}

}  // namespace brennox
