// The signature goes inside, the encryption around it: who signed is nobody's business but the
// recipients'. Everything is written straight into the message's one block: the signed entity is
// never copied before it is encrypted, and the ciphertext is encoded as it comes.
#include "message/protect.h"

#include <brennox/Array.h>
#include <brennox/String.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <optional>
#include <stdexcept>

#include "crypto/encrypt.h"
#include "crypto/lookup.h"
#include "crypto/sign.h"
#include "crypto/store.h"
#include "text/base64.h"

namespace brennox::message {
namespace {

constexpr std::string_view kSignatureFields =
    "Content-Type: application/pkcs7-signature; name=\"smime.p7s\"\r\n"
    "Content-Transfer-Encoding: base64\r\n"
    "Content-Disposition: attachment; filename=\"smime.p7s\"\r\n"
    "Content-Description: S/MIME Cryptographic Signature\r\n"
    "\r\n";

constexpr std::string_view kEnvelopeFields =
    "Content-Type: application/pkcs7-mime; smime-type=enveloped-data;\r\n"
    " name=\"smime.p7m\"\r\n"
    "Content-Transfer-Encoding: base64\r\n"
    "Content-Disposition: attachment; filename=\"smime.p7m\"\r\n"
    "Content-Description: S/MIME Encrypted Message\r\n"
    "\r\n";

// Fills a block of exactly the announced size.
class BlockWriter {
 public:
  void allocate(std::size_t size) {
    block_ = Block::allocate(size);
    out_ = block_->bytes();
  }

  void write(std::string_view bytes) {
    require(bytes.size());
    std::memcpy(out_, bytes.data(), bytes.size());
    out_ += bytes.size();
  }

  // Lines of 76 characters out of pieces of any length.
  void writeBase64(std::string_view bytes) {
    if (carried_ > 0) {
      const std::size_t taken = std::min(bytes.size(), carry_.size() - carried_);
      std::memcpy(carry_.data() + carried_, bytes.data(), taken);
      carried_ += taken;
      bytes.remove_prefix(taken);
      if (carried_ < carry_.size()) {
        return;
      }
      encode({carry_.data(), carry_.size()});
      carried_ = 0;
    }
    const std::size_t whole = bytes.size() / carry_.size() * carry_.size();
    encode(bytes.substr(0, whole));
    bytes.remove_prefix(whole);
    std::memcpy(carry_.data(), bytes.data(), bytes.size());
    carried_ = bytes.size();
  }

  void endBase64() {
    encode({carry_.data(), carried_});
    carried_ = 0;
  }

  Ref<Data> finish() {
    if (out_ != block_->bytes() + block_->size()) {
      throw std::runtime_error("The message cannot be put together");
    }
    return make<Data>(std::move(block_));
  }

 private:
  void require(std::size_t length) const {
    if (static_cast<std::size_t>(block_->bytes() + block_->size() - out_) < length) {
      throw std::runtime_error("The message cannot be put together");
    }
  }

  void encode(std::string_view bytes) {
    if (!bytes.empty()) {
      require(text::base64EncodedLinesLength(bytes.size()));
      text::base64EncodeLines(bytes, out_);
      out_ += text::base64EncodedLinesLength(bytes.size());
    }
  }

