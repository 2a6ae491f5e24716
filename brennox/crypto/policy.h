// How strictly the use that a certificate was issued for is held to.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "crypto/openssl.h"

namespace brennox::crypto {

enum class KeyUsagePolicy {
  kNone,      // any certificate may do anything
  kKeyUsage,  // keyUsage, when present, must allow it
  kEmail,     // and extendedKeyUsage, when present, must name mail
  kStrict,    // and both must be present, the certificate be valid now, and the addresses match
};

// "kupNone", "kupKeyUsage", "kupEmail", "kupStrict"; "" reads as none, an unknown name as the
// strictest.
KeyUsagePolicy policyNamed(std::string_view name);

enum class Use { kSign, kEncrypt };

// True when `certificate` may be used so, addresses and validity aside.
bool isAllowed(X509* certificate, Use use, KeyUsagePolicy policy);

// The addresses a certificate was issued for, as written: rfc822Name and SmtpUTF8Mailbox
// alternative names, then emailAddress of the subject.
std::vector<std::string> addressesOf(X509* certificate);

// Whether two mailboxes are the same: the domain without regard to case, and the part before it
// too, since no mail system in use tells names apart by case.
bool isSameMailbox(std::string_view a, std::string_view b);
bool isIssuedFor(X509* certificate, std::string_view mailbox);

}  // namespace brennox::crypto
