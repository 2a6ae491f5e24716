#include "crypto/policy.h"

#include <algorithm>

#include "crypto/algorithms.h"

namespace brennox::crypto {
namespace {

// A certificate with more names than this is no person's.
constexpr int kMaxNames = 1000;

bool hasExtension(X509* certificate, int nid) {
  return X509_get_ext_by_NID(certificate, nid, -1) >= 0;
}

bool allowsByKeyUsage(X509* certificate, Use use) {
  // All bits are set when the extension is missing.
  const std::uint32_t usage = X509_get_key_usage(certificate);
  if (use == Use::kSign) {
    return (usage & (KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION)) != 0;
  }
  // An elliptic key agrees on a key; the others carry one.
  const bool isAgreement = keyKindOf(certificate) == KeyKind::kEc;
  return (usage & (isAgreement ? KU_KEY_AGREEMENT : KU_KEY_ENCIPHERMENT)) != 0;
}

bool allowsMail(X509* certificate) {
  if (!hasExtension(certificate, NID_ext_key_usage)) {
    return true;
  }
  const std::uint32_t usage = X509_get_extended_key_usage(certificate);
  return (usage & (XKU_SMIME | XKU_ANYEKU)) != 0;
}

// An address with a NUL or a control character inside is there to deceive.
void addAddress(const ASN1_STRING* string, std::vector<std::string>& addresses) {
  const auto* const bytes = ASN1_STRING_get0_data(string);
  const int length = ASN1_STRING_length(string);
  std::string address;
  for (int i = 0; i < length; ++i) {
    if (bytes[i] < 0x20 || bytes[i] == 0x7F) {
      return;
    }
    address += static_cast<char>(bytes[i]);
  }
  if (address.find('@') != std::string::npos) {
    addresses.push_back(std::move(address));
  }
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

}  // namespace

KeyUsagePolicy policyNamed(std::string_view name) {
  if (name.empty() || name == "kupNone") {
    return KeyUsagePolicy::kNone;
  }
  if (name == "kupKeyUsage") {
    return KeyUsagePolicy::kKeyUsage;
  }
  return name == "kupEmail" ? KeyUsagePolicy::kEmail : KeyUsagePolicy::kStrict;
}

bool isAllowed(X509* certificate, Use use, KeyUsagePolicy policy) {
  if (policy == KeyUsagePolicy::kNone) {
    return true;
  }
  if (!allowsByKeyUsage(certificate, use)) {
    return false;
  }
  if (policy == KeyUsagePolicy::kKeyUsage) {
    return true;
  }
  if (!allowsMail(certificate)) {
    return false;
  }
  return policy == KeyUsagePolicy::kEmail ||
         (hasExtension(certificate, NID_key_usage) && hasExtension(certificate, NID_ext_key_usage));
}

std::vector<std::string> addressesOf(X509* certificate) {
  std::vector<std::string> addresses;
  auto* const names = static_cast<GENERAL_NAMES*>(
      X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr));
  for (int i = 0; i < std::min(sk_GENERAL_NAME_num(names), kMaxNames); ++i) {
    const GENERAL_NAME* const name = sk_GENERAL_NAME_value(names, i);
    if (name->type == GEN_EMAIL) {
      addAddress(name->d.rfc822Name, addresses);
    } else if (name->type == GEN_OTHERNAME &&
               OBJ_obj2nid(name->d.otherName->type_id) == NID_id_on_SmtpUTF8Mailbox &&
               name->d.otherName->value->type == V_ASN1_UTF8STRING) {
      addAddress(name->d.otherName->value->value.utf8string, addresses);
    }
  }
  GENERAL_NAMES_free(names);

  const X509_NAME* const subject = X509_get_subject_name(certificate);
  int index = -1;
  for (int i = 0; i < kMaxNames; ++i) {
    index = X509_NAME_get_index_by_NID(subject, NID_pkcs9_emailAddress, index);
    if (index < 0) {
      break;
    }
    addAddress(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, index)), addresses);
  }
  return addresses;
}

bool isSameMailbox(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lower(x) == lower(y); });
}

bool isIssuedFor(X509* certificate, std::string_view mailbox) {
  const std::vector<std::string> addresses = addressesOf(certificate);
  return std::any_of(addresses.begin(), addresses.end(),
                     [&](const std::string& address) { return isSameMailbox(address, mailbox); });
}

}  // namespace brennox::crypto
