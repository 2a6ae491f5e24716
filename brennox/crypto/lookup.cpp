#include "crypto/lookup.h"

#include <algorithm>
#include <stdexcept>

#include "crypto/algorithms.h"
#include "crypto/credentials.h"
#include "platform/file.h"
#include "platform/user.h"

namespace brennox::crypto {
namespace {

// Shorter text is no certificate.
constexpr std::size_t kMinBase64 = 100;
constexpr std::size_t kMaxFileSize = std::size_t{16} << 20;
constexpr std::size_t kMaxShownName = 100;

[[noreturn]] void fail(const std::string& text) {
  throw std::runtime_error(text);
}

// A name as it may stand in an error text: nothing that could be a key.
std::string shown(std::string_view name) {
  if (isPem(name)) {
    return "PEM text";
  }
  if (name.size() > kMaxShownName) {
    return std::string(name.substr(0, kMaxShownName)) + "...";
  }
  return std::string(name);
}

std::string subjectOf(X509* certificate) {
  const BioHandle bio(BIO_new(BIO_s_mem()));
  if (!bio || X509_NAME_print_ex(bio.get(), X509_get_subject_name(certificate), 0,
                                 XN_FLAG_RFC2253 & ~ASN1_STRFLGS_ESC_MSB) < 0) {
    return "certificate";
  }
  char* text = nullptr;
  const long length = BIO_get_mem_data(bio.get(), &text);
  return shown({text, static_cast<std::size_t>(length)});
}

// Lower case digits when `name` is a thumbprint, else "".
std::string thumbprintIn(std::string_view name) {
  std::string digits;
  for (const char c : name) {
    if (c == ':' || c == ' ') {
      continue;
    }
    const bool isUpper = c >= 'A' && c <= 'F';
    if (!(c >= '0' && c <= '9') && !(c >= 'a' && c <= 'f') && !isUpper) {
      return {};
    }
    digits += isUpper ? static_cast<char>(c + ('a' - 'A')) : c;
  }
  return digits.size() == 40 || digits.size() == 64 ? digits : std::string();
}

bool hasThumbprint(X509* certificate, const std::string& digits) {
  return thumbprint(certificate, digits.size() == 40 ? EVP_sha1() : EVP_sha256()) == digits;
}

std::string mailboxIn(std::string_view name) {
  const std::size_t open = name.rfind('<');
  const std::size_t close = name.rfind('>');
  if (open != std::string_view::npos && close != std::string_view::npos && open < close) {
    name = name.substr(open + 1, close - open - 1);
  }
  const std::size_t first = name.find_first_not_of(" \t\r\n");
  const std::size_t last = name.find_last_not_of(" \t\r\n");
  return first == std::string_view::npos ? std::string()
                                         : std::string(name.substr(first, last - first + 1));
}

// "" when it is not base64 through and through.
std::string bytesOfBase64(std::string_view name) {
  std::string text;
  for (const char c : name) {
    const bool isBlank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
    const bool isDigit = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                         (c >= '0' && c <= '9') || c == '+' || c == '/' || c == '=';
    if (!isBlank && !isDigit) {
      return {};
    }
    if (!isBlank) {
      text += c;
    }
  }
  if (text.size() < kMinBase64 || text.size() % 4 != 0) {
    return {};
  }
  std::string bytes(text.size() / 4 * 3, '\0');
  const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                     reinterpret_cast<const unsigned char*>(text.data()),
                                     static_cast<int>(text.size()));
  const auto padding = static_cast<std::size_t>(std::count(text.end() - 2, text.end(), '='));
  bytes.resize(length < 0 ? 0 : static_cast<std::size_t>(length) - padding);
  return bytes;
}

bool isFile(std::string_view path) {
  const platform::FileInfo info = platform::fileInfo(path);
  return info.isRegular && info.size <= kMaxFileSize;
}

std::string readWhole(std::string_view path) {
  const Ref<Block> block = platform::readFile(path);
  return block ? std::string(block->bytes(), block->size()) : std::string();
}

bool isValidAt(X509* certificate, std::time_t now) {
  return X509_cmp_time(X509_get0_notBefore(certificate), &now) < 0 &&
         X509_cmp_time(X509_get0_notAfter(certificate), &now) > 0;
}

// Which of two certificates for the same purpose is valid for longer, and of two alike the newer
// one.
bool isBetter(X509* a, X509* b) {
  const int order = ASN1_TIME_compare(X509_get0_notAfter(a), X509_get0_notAfter(b));
  return order != 0 ? order > 0
                    : ASN1_TIME_compare(X509_get0_notBefore(a), X509_get0_notBefore(b)) > 0;
}

void requirePolicy(X509* certificate, Use use, const LookupSettings& settings) {
  bool isMet = isAllowed(certificate, use, settings.policy);
  if (settings.policy == KeyUsagePolicy::kStrict) {
    const auto isNamed = [&](const std::string& mailbox) {
      return isIssuedFor(certificate, mailbox);
    };
    isMet = isMet && isValidAt(certificate, settings.now) &&
            (use == Use::kSign
                 ? isNamed(settings.author)
                 : std::any_of(settings.mailboxes.begin(), settings.mailboxes.end(), isNamed));
  }
  if (!isMet) {
    fail(std::string(use == Use::kSign ? "Signing" : "Recipient") +
         " certificate is not allowed by the policy " + settings.policyName + ": " +
         subjectOf(certificate));
  }
}

class SignerSearch {
 public:
  SignerSearch(const StoreContents& store, std::string_view name,
               const std::optional<std::string>& second, const LookupSettings& settings)
      : store_(store), name_(name), settings_(settings) {
    if (second && isPem(*second)) {
      separateKey_.emplace(*second);
    } else if (second) {
      password_.emplace(*second);
    }
  }

