#include "imap/fetched_text.h"

#include <cstring>

namespace brennox::imap {
namespace {

// Small enough that a single kept message does not keep much beside it.
constexpr std::size_t kStoreSize = 64 * 1024;

}  // namespace

const char* TextStore::add(std::initializer_list<std::string_view> pieces, Ref<Block>* block) {
  std::size_t size = 0;
  for (const std::string_view piece : pieces) {
    size += piece.size();
  }
  if (!block_ || block_->size() - used_ < size) {
    block_ = Block::allocate(size > kStoreSize ? size : kStoreSize);
    used_ = 0;
  }
  char* const start = block_->bytes() + used_;
  char* out = start;
  for (const std::string_view piece : pieces) {
    if (!piece.empty()) {
      std::memcpy(out, piece.data(), piece.size());
      out += piece.size();
    }
  }
  used_ += size;
  *block = block_;
  return start;
}

FetchedText::FetchedText(TextStore* store, std::string_view envelope, std::string_view structure,
                         std::string_view fields, std::time_t internalDate)
    : bytes_(store->add({envelope, structure, fields}, &block_)),
      internalDate_(internalDate),
      envelope_(static_cast<std::uint32_t>(envelope.size())),
      structure_(static_cast<std::uint32_t>(structure.size())),
      fields_(static_cast<std::uint32_t>(fields.size())) {}

}  // namespace brennox::imap
