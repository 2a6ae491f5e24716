#include "imap/rendering.h"

#include <brennox/Array.h>
#include <brennox/HTMLRendererCallback.h>
#include <brennox/HashMap.h>
#include <brennox/IMAPMessage.h>
#include <brennox/IMAPPart.h>
#include <brennox/IMAPSession.h>

#include "mime/format_flowed.h"
#include "mime/html_charset.h"
#include "text/ascii.h"
#include "text/charset.h"

namespace brennox::imap {
namespace {

thread_local Rendering* currentRendering = nullptr;

// Base64 makes 57 bytes into a line of 78.
constexpr std::uint64_t kBase64Bytes = 57;
constexpr std::uint64_t kBase64Line = 78;

}  // namespace

Rendering::Rendering(IMAPMessage* message, String* folder, HTMLRendererIMAPCallback* callback)
    : message_(message), folder_(folder), callback_(callback), outer_(currentRendering) {
  currentRendering = this;
}

Rendering::~Rendering() {
  currentRendering = outer_;
}

Rendering* Rendering::current() noexcept {
  return currentRendering;
}

Data* Rendering::contentOf(AbstractPart* part) {
  auto* const leaf = dynamic_cast<IMAPPart*>(part);
  return leaf == nullptr ? nullptr : callback_->dataForIMAPPart(folder_, leaf);
}

String* Rendering::textOf(AbstractPart* part) {
  Data* const data = contentOf(part);
  if (data == nullptr) {
    return nullptr;
  }
  std::string charset(brennox::textOf(part->charset()));
  const bool isHtml = text::equalsIgnoringCase(brennox::textOf(part->mimeType()), "text/html");
  if (charset.empty() && isHtml) {
    charset = mime::charsetInHtml(data->view());
  }
  auto* const leaf = static_cast<IMAPPart*>(part);
  if (leaf->isFlowed() && !isHtml) {
    return makeAutoreleased<String>(
        mime::unflow(text::decodeText(data->view(), charset), leaf->deletesFlowedSpaces()));
  }
  return text::decodedText(data->view(), charset);
}

std::optional<std::uint64_t> Rendering::sizeOf(AbstractPart* part) {
  auto* const leaf = dynamic_cast<IMAPPart*>(part);
  if (leaf == nullptr || leaf->size() == 0) {
    return std::nullopt;
  }
  const std::uint64_t size = leaf->size();
  return brennox::textOf(leaf->encoding()) == "base64" ? size * kBase64Bytes / kBase64Line : size;
}

void Rendering::prefetch(const std::vector<AbstractPart*>& parts) {
  for (AbstractPart* const part : parts) {
    auto* const leaf = dynamic_cast<IMAPPart*>(part);
    if (leaf == nullptr) {
      continue;
    }
    if (text::startsWithIgnoringCase(brennox::textOf(part->mimeType()), "image/")) {
      callback_->prefetchImageIMAPPart(folder_, leaf);
    } else {
      callback_->prefetchAttachmentIMAPPart(folder_, leaf);
    }
  }
}

void Rendering::want(IMAPPart* part) {
  if (contents_.count(std::string(brennox::textOf(part->partID()))) == 0) {
    wanted_.emplace_back(part);
  }
}

Data* Rendering::fetch(String* folder, IMAPPart* part) {
  const std::string id(brennox::textOf(part->partID()));
  if (contents_.count(id) == 0) {
    wanted_.emplace_back(part);
    fetchWanted(folder);
  }
  return contents_[id].autoreleased();
}

// All that is wanted goes into one command.
void Rendering::fetchWanted(String* folder) {
  const Ref<Array> parts = make<Array>();
  for (const Ref<IMAPPart>& part : wanted_) {
    std::string id(brennox::textOf(part->partID()));
    if (contents_.emplace(std::move(id), nullptr).second) {
      parts->addObject(part.get());
    }
  }
  wanted_.clear();
  IMAPSession* const session = message_->session();
  if (session == nullptr || parts->count() == 0) {
    return;
  }
  ErrorCode error = ErrorNone;
  HashMap* const fetched = session->fetchPartsByUID(folder, message_->uid(), parts.get(), &error);
  for (unsigned int i = 0; fetched != nullptr && i < parts->count(); ++i) {
    const std::string id(brennox::textOf(parts->at<IMAPPart>(i)->partID()));
    contents_[id] = static_cast<Data*>(fetched->objectForKey(make<String>(id).get()));
  }
}

}  // namespace brennox::imap
