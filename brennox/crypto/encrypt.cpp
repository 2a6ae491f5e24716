// OpenSSL makes the envelope: content key, recipients, parameters. The content then runs through
// its cipher here, chunk by chunk into the sink, instead of through a structure in memory.
#include "crypto/encrypt.h"

#include <openssl/objects.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "crypto/algorithms.h"
#include "crypto/der.h"
#include "crypto/engine.h"

namespace brennox::crypto {
namespace {

// Small enough to stay in a near cache between the cipher and the sink.
constexpr std::size_t kChunk = 48 * 1024;

[[noreturn]] void fail(const char* text) {
  throw std::runtime_error(text);
}

const EVP_CIPHER* cipherFor(const std::vector<CertHandle>& recipients) {
  const bool hasGost =
      std::any_of(recipients.begin(), recipients.end(),
                  [](const CertHandle& recipient) { return isGost(keyKindOf(recipient.get())); });
  if (!hasGost) {
    return EVP_aes_256_cbc();
  }
  const EVP_CIPHER* const cipher =
      isGostAvailable() ? EVP_get_cipherbynid(NID_id_Gost28147_89) : nullptr;
  if (cipher == nullptr) {
    fail("GOST cryptography is not available");
  }
  return cipher;
}

// GOST keys need their context before the content key is wrapped, and have to be told the cipher;
// the derivation from an elliptic key must not be left at SHA-1.
void addRecipient(CMS_ContentInfo* cms, X509* certificate, const EVP_CIPHER* cipher) {
  const KeyKind kind = keyKindOf(certificate);
  if (kind != KeyKind::kRsa && kind != KeyKind::kEc && !isGost(kind)) {
    fail("A recipient certificate's kind of key is not supported");
  }
  CMS_RecipientInfo* const info =
      CMS_add1_recipient(cms, certificate, nullptr, nullptr, CMS_KEY_PARAM);
  EVP_PKEY_CTX* const context = info == nullptr ? nullptr : CMS_RecipientInfo_get0_pkey_ctx(info);
  if (context == nullptr) {
    fail("The message cannot be encrypted for a recipient certificate");
  }
  if (isGost(kind)) {
    // -2 says that the key has no use for it.
    EVP_PKEY_CTX_ctrl(context, -1, -1, EVP_PKEY_CTRL_CIPHER, EVP_CIPHER_get_nid(cipher), nullptr);
  } else if (kind == KeyKind::kEc && EVP_PKEY_CTX_set_ecdh_kdf_md(context, EVP_sha256()) <= 0) {
    fail("The message cannot be encrypted for a recipient certificate");
  }
}

// The envelope as OpenSSL writes it, without content, taken apart where the content belongs.
struct Envelope {
  std::string_view type;  // object identifier of the message, whole
  std::string_view before;
  std::string_view contentInfo;
  std::string_view after;
};

bool takeApart(std::string_view der, Envelope& envelope) {
  const std::optional<DerValue> info = DerReader(der).next(kDerSequence);
  if (!info) {
    return false;
  }
  DerReader outer(info->content);
  const std::optional<DerValue> type = outer.next(kDerObjectIdentifier);
  const std::optional<DerValue> content = outer.next(derContext(0, true));
  const std::optional<DerValue> body =
      content ? DerReader(content->content).next(kDerSequence) : std::nullopt;
  if (!type || !body) {
    return false;
  }
  DerReader fields(body->content);
  // version, originatorInfo [0] OPTIONAL, recipientInfos, encryptedContentInfo
  if (!fields.next(kDerInteger)) {
    return false;
  }
  fields.next(derContext(0, true));
  if (!fields.next(kDerSet)) {
    return false;
  }
  envelope.type = type->whole;
  envelope.before = body->content.substr(0, body->content.size() - fields.rest().size());
  const std::optional<DerValue> contentInfo = fields.next(kDerSequence);
  if (!contentInfo) {
    return false;
  }
  envelope.contentInfo = contentInfo->content;
  envelope.after = fields.rest();
  return true;
}

class Encryption {
 public:
  Encryption(const Pieces& content, const DerSink& sink) : content_(content), sink_(sink) {
    for (const std::string_view piece : content) {
      length_ += piece.size();
    }
  }