  Signer run() {
    Signer signer = find();
    if (!signer.key) {
      fail("Private key of the signing certificate not found: " + shown(name_));
    }
    if (X509_check_private_key(signer.certificate.get(), signer.key.get()) != 1) {
      fail("The private key does not belong to the signing certificate");
    }
    requirePolicy(signer.certificate.get(), Use::kSign, settings_);
    completeChain(signer);
    return signer;
  }

 private:
  Signer find() {
    if (isPem(name_)) {
      return fromBytes(name_, {});
    }
    if (const std::string digits = thumbprintIn(name_); !digits.empty()) {
      for (const StoredKey& stored : store_.own) {
        if (hasThumbprint(stored.certificate.get(), digits)) {
          return fromStore(stored);
        }
      }
    }
    if (isFile(name_)) {
      return fromBytes(readWhole(name_), siblingKey());
    }
    if (name_.find('@') != std::string_view::npos) {
      if (const StoredKey* const stored = ownFor(mailboxIn(name_))) {
        return fromStore(*stored);
      }
    } else if (const std::string bytes = bytesOfBase64(name_); !bytes.empty()) {
      return fromBytes(bytes, {});
    }
    fail("Signing certificate not found: " + shown(name_));
  }

  const StoredKey* ownFor(const std::string& mailbox) const {
    const StoredKey* best = nullptr;
    for (const StoredKey& stored : store_.own) {
      X509* const certificate = stored.certificate.get();
      if (isValidAt(certificate, settings_.now) && isIssuedFor(certificate, mailbox) &&
          isAllowed(certificate, Use::kSign, KeyUsagePolicy::kKeyUsage) &&
          (best == nullptr || isBetter(certificate, best->certificate.get()))) {
        best = &stored;
      }
    }
    return best;
  }

