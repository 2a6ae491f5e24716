// What a listing keeps of each message: the server's own words, read when somebody asks.
#pragma once

#include <brennox/Data.h>
#include <brennox/Object.h>
#include <brennox/Ref.h>

#include <cstdint>
#include <ctime>
#include <string_view>

namespace brennox::imap {

// The words of many messages share blocks.
class TextStore {
 public:
  // Copies the pieces one behind the other. `block` receives what keeps them alive.
  const char* add(std::initializer_list<std::string_view> pieces, Ref<Block>* block);

 private:
  Ref<Block> block_;
  std::size_t used_ = 0;
};

// Immutable; an IMAPMessage holds it in the place of its header and of its parts until they are
// read.
class FetchedText final : public Object {
 public:
  FetchedText(TextStore* store, std::string_view envelope, std::string_view structure,
              std::string_view fields, std::time_t internalDate);

  std::string_view envelope() const noexcept { return {bytes_, envelope_}; }
  std::string_view structure() const noexcept { return {bytes_ + envelope_, structure_}; }
  std::string_view fields() const noexcept { return {bytes_ + envelope_ + structure_, fields_}; }
  // -1 when not asked for.
  std::time_t internalDate() const noexcept { return internalDate_; }

 private:
  Ref<Block> block_;
  const char* bytes_;
  std::time_t internalDate_;
  std::uint32_t envelope_;
  std::uint32_t structure_;
  std::uint32_t fields_;
};

}  // namespace brennox::imap
