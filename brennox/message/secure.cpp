#include "message/secure.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "crypto/decrypt.h"
#include "crypto/outline.h"
#include "crypto/store.h"
#include "crypto/verify.h"
#include "mime/content_fields.h"
#include "mime/entity.h"
#include "rfc822/parameters.h"
#include "text/ascii.h"
#include "text/base64.h"
#include "text/quoted_printable.h"

namespace brennox::message {
namespace {

// Three are common (signed, encrypted, signed again); a message that goes on is made to be costly.
constexpr unsigned int kMaxLayers = 10;

bool contains(std::string_view text, std::string_view part) {
  return std::search(text.begin(), text.end(), part.begin(), part.end(), [](char a, char b) {
           return text::toLower(a) == text::toLower(b);
         }) != text.end();
}

// Media types as they are written, with and without the x- of old times.
bool isEnvelopeType(const mime::MediaTypeView& type) {
  return text::equalsIgnoringCase(type.type, "application") &&
         (text::equalsIgnoringCase(type.subtype, "pkcs7-mime") ||
          text::equalsIgnoringCase(type.subtype, "x-pkcs7-mime"));
}

bool isSignatureType(const mime::MediaTypeView& type) {
  return text::equalsIgnoringCase(type.type, "application") &&
         (text::equalsIgnoringCase(type.subtype, "pkcs7-signature") ||
          text::equalsIgnoringCase(type.subtype, "x-pkcs7-signature"));
}

std::string parameterOf(const mime::Entity& entity, std::string_view name) {
  return std::string(rfc822::parseParameterized(entity.contentType).get(name));
}

bool isMultipartSigned(const mime::Entity& entity) {
  const mime::MediaTypeView type = mime::mediaTypeOf(entity.contentType);
  return text::equalsIgnoringCase(type.type, "multipart") &&
         text::equalsIgnoringCase(type.subtype, "signed");
}

bool isOctetStream(const mime::MediaTypeView& type) {
  return text::equalsIgnoringCase(type.type, "application") &&
         text::equalsIgnoringCase(type.subtype, "octet-stream");
}

std::string_view headerOf(std::string_view bytes, const mime::Entity& entity) {
  return bytes.substr(entity.header, entity.body - entity.header);
}

std::string_view bodyOf(std::string_view bytes, const mime::Entity& entity) {
  return bytes.substr(entity.body, entity.end - entity.body);
}

Ref<Block> copyOf(std::string_view bytes) {
  Ref<Block> block = Block::allocate(bytes.size());
  if (!bytes.empty()) {
    std::memcpy(block->bytes(), bytes.data(), bytes.size());
  }
  return block;
}

Ref<Block> decodeBase64(std::string_view encoded) {
  Ref<Block> block = Block::allocate(text::base64DecodedBound(encoded.size()));
  block->truncate(text::base64Decode(encoded, block->bytes()));
  return block;
}

std::string_view withoutBlanksInFront(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
}

// What stands between the lines of PEM; all of a text that is none.
std::string_view insidePem(std::string_view text) {
  const std::string_view trimmed = withoutBlanksInFront(text);
  const std::size_t line = trimmed.find('\n');
  if (!trimmed.starts_with("-----BEGIN ") || line == std::string_view::npos) {
    return text;
  }
  const std::string_view rest = trimmed.substr(line + 1);
  return rest.substr(0, rest.find("-----"));
}

// The bytes of a CMS message out of an entity's body, in a block that nobody else has.
Ref<Block> decodeCms(std::string_view body, std::string_view encoding) {
  switch (mime::transferEncodingOf(encoding)) {
    case mime::TransferEncoding::Base64:
      return decodeBase64(insidePem(body));
    case mime::TransferEncoding::QuotedPrintable: {
      Ref<Block> block = Block::allocate(body.size());
      block->truncate(text::quotedPrintableDecode(body, block->bytes()));
      return block;
    }
    default:
      break;
  }
  // Some gateways lose the field that names the encoding.
  const std::string_view text = withoutBlanksInFront(insidePem(body));
  if (crypto::contentTypeOf(body) == crypto::ContentType::kMalformed && text.starts_with("MI")) {
    return decodeBase64(text);
  }
  return copyOf(body);
}

bool hasBareLineFeed(std::string_view text) {
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  for (const char* p = begin; p < end; ++p) {
    p = static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)));
    if (p == nullptr) {
      return false;
    }
    if (p == begin || p[-1] != '\r') {
      return true;
    }
  }
  return false;
}

// Lines ended by CRLF, as they were on the way here and when they were signed.
std::string canonical(std::string_view text) {
  std::string result;
  result.reserve(text.size() + text.size() / 32);
  char before = '\0';
  for (const char c : text) {
    if (c == '\n' && before != '\r') {
      result += '\r';
    }
    result += c;
    before = c;
  }
  return result;
}