  Signer fromStore(const StoredKey& stored) const {
    if (stored.isTooOpen) {
      fail("Others may read the private key or its password: " + stored.keyPath);
    }
    Signer signer;
    signer.certificate = share(stored.certificate.get());
    signer.key = stored.open();
    if (!signer.key) {
      fail("The private key cannot be opened: " + stored.keyPath);
    }
    for (const CertHandle& link : stored.chain) {
      signer.chain.push_back(share(link.get()));
    }
    return signer;
  }

  // The key file that stands beside a certificate file; "" when there is none.
  std::string siblingKey() const {
    const std::size_t dot = name_.rfind('.');
    const std::size_t slash = name_.rfind('/');
    if (dot == std::string_view::npos || (slash != std::string_view::npos && dot < slash)) {
      return {};
    }
    std::string path(name_.substr(0, dot));
    path += ".key";
    return isFile(path) ? path : std::string();
  }

  Signer fromBytes(std::string_view bytes, const std::string& keyPath) {
    Credentials credentials = readCredentials(bytes, password());
    // A password that does not fit may stand for none at all.
    if (!credentials.key && password() != nullptr) {
      Credentials open = readCredentials(bytes, nullptr);
      if (open.key || credentials.certificates.empty()) {
        credentials = std::move(open);
      }
    }
    if (credentials.certificates.empty()) {
      fail((credentials.isKeyLocked ? "The signing certificate cannot be opened: "
                                    : "There is no signing certificate in: ") +
           shown(name_));
    }
    Signer signer;
    if (separateKey_) {
      takeSeparateKey(credentials, signer);
    } else if (credentials.key) {
      signer.key = std::move(credentials.key);
    } else if (credentials.isKeyLocked) {
      fail("The private key cannot be opened");
    }
    if (!signer.key && !keyPath.empty()) {
      Secret text(readWhole(keyPath));
      signer.key = readKey(text.text(), password());
      if (!signer.key && password() != nullptr) {
        signer.key = readKey(text.text(), nullptr);
      }
      if (!signer.key) {
        fail("The private key cannot be opened: " + keyPath);
      }
    }
    if (!signer.key) {
      for (const StoredKey& stored : store_.own) {
        if (X509_cmp(stored.certificate.get(), credentials.certificates.front().get()) == 0) {
          return fromStore(stored);
        }
      }
    }
    signer.certificate = std::move(credentials.certificates.front());
    credentials.certificates.erase(credentials.certificates.begin());
    signer.chain = std::move(credentials.certificates);
    return signer;
  }

  void takeSeparateKey(Credentials& credentials, Signer& signer) const {
    signer.key = readKey(separateKey_->text(), nullptr);
    if (!signer.key) {
      fail("The private key cannot be opened");
    }
    const auto own =
        std::find_if(credentials.certificates.begin(), credentials.certificates.end(),
                     [&](const CertHandle& certificate) {
                       return X509_check_private_key(certificate.get(), signer.key.get()) == 1;
                     });
    if (own != credentials.certificates.end()) {
      std::rotate(credentials.certificates.begin(), own, own + 1);
    }
  }

  // The links that the store knows, up to the anchor but without it.
  void completeChain(Signer& signer) const {
    constexpr std::size_t kMaxLinks = 16;
    X509* last = signer.certificate.get();
    std::vector<CertHandle> ordered;
    while (ordered.size() < kMaxLinks && X509_check_issued(last, last) != X509_V_OK) {
      X509* const issuer = issuerOf(last, signer.chain);
      if (issuer == nullptr || X509_check_issued(issuer, issuer) == X509_V_OK) {
        break;
      }
      ordered.push_back(share(issuer));
      last = issuer;
    }
    signer.chain = std::move(ordered);
  }

  X509* issuerOf(X509* certificate, const std::vector<CertHandle>& given) const {
    for (const auto* const list : {&given, &store_.trust.intermediates}) {
      for (const CertHandle& candidate : *list) {
        if (X509_check_issued(candidate.get(), certificate) == X509_V_OK) {
          return candidate.get();
        }
      }
    }
    return nullptr;
  }

