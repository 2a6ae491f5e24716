#include <brennox/Address.h>
#include <brennox/Array.h>

#include <stdexcept>

namespace brennox {

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

Address* Address::addressWithRFC822String(String*) {
  throw std::logic_error("Not implemented");
}

Address* Address::addressWithNonEncodedRFC822String(String*) {
  throw std::logic_error("Not implemented");
}

Array* Address::addressesWithRFC822String(String*) {
  throw std::logic_error("Not implemented");
}

Array* Address::addressesWithNonEncodedRFC822String(String*) {
  throw std::logic_error("Not implemented");
}

String* Address::RFC822String() {
  throw std::logic_error("Not implemented");
}

namespace {

// RFC 5322 section 3.2.3: a phrase of atoms needs no quotes.
bool needsQuotes(std::string_view text) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool alphanumeric = (byte | 0x20) >= 'a' && (byte | 0x20) <= 'z';
    const bool digit = byte >= '0' && byte <= '9';
    if (!alphanumeric && !digit && byte < 0x80 &&
        std::string_view("!#$%&'*+-/=?^_`{|}~ ").find(c) == std::string_view::npos) {
      return true;
    }
  }
  return text.empty() || text.front() == ' ' || text.back() == ' ' ||
         text.find("  ") != std::string_view::npos;
}

}  // namespace

String* Address::nonEncodedRFC822String() {
  const std::string_view name = textOf(displayName_.get());
  const std::string_view mailbox = textOf(mailbox_.get());
  if (name.empty()) {
    return String::stringWithText(mailbox);
  }
  std::string text;
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
  text += " <";
  text += mailbox;
  text += '>';
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