class Layers {
 public:
  Layers(mime::Source* message, const SecureSettings& settings)
      : settings_(settings), current_(message) {
    verify_.policy = crypto::policyNamed(settings.keyUsagePolicy);
    verify_.authors = settings.authors;
    verify_.now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  }

  SecureResult run() {
    unsigned int layers = 0;
    while (takeOff(layers < kMaxLayers)) {
      ++layers;
      if (!isUnreadable_) {
        result_.content = current_;
      }
    }
    result_.isVerified = result_.isSigned && areSignaturesGood_;
    result_.isDecrypted = result_.isEncrypted && status_ == crypto::DecryptStatus::kOpened;
    result_.decryptMessage = result_.isEncrypted ? crypto::decryptStatusText(status_) : "";
    return std::move(result_);
  }

 private:
  // Takes one layer off `current_`. False when there is none, or none that comes off. Beyond the
  // limit a layer only spoils what has been found so far.
  bool takeOff(bool isWithinLimit) {
    const mime::Entity& root = current_->entities().front();
    const mime::MediaTypeView type = mime::mediaTypeOf(root.contentType);
    if (isMultipartSigned(root)) {
      return takeOffDetached(isWithinLimit);
    }
    if (isEnvelopeType(type) ||
        (isOctetStream(type) && contains(headerOf(current_->bytes(), root), ".p7m"))) {
      return takeOffEnvelope(root, isEnvelopeType(type), isWithinLimit);
    }
    return false;
  }

  // multipart/signed (RFC 1847): the first part is what is signed, the second the signature.
  bool takeOffDetached(bool isWithinLimit) {
    const std::vector<mime::Entity>& entities = current_->entities();
    const std::string_view bytes = current_->bytes();
    const mime::Entity& root = entities.front();
    const mime::Entity* const first =
        root.firstChild == mime::kNoEntity ? nullptr : &entities[root.firstChild];
    const mime::Entity* const second = first == nullptr || first->nextSibling == mime::kNoEntity
                                           ? nullptr
                                           : &entities[first->nextSibling];
    const bool isOurs =
        isSignatureType(mime::mediaTypeOf(parameterOf(root, "protocol"))) ||
        (second != nullptr && isSignatureType(mime::mediaTypeOf(second->contentType)));
    if (!isOurs) {
      return false;
    }
    // With a part too few or too many nobody can tell what was signed.
    if (second == nullptr || second->nextSibling != mime::kNoEntity || !isWithinLimit) {
      addSignature({});
      return false;
    }
    const std::string_view content = bytes.substr(first->header, first->end - first->header);
    const Ref<Block> cms = decodeCms(bodyOf(bytes, *second), second->encoding);
    crypto::SignedOutline outline;
    isUnreadable_ = !crypto::readSigned({cms->bytes(), cms->size()}, outline);
    addSignature(isUnreadable_ ? crypto::Signature()
                               : verifyDetached({cms->bytes(), cms->size()}, content));
    current_ =
        make<mime::Source>(make<Data>(current_->data()->block(), content.data(), content.size()),
                           mime::entitiesBelow(entities, root.firstChild));
    return true;
  }

  crypto::Signature verifyDetached(std::string_view cms, std::string_view content) {
    const crypto::Trust& trust = store().trust;
    crypto::Signature signature = crypto::verifyDetached(cms, {content}, trust, verify_);
    if (signature.isGood || !hasBareLineFeed(content)) {
      return signature;
    }
    const std::string lines = canonical(content);
    return crypto::verifyDetached(cms, {lines}, trust, verify_);
  }

  // application/pkcs7-mime: what it is, the CMS message in it says and not its parameters.
  bool takeOffEnvelope(const mime::Entity& root, bool isDeclared, bool isWithinLimit) {
    Ref<Block> cms = decodeCms(bodyOf(current_->bytes(), root), root.encoding);
    switch (crypto::contentTypeOf({cms->bytes(), cms->size()})) {
      case crypto::ContentType::kSigned:
        return takeOffOpaque(std::move(cms), isWithinLimit);
      case crypto::ContentType::kEnveloped:
      case crypto::ContentType::kAuthEnveloped:
        return takeOffEncryption(std::move(cms), isWithinLimit);
      case crypto::ContentType::kOther:
        return false;
      case crypto::ContentType::kMalformed:
        break;
    }
    if (isDeclared) {
      addUnreadable(crypto::announcedTypeOf({cms->bytes(), cms->size()}),
                    parameterOf(root, "smime-type"));
    }
    return false;
  }