  const Secret* password() const { return password_ ? &*password_ : nullptr; }

  const StoreContents& store_;
  const std::string_view name_;
  const LookupSettings& settings_;
  std::optional<Secret> password_;
  std::optional<Secret> separateKey_;
};

// All certificates of a text or file but those that only vouch for others in it.
std::vector<CertHandle> withoutIssuers(std::vector<CertHandle> certificates) {
  std::vector<CertHandle> kept;
  for (const CertHandle& certificate : certificates) {
    const bool isIssuer =
        std::any_of(certificates.begin(), certificates.end(), [&](const CertHandle& other) {
          return X509_cmp(certificate.get(), other.get()) != 0 &&
                 X509_check_issued(certificate.get(), other.get()) == X509_V_OK;
        });
    if (!isIssuer) {
      kept.push_back(share(certificate.get()));
    }
  }
  return kept;
}

X509* bestFor(const std::string& mailbox, const std::vector<X509*>& certificates, std::time_t now) {
  X509* best = nullptr;
  for (X509* const certificate : certificates) {
    if (isValidAt(certificate, now) && isIssuedFor(certificate, mailbox) &&
        isAllowed(certificate, Use::kEncrypt, KeyUsagePolicy::kKeyUsage) &&
        (best == nullptr || isBetter(certificate, best))) {
      best = certificate;
    }
  }
  return best;
}

std::vector<CertHandle> findRecipient(const StoreContents& store, std::string_view name,
                                      std::time_t now) {
  std::vector<CertHandle> found;
  if (isPem(name)) {
    return withoutIssuers(readCredentials(name, nullptr).certificates);
  }
  std::vector<X509*> people;
  for (const CertHandle& certificate : store.people) {
    people.push_back(certificate.get());
  }
  std::vector<X509*> own;
  for (const StoredKey& stored : store.own) {
    own.push_back(stored.certificate.get());
  }
  if (const std::string digits = thumbprintIn(name); !digits.empty()) {
    for (const auto* const list : {&people, &own}) {
      for (X509* const certificate : *list) {
        if (hasThumbprint(certificate, digits)) {
          found.push_back(share(certificate));
          return found;
        }
      }
    }
  }
  if (isFile(name)) {
    return withoutIssuers(readCredentials(readWhole(name), nullptr).certificates);
  }
  if (name.find('@') != std::string_view::npos) {
    const std::string mailbox = mailboxIn(name);
    X509* const best = bestFor(mailbox, people, now);
    X509* const chosen = best != nullptr ? best : bestFor(mailbox, own, now);
    if (chosen != nullptr) {
      found.push_back(share(chosen));
    }
    return found;
  }
  return withoutIssuers(readCredentials(bytesOfBase64(name), nullptr).certificates);
}

}  // namespace

Signer findSigner(const StoreContents& store, std::string_view name,
                  const std::optional<std::string>& second, const LookupSettings& settings) {
  const ErrorQueueGuard errors;
  return SignerSearch(store, name, second, settings).run();
}

std::vector<CertHandle> findRecipients(const StoreContents& store,
                                       const std::vector<std::string>& names,
                                       const LookupSettings& settings) {
  const ErrorQueueGuard errors;
  std::vector<CertHandle> recipients;
  for (const std::string& name : names) {
    std::vector<CertHandle> found = findRecipient(store, name, settings.now);
    if (found.empty()) {
      fail("Recipient certificate not found: " + shown(name));
    }
    for (CertHandle& certificate : found) {
      requirePolicy(certificate.get(), Use::kEncrypt, settings);
      const bool isKnown = std::any_of(
          recipients.begin(), recipients.end(),
          [&](const CertHandle& other) { return X509_cmp(other.get(), certificate.get()) == 0; });
      if (!isKnown) {
        recipients.push_back(std::move(certificate));
      }
    }
  }
  return recipients;
}

}  // namespace brennox::crypto
