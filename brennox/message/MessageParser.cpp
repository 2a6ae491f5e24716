// Joins the reading side of mime, the renderings and S/MIME into one object per message.
#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/MessageHeader.h>
#include <brennox/MessageParser.h>
#include <brennox/String.h>

#include <stdexcept>

namespace brennox {

struct MessageParser::State {
  Ref<Data> data;
  Ref<String> tempFolder;
  Ref<String> keyUsagePolicy;
  bool doNotDecrypt = false;
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
  return parser;
}

MessageParser* MessageParser::messageParserWithContentsOfFile(String* path, String* tempFolder) {
  return messageParserWithData(Data::dataWithContentsOfFile(path), tempFolder, false, nullptr);
}

MessageHeader* MessageParser::header() {
  if (!state_->data) {
    return nullptr;
  }
  throw std::logic_error("Not implemented");
}

AbstractPart* MessageParser::mainPart() {
  if (!state_->data) {
    return nullptr;
  }
  throw std::logic_error("Not implemented");
}

Array* MessageParser::attachments() {
  if (!state_->data) {
    return nullptr;
  }
  throw std::logic_error("Not implemented");
}

Array* MessageParser::htmlInlineAttachments() {
  if (!state_->data) {
    return nullptr;
  }
  throw std::logic_error("Not implemented");
}

Data* MessageParser::data() {
  return state_->data.get();
}

String* MessageParser::htmlRendering(HTMLRendererTemplateCallback* /*templates*/) {
  if (!state_->data) {
    return String::string();
  }
  throw std::logic_error("Not implemented");
}

String* MessageParser::htmlBodyRendering() {
  if (!state_->data) {
    return String::string();
  }
  throw std::logic_error("Not implemented");
}

String* MessageParser::plainTextRendering() {
  if (!state_->data) {
    return String::string();
  }
  throw std::logic_error("Not implemented");
}

String* MessageParser::plainTextBodyRendering(bool /*stripWhitespace*/) {
  if (!state_->data) {
    return String::string();
  }
  throw std::logic_error("Not implemented");
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
  return false;
}

bool MessageParser::isEncrypted() {
  return false;
}

bool MessageParser::VerifyResult() {
  return false;
}

Data* MessageParser::SignerCert() {
  return nullptr;
}

String* MessageParser::CreationDate() {
  return String::string();
}

String* MessageParser::SignAlg() {
  return String::string();
}

String* MessageParser::HashAlg() {
  return String::string();
}

// False where nothing was encrypted, as VerifyResult is where nothing was signed: both say that
// something was done and went well.
bool MessageParser::DecryptResult() {
  return false;
}

String* MessageParser::DecryptResultMessage() {
  return String::string();
}

}  // namespace brennox
