// The bytes of a message, scanned.
#pragma once

#include <brennox/Data.h>
#include <brennox/Object.h>
#include <brennox/Ref.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mime/entity.h"

namespace brennox::mime {

// Bytes with the entities found in them: a whole message, or the decoded body of an encoded one.
class Source : public Object {
 public:
  // `depth` is the root's.
  explicit Source(Data* data, unsigned int depth = 0);
  // The same for entities that were found in a scan of these very bytes.
  Source(Ref<Data> data, std::vector<Entity> entities);

  const std::vector<Entity>& entities() const { return entities_; }
  std::uint32_t count() const { return static_cast<std::uint32_t>(entities_.size()); }
  const Entity& entity(std::uint32_t index) const { return entities_[index]; }
  Data* data() const { return data_.get(); }
  std::string_view bytes() const { return data_->view(); }
  // The whole message came as UTF-16: what its parts say of their charset is no longer so.
  bool isRecoded() const { return isRecoded_; }
  // Some leaf is text that can be a body.
  bool hasText() const { return hasText_; }
  // The charset of the first text, declared or detected: the best guess for raw 8-bit header
  // fields. May be empty.
  const std::string& charsetHint();
  // The charset that the first encoded-word of the root's header is in; may be empty.
  std::string_view wordCharset();

 private:
  Source(Ref<Data> data, unsigned int depth);

  Ref<Data> data_;
  std::vector<Entity> entities_;
  bool isRecoded_ = false;
  bool hasText_ = false;
  bool hintFound_ = false;
  bool wordFound_ = false;
  std::string_view word_;
  std::string hint_;
};

}  // namespace brennox::mime