  Ref<Block> block_;
  char* out_ = nullptr;
  std::array<char, text::kBase64LineBytes> carry_{};
  std::size_t carried_ = 0;
};

crypto::LookupSettings lookupSettings(const Protection& protection) {
  crypto::LookupSettings settings;
  settings.policyName = textOf(protection.keyUsagePolicy);
  settings.policy = crypto::policyNamed(settings.policyName);
  settings.now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  settings.author = textOf(protection.sender);
  settings.mailboxes = protection.mailboxes;
  return settings;
}

crypto::Signer findSigner(const Protection& protection, const crypto::StoreContents& store,
                          const crypto::LookupSettings& settings) {
  std::optional<std::string> second;
  if (protection.signerSecond != nullptr) {
    second.emplace(protection.signerSecond->view());
  }
  crypto::Signer signer = crypto::findSigner(store, protection.signer->view(), second, settings);
  if (second) {
    crypto::cleanse(*second);
  }
  return signer;
}

std::string boundaryOf(const Protection& protection) {
  return protection.boundaryStem + "s";
}

// What stands before the entity when it is signed.
std::string signedFront(const Protection& protection, const crypto::Signer& signer) {
  const std::string boundary = boundaryOf(protection);
  std::string front =
      "Content-Type: multipart/signed; protocol=\"application/pkcs7-signature\";\r\n micalg=";
  front += crypto::micalgOf(signer);
  front += ";\r\n boundary=\"" + boundary + "\"\r\n\r\n--" + boundary + "\r\n";
  return front;
}

// What follows it.
std::string signedEnd(const Protection& protection, std::string_view signature) {
  const std::string boundary = boundaryOf(protection);
  std::string end = "\r\n--" + boundary + "\r\n";
  end += kSignatureFields;
  const std::size_t encoded = text::base64EncodedLinesLength(signature.size());
  end.resize(end.size() + encoded);
  text::base64EncodeLines(signature, end.data() + end.size() - encoded);
  end += "\r\n--" + boundary + "--\r\n";
  return end;
}

// Signs the entity where it stands and puts the signature behind it.
Ref<Data> makeSigned(std::string_view fields, const EntityWriter& writeEntity,
                     const Protection& protection, const crypto::Signer& signer) {
  std::string front(fields);
  front += signedFront(protection, signer);
  const std::size_t room =
      signedEnd(protection, std::string(crypto::maxSignatureLength(signer), '\0')).size();
  Ref<Block> block = writeEntity(front, room);
  const std::size_t entityEnd = block->size() - room;
  const std::string_view entity(block->bytes() + front.size(), entityEnd - front.size());
  const std::string end = signedEnd(protection, crypto::sign({entity}, signer));
  if (end.size() > room) {
    throw std::runtime_error("The message cannot be put together");
  }
  std::memcpy(block->bytes() + entityEnd, end.data(), end.size());
  block->truncate(entityEnd + end.size());
  return make<Data>(std::move(block));
}

}  // namespace

bool Protection::isEncrypted() const {
  return recipients != nullptr && recipients->count() > 0;
}

Ref<Data> protect(std::string_view fields, const EntityWriter& writeEntity,
                  const Protection& protection) {
  const auto store = crypto::CertificateStore::contents();
  const crypto::LookupSettings settings = lookupSettings(protection);
  // Everything is looked up before anything is computed: most failures are here.
  std::vector<crypto::CertHandle> recipients;
  if (protection.isEncrypted()) {
    std::vector<std::string> names;
    for (unsigned int i = 0; i < protection.recipients->count(); ++i) {
      names.emplace_back(textOf(dynamic_cast<String*>(protection.recipients->objectAtIndex(i))));
    }
    recipients = crypto::findRecipients(*store, names, settings);
  }
  crypto::Signer signer;
  if (protection.isSigned()) {
    signer = findSigner(protection, *store, settings);
  }
  if (!protection.isEncrypted()) {
    return makeSigned(fields, writeEntity, protection, signer);
  }

  const Ref<Block> block = writeEntity("", 0);
  const std::string_view entity(block->bytes(), block->size());
  std::string front;
  std::string end;
  if (protection.isSigned()) {
    front = signedFront(protection, signer);
    end = signedEnd(protection, crypto::sign({entity}, signer));
  }
  BlockWriter writer;
  crypto::encrypt(
      {front, entity, end}, recipients,
      [&](std::size_t length) {
        writer.allocate(fields.size() + kEnvelopeFields.size() +
                        text::base64EncodedLinesLength(length));
        writer.write(fields);
        writer.write(kEnvelopeFields);
      },
      [&](std::string_view der) { writer.writeBase64(der); });
  writer.endBase64();
  return writer.finish();
}

}  // namespace brennox::message