  // A message in pieces: its first octets or its label tell what it was.
  void addUnreadable(crypto::ContentType announced, std::string_view label) {
    switch (announced) {
      case crypto::ContentType::kSigned:
        addSignature({});
        return;
      case crypto::ContentType::kOther:
        return;
      case crypto::ContentType::kEnveloped:
      case crypto::ContentType::kAuthEnveloped:
        break;
      case crypto::ContentType::kMalformed:
        if (text::equalsIgnoringCase(label, "signed-data")) {
          addSignature({});
          return;
        }
        if (text::equalsIgnoringCase(label, "certs-only") ||
            text::equalsIgnoringCase(label, "compressed-data")) {
          return;
        }
        break;
    }
    addEncryption(settings_.doNotDecrypt ? crypto::DecryptStatus::kSwitchedOff
                                         : crypto::DecryptStatus::kMalformed);
  }

  bool takeOffOpaque(Ref<Block> cms, bool isWithinLimit) {
    if (!isWithinLimit) {
      addSignature({});
      return false;
    }
    const crypto::OpaqueSignature opened =
        crypto::verifyOpaque({cms->bytes(), cms->size()}, store().trust, verify_);
    if (!opened.isSignedContent) {
      // Certificates alone are no signature; but a broken one counts.
      crypto::SignedOutline outline;
      const bool isBag =
          crypto::readSigned({cms->bytes(), cms->size()}, outline) && outline.signers.empty();
      if (!isBag) {
        addSignature({});
      }
      return false;
    }
    isUnreadable_ = false;
    addSignature(opened.signature);
    current_ = make<mime::Source>(whole(std::move(cms), opened.content).get());
    return true;
  }

  // The pieces stand in `block`.
  static Ref<Data> whole(Ref<Block> block, const crypto::Pieces& pieces) {
    if (pieces.size() != 1) {
      return joined(pieces);
    }
    const std::string_view content = pieces.front();
    return make<Data>(std::move(block), content.data(), content.size());
  }

  static Ref<Data> joined(const crypto::Pieces& pieces) {
    std::size_t length = 0;
    for (const std::string_view piece : pieces) {
      length += piece.size();
    }
    Ref<Block> block = Block::allocate(length);
    char* out = block->bytes();
    for (const std::string_view piece : pieces) {
      out = std::copy(piece.begin(), piece.end(), out);
    }
    return make<Data>(std::move(block));
  }

  bool takeOffEncryption(Ref<Block> cms, bool isWithinLimit) {
    if (settings_.doNotDecrypt || !isWithinLimit) {
      addEncryption(settings_.doNotDecrypt ? crypto::DecryptStatus::kSwitchedOff
                                           : crypto::DecryptStatus::kMalformed);
      return false;
    }
    const crypto::DecryptResult opened = crypto::decrypt(std::move(cms), store().keys());
    addEncryption(opened.status);
    if (opened.status != crypto::DecryptStatus::kOpened) {
      return false;
    }
    current_ = make<mime::Source>(opened.content.get());
    return true;
  }

  void addSignature(const crypto::Signature& signature) {
    areSignaturesGood_ = signature.isGood && (areSignaturesGood_ || !result_.isSigned);
    if (result_.isSigned) {
      return;
    }
    result_.isSigned = true;
    if (!signature.certificate.empty()) {
      result_.signerCertificate =
          make<Data>(signature.certificate.data(), signature.certificate.size());
    }
    result_.creationDate = signature.creationDate;
    result_.signatureAlgorithm = signature.signatureAlgorithm;
    result_.digestAlgorithm = signature.digestAlgorithm;
  }

  // The walk ends with the first layer that does not open, so the last outcome is that of all.
  void addEncryption(crypto::DecryptStatus status) {
    isUnreadable_ = false;
    result_.isEncrypted = true;
    status_ = status;
  }

  // One state of the certificates for all layers.
  const crypto::StoreContents& store() {
    if (!store_) {
      store_ = crypto::CertificateStore::contents();
    }
    return *store_;
  }

  const SecureSettings& settings_;
  crypto::VerifySettings verify_;
  Ref<mime::Source> current_;
  SecureResult result_;
  bool areSignaturesGood_ = false;
  // The last layer was a signature that is none: what it claims to sign is shown as it came, with
  // the supposed signature beside it, unless there is a further layer inside.
  bool isUnreadable_ = false;
  crypto::DecryptStatus status_ = crypto::DecryptStatus::kOpened;
  std::shared_ptr<const crypto::StoreContents> store_;
};

}  // namespace

bool mayHaveLayers(std::string_view mediaType, std::string_view filename) {
  return mediaType == "multipart/signed" || mediaType == "application/pkcs7-mime" ||
         mediaType == "application/x-pkcs7-mime" ||
         (mediaType == "application/octet-stream" && contains(filename, ".p7m"));
}

SecureResult openLayers(mime::Source* message, const SecureSettings& settings) {
  return Layers(message, settings).run();
}

}  // namespace brennox::message
