// What a leaf may hold besides plain content: an encoded message or multipart, winmail.dat, files
// inside of a text. These members of MimePart find it and present the leaf as what it holds.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "mime/MimePart.h"
#include "mime/body_decoding.h"
#include "mime/filename.h"
#include "mime/find3.h"
#include "mime/mime_types.h"
#include "mime/rtf.h"
#include "mime/tnef.h"
#include "mime/uuencode.h"
#include "mime/yenc.h"
#include "rfc822/message_id.h"
#include "rfc822/parameters.h"
#include "text/ascii.h"
#include "text/encoded_word.h"

namespace brennox::mime {
namespace {

// Encodings around encodings (a base64 message in a quoted-printable message in ...) cost a copy
// each. What is packed deeper stays a leaf.
constexpr unsigned int kMaxEncodings = 8;
// Files that are looked for inside one text part.
constexpr std::size_t kMaxEmbeddedFiles = 10'000;
// Longer texts are not searched for files.
constexpr std::size_t kMaxTextScan = std::size_t{64} << 20;

String* typeString(std::string_view type) {
  return String::uniquedStringWithText(type);
}

bool isBlankText(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return text::isSpace(c); });
}

// Cheap test before a text is searched for files.
bool mayHoldFiles(std::string_view text) {
  if (text.size() > kMaxTextScan) {
    return false;
  }
  if (text.substr(0, 6) == "begin " || text.substr(0, 8) == "=ybegin ") {
    return true;
  }
  const char* const end = text.data() + text.size();
  for (const char* at = find3(text.data(), end, '\n', 'b', 'e'); at != nullptr;
       at = find3(at + 1, end, '\n', 'b', 'e')) {
    if (std::string_view(
            at + 1, std::min<std::size_t>(6, static_cast<std::size_t>(end - at) - 1)) == "begin ") {
      return true;
    }
  }
  for (const char* at = find3(text.data(), end, '\n', '=', 'y'); at != nullptr;
       at = find3(at + 1, end, '\n', '=', 'y')) {
    if (std::string_view(at + 1, std::min<std::size_t>(
                                     8, static_cast<std::size_t>(end - at) - 1)) == "=ybegin ") {
      return true;
    }
  }
  return false;
}

}  // namespace

void MimePart::lookInside() {
  if (partType() != PartType::Single || depth_ >= kMaxEntityDepth) {
    return;
  }
  const std::string_view type = mimeType()->view();
  if (type.substr(0, 10) == "multipart/") {
    if (encodings_ < kMaxEncodings) {
      openMultipart();
    }
    if (partType() == PartType::Single) {
      // No part in it: what is there is shown as it stands.
      setMimeType(typeString("text/plain"));
    }
    return;
  }
  if (encodings_ >= kMaxEncodings) {
    return;
  }
  if (type == "message/rfc822" || type == "message/global" || type == "message/news") {
    openMessage();
  } else if (type == "application/ms-tnef" || type == "application/vnd.ms-tnef" ||
             text::equalsIgnoringCase(brennox::textOf(filename()), "winmail.dat")) {
    openTnef();
  } else if (type == "text/plain" && !isAttachment()) {
    openFilesInText();
  }
}

// An embedded message in a transfer encoding.
void MimePart::openMessage() {
  Data* const decoded = data();
  if (decoded->length() == 0) {
    return;
  }
  childSource_ = make<Source>(decoded, depth_ + 1);
  firstChild_ = 0;
  setPartType(PartType::Message);
}

// A multipart in a transfer encoding: forbidden, and seen. Or one whose boundary is nowhere in it:
// without the parameter one may be found.
void MimePart::openMultipart() {
  const bool encoded = encoding_ != TransferEncoding::Identity;
  const std::string head =
      "Content-Type:" +
      (encoded ? std::string(entity().contentType) : std::string(mimeType()->view())) + "\n\n";
  Ref<Block> block = decodeBody(rawBody(), encoding_, head.size());
  std::memcpy(block->bytes(), head.data(), head.size());
  Ref<Source> inside = make<Source>(make<Data>(std::move(block)).get(), depth_);
  if (inside->entity(0).kind != EntityKind::Multipart) {
    return;
  }
  childSource_ = inside;
  firstChild_ = inside->entity(0).firstChild;
  setPartType(PartType::MultipartMixed);
  const std::string_view type = mimeType()->view();
  if (type == "multipart/related") {
    setPartType(PartType::MultipartRelated);
  } else if (type == "multipart/alternative") {
    setPartType(PartType::MultipartAlternative);
  }
}

