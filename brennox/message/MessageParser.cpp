// Joins the reading side of mime, the renderings and S/MIME into one object per message.
#include <brennox/Array.h>
#include <brennox/Attachment.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/MessageHeader.h>
#include <brennox/MessageParser.h>
#include <brennox/String.h>

#include "html/render.h"
#include "message/secure.h"
#include "mime/MimePart.h"
#include "mime/classify.h"
#include "mime/filename.h"
#include "rfc822/address_list.h"
#include "rfc822/header_fields.h"

namespace brennox {
namespace {

// The contents of a parsed message's parts, for the renderings.
class PartContents final : public html::ContentSource {
 public:
  PartContents(AbstractPart* root, const mime::Sorting& sorting) : root_(root), sorting_(sorting) {}

  Data* contentOf(AbstractPart* part) override {
    auto* const leaf = dynamic_cast<Attachment*>(part);
    return leaf == nullptr ? nullptr : leaf->data();
  }
  String* textOf(AbstractPart* part) override {
    auto* const leaf = dynamic_cast<Attachment*>(part);
    return leaf == nullptr ? nullptr : leaf->decodedString();
  }
  const mime::Sorting* sortingOf(AbstractPart* root) override {
    return root == root_ ? &sorting_ : nullptr;
  }

 private:
  AbstractPart* root_;
  const mime::Sorting& sorting_;
};

// What a part without a file name is called, before its ending.
std::string stemFor(AbstractPart* part, unsigned int number) {
  if (part->partType() == PartType::Message) {
    std::string subject;
    if (MessageHeader* const header = part->header()) {
      subject = mime::cleanFilename(textOf(header->subject()));
    }
    return subject.empty() ? "message-" + std::to_string(number) : subject;
  }
  const std::string_view type = textOf(part->mimeType());
  if (type == "text/calendar") {
    return "invite";
  }
  if (type == "application/pkcs7-signature" || type == "application/x-pkcs7-signature" ||
      type == "application/pkcs7-mime" || type == "application/x-pkcs7-mime") {
    return "smime";
  }
  if (type == "application/pgp-signature") {
    return "signature";
  }
  const std::string_view major = type.substr(0, type.find('/'));
  const bool telling = major == "image" || major == "audio" || major == "video" || major == "text";
  return std::string(telling ? major : "attachment") + "-" + std::to_string(number);
}

void nameParts(const std::vector<AbstractPart*>& parts) {
  unsigned int number = 0;
  for (AbstractPart* part : parts) {
    ++number;
    if (textOf(part->filename()).empty()) {
      const std::string stem = stemFor(part, number);
      const std::string name = mime::makeFilename(stem, textOf(part->mimeType()));
      // A subject may be too long for a name.
      part->setFilename(String::stringWithText(mime::cleanFilename(name)));
    }
  }
}

Ref<Array> arrayOf(const std::vector<AbstractPart*>& parts) {
  Ref<Array> array = make<Array>();
  array->reserve(static_cast<unsigned int>(parts.size()));
  for (AbstractPart* part : parts) {
    array->addObject(part);
  }
  return array;
}

std::vector<std::string> authorsOf(std::string_view header) {
  std::vector<rfc822::Mailbox> mailboxes;
  rfc822::FieldScanner scanner(header);
  rfc822::HeaderField field;
  while (scanner.next(field)) {
    if (field.id == rfc822::FieldId::kFrom) {
      rfc822::parseAddressList(field.value, {}, rfc822::EncodedWords::kKeep, mailboxes);
    }
  }
  std::vector<std::string> authors;
  for (rfc822::Mailbox& mailbox : mailboxes) {
    authors.push_back(std::move(mailbox.address));
  }
  return authors;
}

}  // namespace

struct MessageParser::State {
  Ref<Data> data;
  // The message as it came; null for an empty parser.
  Ref<mime::MimePart> message;
  // What stood inside the layers of S/MIME; null where there were none to take off.
  Ref<mime::MimePart> inside;
  message::SecureResult secure;
  Ref<MessageHeader> header;
  // Null and empty until one is asked for. Parts keep their places from then on, whatever names or
  // types they are given.
  Ref<Array> attachments;
  Ref<Array> inlined;
  mime::Sorting sorting;
  Ref<String> tempFolder;
  Ref<String> keyUsagePolicy;
  bool doNotDecrypt = false;

  AbstractPart* root() const { return inside ? inside.get() : message.get(); }

  void openLayers() {
    if (!message::mayHaveLayers(textOf(message->mimeType()), textOf(message->filename()))) {
      return;
    }
    message::SecureSettings settings;
    settings.doNotDecrypt = doNotDecrypt;
    settings.keyUsagePolicy = textOf(keyUsagePolicy.get());
    settings.authors = authorsOf(message->rawHeader());
    secure = message::openLayers(message->source(), settings);
    // What is shown is what was signed and nothing beside it.
    if (secure.content) {
      inside = mime::MimePart::parse(secure.content);
    }
  }