  void run(const std::vector<CertHandle>& recipients,
           const std::function<void(std::size_t)>& prepare) {
    const EVP_CIPHER* const cipher = cipherFor(recipients);
    cms_.reset(CMS_encrypt(nullptr, nullptr, cipher,
                           CMS_BINARY | CMS_PARTIAL | CMS_STREAM | CMS_DETACHED));
    if (!cms_) {
      fail("The message cannot be encrypted");
    }
    for (const CertHandle& recipient : recipients) {
      addRecipient(cms_.get(), recipient.get(), cipher);
    }
    EVP_CIPHER_CTX* const context = start();
    const std::string envelopeDer = envelope();
    Envelope parts;
    if (!takeApart(envelopeDer, parts)) {
      fail("The message cannot be encrypted");
    }
    const std::size_t block = static_cast<std::size_t>(EVP_CIPHER_CTX_get_block_size(context));
    // Block ciphers always pad, stream ciphers (block size 1) never.
    const std::size_t encrypted = block > 1 ? (length_ / block + 1) * block : length_;
    const std::string contentHead = derHead(derContext(0, false), encrypted);
    const std::string contentInfoHead =
        derHead(kDerSequence, parts.contentInfo.size() + contentHead.size() + encrypted);
    const std::size_t bodyLength = parts.before.size() + contentInfoHead.size() +
                                   parts.contentInfo.size() + contentHead.size() + encrypted +
                                   parts.after.size();
    const std::string bodyHead = derHead(kDerSequence, bodyLength);
    const std::string explicitHead = derHead(derContext(0, true), bodyHead.size() + bodyLength);
    const std::size_t infoLength =
        parts.type.size() + explicitHead.size() + bodyHead.size() + bodyLength;
    const std::string infoHead = derHead(kDerSequence, infoLength);
    prepare(infoHead.size() + infoLength);

    std::string front = infoHead;
    front += parts.type;
    front += explicitHead;
    front += bodyHead;
    front += parts.before;
    front += contentInfoHead;
    front += parts.contentInfo;
    front += contentHead;
    sink_(front);
    encryptContent(context, encrypted);
    sink_(parts.after);
  }

 private:
  // Wraps the content key for every recipient and sets up the cipher.
  EVP_CIPHER_CTX* start() {
    BioHandle end(BIO_new(BIO_s_null()));
    if (!end) {
      fail("The message cannot be encrypted");
    }
    chain_.reset(CMS_dataInit(cms_.get(), end.get()));
    if (!chain_) {
      fail("The message cannot be encrypted for a recipient certificate");
    }
    // The chain ends there and owns it now.
    static_cast<void>(end.release());
    BIO* const cipherBio = BIO_find_type(chain_.get(), BIO_TYPE_CIPHER);
    EVP_CIPHER_CTX* context = nullptr;
    if (cipherBio == nullptr || BIO_get_cipher_ctx(cipherBio, &context) != 1) {
      fail("The message cannot be encrypted");
    }
    return context;
  }

  std::string envelope() const {
    const int length = i2d_CMS_ContentInfo(cms_.get(), nullptr);
    std::string der(static_cast<std::size_t>(std::max(length, 0)), '\0');
    auto* out = reinterpret_cast<unsigned char*>(der.data());
    i2d_CMS_ContentInfo(cms_.get(), &out);
    return der;
  }

  void encryptContent(EVP_CIPHER_CTX* context, std::size_t expected) {
    std::vector<unsigned char> output(kChunk + EVP_MAX_BLOCK_LENGTH);
    std::size_t written = 0;
    const auto give = [&](int length) {
      written += static_cast<std::size_t>(length);
      sink_({reinterpret_cast<const char*>(output.data()), static_cast<std::size_t>(length)});
    };
    for (std::string_view piece : content_) {
      while (!piece.empty()) {
        const std::string_view chunk = piece.substr(0, kChunk);
        int length = 0;
        if (EVP_EncryptUpdate(context, output.data(), &length,
                              reinterpret_cast<const unsigned char*>(chunk.data()),
                              static_cast<int>(chunk.size())) != 1) {
          fail("The message cannot be encrypted");
        }
        give(length);
        piece.remove_prefix(chunk.size());
      }
    }
    int length = 0;
    if (EVP_EncryptFinal_ex(context, output.data(), &length) != 1) {
      fail("The message cannot be encrypted");
    }
    give(length);
    // The lengths are already written.
    if (written != expected) {
      fail("The message cannot be encrypted");
    }
  }

  const Pieces& content_;
  const DerSink& sink_;
  std::size_t length_ = 0;
  CmsHandle cms_;
  BioHandle chain_;
};

}  // namespace

void encrypt(const Pieces& content, const std::vector<CertHandle>& recipients,
             const std::function<void(std::size_t)>& prepare, const DerSink& sink) {
  const ErrorQueueGuard errors;
  if (recipients.empty()) {
    fail("There is no recipient certificate to encrypt for");
  }
  Encryption(content, sink).run(recipients, prepare);
}

}  // namespace brennox::crypto