void MimePart::openTnef() {
  const Ref<Data> stream = data();
  Tnef tnef;
  if (!parseTnef(stream->view(), tnef)) {
    return;
  }
  // The message's text stands in the message itself, as a rule, and again here.
  if (!source_ || !source_->hasText()) {
    Made body;
    body.attachment = false;
    std::string text;
    RtfContent rtf = readRtf(tnef.rtf);
    if (!tnef.html.empty()) {
      text = tnef.html;
      body.mimeType = "text/html";
      body.charset = tnef.htmlCharset;
    } else if (!rtf.html.empty()) {
      text = std::move(rtf.html);
      body.mimeType = "text/html";
      body.charset = "utf-8";
    } else {
      text = !tnef.plain.empty() ? std::move(tnef.plain) : std::move(rtf.plain);
      body.mimeType = "text/plain";
      body.charset = "utf-8";
    }
    if (!isBlankText(text)) {
      body.content = make<Data>(text.data(), text.size());
      made_.push_back(std::move(body));
    }
  }
  for (TnefAttachment& attachment : tnef.attachments) {
    Made made;
    made.filename = cleanFilename(attachment.filename);
    made.contentID = rfc822::parseMessageID(attachment.contentID);
    const auto offset = static_cast<std::size_t>(attachment.content.data() - stream->bytes());
    made.content = attachment.content.empty()
                       ? make<Data>()
                       : Ref<Data>(stream->subdata(offset, attachment.content.size()));
    if (attachment.isMessage) {
      made.mimeType = "application/ms-tnef";
    } else if (!attachment.mimeType.empty()) {
      made.mimeType = rfc822::parseParameterizedValue(attachment.mimeType);
    }
    if (made.mimeType.find('/') == std::string::npos) {
      made.mimeType = mime::mimeTypeForFilename(made.filename);
    }
    made_.push_back(std::move(made));
  }
  if (!made_.empty()) {
    setPartType(PartType::MultipartMixed);
    setMimeType(typeString("multipart/mixed"));
  }
}

// Takes uuencoded and yEnc files out of a text.
void MimePart::openFilesInText() {
  if (encoding_ == TransferEncoding::Uuencode || encoding_ == TransferEncoding::Yenc ||
      encoding_ == TransferEncoding::Base64 || !mayHoldFiles(rawBody())) {
    return;
  }
  const Ref<Data> content = data();
  const std::string_view text = content->view();
  std::vector<EmbeddedFile> files = findUuencodedFiles(text);
  const std::size_t uuencoded = files.size();
  for (EmbeddedFile& file : findYencFiles(text)) {
    files.push_back(std::move(file));
  }
  if (files.empty() || files.size() > kMaxEmbeddedFiles) {
    return;
  }
  std::vector<Made> parts;
  std::vector<std::pair<std::size_t, std::size_t>> taken;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const EmbeddedFile& file = files[i];
    Made made;
    Ref<Block> block = Block::allocate(uudecodedBound(file.lines.size()));
    block->truncate(i < uuencoded ? uudecodeLines(file.lines, block->bytes())
                                  : ydecodeLines(file.lines, block->bytes()));
    made.content = make<Data>(std::move(block));
    made.filename = cleanFilename(text::decodeWords(file.name, brennox::textOf(charset())));
    made.mimeType = mime::mimeTypeForFilename(made.filename);
    parts.push_back(std::move(made));
    taken.emplace_back(file.begin, file.end);
  }
  std::sort(taken.begin(), taken.end());
  std::string rest;
  std::size_t at = 0;
  for (const auto& [begin, end] : taken) {
    if (begin > at) {
      rest += text.substr(at, begin - at);
    }
    at = std::max(at, end);
  }
  rest += text.substr(at);
  if (!isBlankText(rest)) {
    Made body;
    body.mimeType = "text/plain";
    body.charset = brennox::textOf(charset());
    body.content = make<Data>(rest.data(), rest.size());
    body.attachment = false;
    body.flowed = flowed_;
    body.deleteSpace = deleteSpace_;
    made_.push_back(std::move(body));
  }
  std::move(parts.begin(), parts.end(), std::back_inserter(made_));
  setPartType(PartType::MultipartMixed);
  setMimeType(typeString("multipart/mixed"));
}

}  // namespace brennox::mime