  void sort() {
    if (attachments || root() == nullptr) {
      return;
    }
    const AutoreleasePool pool;
    sorting = mime::sortParts(root());
    if (mime::needsCidReferences(sorting)) {
      mime::CidReferences references;
      for (const mime::Body& body : sorting.bodies) {
        for (AbstractPart* part : body.html) {
          if (textOf(part->mimeType()) == "text/html") {
            const AutoreleasePool textPool;
            mime::collectCidReferences(textOf(static_cast<Attachment*>(part)->decodedString()),
                                       references);
          }
        }
      }
      sorting = mime::sortParts(root(), &references);
    }
    nameParts(sorting.attachments);
    nameParts(sorting.inlined);
    attachments = arrayOf(sorting.attachments);
    inlined = arrayOf(sorting.inlined);
  }

  PartContents contents() {
    sort();
    return PartContents(root(), sorting);
  }
};

MessageParser::MessageParser() : state_(std::make_unique<State>()) {}

MessageParser::~MessageParser() = default;

MessageParser* MessageParser::messageParserWithData(Data* data) {
  return messageParserWithData(data, nullptr, false, nullptr);
}

MessageParser* MessageParser::messageParserWithData(Data* data, String* tempFolder,
                                                    bool doNotDecrypt, String* keyUsagePolicy) {
  if (data == nullptr) {
    return nullptr;
  }
  auto* parser = makeAutoreleased<MessageParser>();
  parser->state_->tempFolder = tempFolder;
  parser->state_->doNotDecrypt = doNotDecrypt;
  parser->state_->keyUsagePolicy = keyUsagePolicy;
  parser->state_->data = data;
  parser->state_->message = mime::MimePart::parse(data);
  parser->state_->openLayers();
  return parser;
}

MessageParser* MessageParser::messageParserWithContentsOfFile(String* path, String* tempFolder) {
  return messageParserWithData(Data::dataWithContentsOfFile(path), tempFolder, false, nullptr);
}

MessageHeader* MessageParser::header() {
  State& state = *state_;
  if (!state.header && state.message && !state.message->rawHeader().empty()) {
    state.header = state.message->messageHeader();
  }
  return state.header.get();
}

AbstractPart* MessageParser::mainPart() {
  return state_->root();
}

Array* MessageParser::attachments() {
  state_->sort();
  return state_->attachments.get();
}

Array* MessageParser::htmlInlineAttachments() {
  state_->sort();
  return state_->inlined.get();
}

Data* MessageParser::data() {
  return state_->data.get();
}

String* MessageParser::htmlRendering(HTMLRendererTemplateCallback* templates) {
  if (mainPart() == nullptr) {
    return String::string();
  }
  PartContents contents = state_->contents();
  return html::htmlRendering(header(), mainPart(), contents, templates);
}

String* MessageParser::htmlBodyRendering() {
  if (mainPart() == nullptr) {
    return String::string();
  }
  PartContents contents = state_->contents();
  return html::htmlBodyRendering(mainPart(), contents);
}

String* MessageParser::plainTextRendering() {
  if (mainPart() == nullptr) {
    return String::string();
  }
  PartContents contents = state_->contents();
  return html::plainTextRendering(header(), mainPart(), contents);
}

String* MessageParser::plainTextBodyRendering(bool stripWhitespace) {
  if (mainPart() == nullptr) {
    return String::string();
  }
  PartContents contents = state_->contents();
  return html::plainTextBodyRendering(mainPart(), contents, stripWhitespace);
}

bool MessageParser::doNotDecrypt() {
  return state_->doNotDecrypt;
}

void MessageParser::setDoNotDecrypt(bool doNotDecrypt) {
  state_->doNotDecrypt = doNotDecrypt;
}

String* MessageParser::keyUsagePolicy() {
  return state_->keyUsagePolicy.get();
}

void MessageParser::setKeyUsagePolicy(String* policy) {
  state_->keyUsagePolicy = policy;
}

String* MessageParser::getTempFolder() {
  return state_->tempFolder.get();
}

void MessageParser::setTempFolder(String* path) {
  state_->tempFolder = path;
}

bool MessageParser::isSigned() {
  return state_->secure.isSigned;
}

bool MessageParser::isEncrypted() {
  return state_->secure.isEncrypted;
}

bool MessageParser::VerifyResult() {
  return state_->secure.isVerified;
}

Data* MessageParser::SignerCert() {
  return state_->secure.signerCertificate.get();
}

String* MessageParser::CreationDate() {
  return String::stringWithText(state_->secure.creationDate);
}

String* MessageParser::SignAlg() {
  return String::stringWithText(state_->secure.signatureAlgorithm);
}

String* MessageParser::HashAlg() {
  return String::stringWithText(state_->secure.digestAlgorithm);
}

// False where nothing was encrypted, as VerifyResult is where nothing was signed: both say that
// something was done and went well.
bool MessageParser::DecryptResult() {
  return state_->secure.isDecrypted;
}

String* MessageParser::DecryptResultMessage() {
  return String::stringWithText(state_->secure.decryptMessage);
}

}  // namespace brennox
