// One mailbox of an address list (RFC 5322 section 3.4).
#pragma once

#include <brennox/Object.h>
#include <brennox/Ref.h>
#include <brennox/String.h>

namespace brennox {

class Array;

// Texts are decoded UTF-8. The mailbox is kept as given; nothing is validated here, what goes onto
// the wire is made safe by the writer (builder, SMTP envelope).
class BRENNOX_EXPORT Address : public Object {
 public:
  Address() = default;
  explicit Address(const Address* other);

  // All of these return autoreleased objects.
  static Address* addressWithDisplayName(String* displayName, String* mailbox);
  // The whole text is the mailbox; no display name is parsed out of it.
  static Address* addressWithMailbox(String* mailbox);
  // The first mailbox of an RFC 822 address list, encoded-words decoded; null when there is none.
  static Address* addressWithRFC822String(String* text);
  // As above, but encoded-words are left as they stand.
  static Address* addressWithNonEncodedRFC822String(String* text);
  // All mailboxes of a list; groups are flattened. Never null.
  static Array* addressesWithRFC822String(String* text);
  static Array* addressesWithNonEncodedRFC822String(String* text);

  // Null when there is none.
  String* displayName() const { return displayName_.get(); }
  void setDisplayName(String* displayName) { displayName_ = displayName; }
  String* mailbox() const { return mailbox_.get(); }
  void setMailbox(String* mailbox) { mailbox_ = mailbox; }

  // `Name <mailbox>`, or the bare mailbox without a name; quoted where RFC 5322 needs it. Never
  // null. RFC822String has non-ASCII names as encoded-words, the other one as they are.
  String* RFC822String();
  String* nonEncodedRFC822String();

  String* description() override;
  Object* copy() override;
  bool isEqual(Object* other) override;
  std::size_t hash() override;

 protected:
  const char* className() const override { return "Address"; }

 private:
  Ref<String> displayName_;
  Ref<String> mailbox_;
};

}  // namespace brennox
