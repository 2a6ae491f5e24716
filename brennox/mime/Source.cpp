#include "mime/Source.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "mime/body_decoding.h"
#include "mime/content_fields.h"
#include "rfc822/parameters.h"
#include "text/charset.h"

namespace brennox::mime {
namespace {

// What follows "=?" is looked at so far.
constexpr std::size_t kMaxWordCharset = 64;

bool isUtf16(std::string_view bytes) {
  return bytes.substr(0, 2) == "\xFF\xFE" || bytes.substr(0, 2) == "\xFE\xFF";
}

// A message as the parser reads it. Editors have saved some as UTF-16; and the lines of some end
// with CR alone, as old Macintosh programs had it.
Ref<Data> readable(Data* data) {
  const std::string_view bytes = data->view();
  if (isUtf16(bytes)) {
    const std::string text = text::decodeText(bytes, {});
    return make<Data>(text.data(), text.size());
  }
  if (bytes.empty() || std::memchr(bytes.data(), '\n', bytes.size()) != nullptr ||
      std::memchr(bytes.data(), '\r', bytes.size()) == nullptr) {
    return data;
  }
  Ref<Block> block = Block::allocate(bytes.size());
  std::replace_copy(bytes.begin(), bytes.end(), block->bytes(), '\r', '\n');
  return make<Data>(std::move(block));
}

}  // namespace

Source::Source(Data* data, unsigned int depth) : Source(readable(data), depth) {
  isRecoded_ = isUtf16(data->view());
}

Source::Source(Ref<Data> data, unsigned int depth)
    : Source(data, scanEntities(data->view(), depth)) {}

Source::Source(Ref<Data> data, std::vector<Entity> entities)
    : data_(std::move(data)), entities_(std::move(entities)) {
  hasText_ = std::any_of(entities_.begin(), entities_.end(), [](const Entity& entity) {
    return entity.kind == EntityKind::Leaf && entity.isText && entity.end != entity.body;
  });
}

const std::string& Source::charsetHint() {
  if (hintFound_) {
    return hint_;
  }
  hintFound_ = true;
  for (const Entity& leaf : entities_) {
    if (leaf.kind != EntityKind::Leaf) {
      continue;
    }
    const rfc822::ParameterizedValue type = rfc822::parseParameterized(leaf.contentType);
    if (!type.value.empty() && type.type() != "text") {
      continue;
    }
    const std::string_view declared = type.get("charset");
    if (!declared.empty() && !isUsAscii(declared) && text::isKnownCharset(declared)) {
      hint_ = declared;
      break;
    }
    const std::string_view body = bytes().substr(leaf.body, leaf.end - leaf.body);
    const Ref<Block> content = decodeBody(body, transferEncodingOf(leaf.encoding), 0);
    const std::string_view text(content->bytes(), content->size());
    if (!text::isAscii(text)) {
      hint_ = text::detectCharset(text);
      break;
    }
  }
  return hint_;
}

std::string_view Source::wordCharset() {
  if (wordFound_) {
    return word_;
  }
  wordFound_ = true;
  const Entity& root = entities_.front();
  const std::string_view header = bytes().substr(root.header, root.body - root.header);
  const std::size_t word = header.find("=?");
  if (word != std::string_view::npos) {
    const std::string_view rest = header.substr(word + 2, kMaxWordCharset);
    word_ = rest.substr(0, rest.find_first_of("?* \r\n"));
  }
  return word_;
}

}  // namespace brennox::mime
