// What a listing keeps of each message: the server's own words, read when somebody asks.
#pragma once

#include <brennox/Data.h>
#include <brennox/Object.h>
#include <brennox/Ref.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace brennox::imap {

// The words about many messages, one behind the other. Written by the listing, immutable for all
// others; an IMAPMessage holds it in the place of its header and of its parts until they are read.
class FetchedText final : public Object {
 public:
  explicit FetchedText(std::size_t size);

  struct Words {
    std::string envelope;
    std::string structure;
    std::string fields;
    // -1 when not asked for.
    std::time_t internalDate = -1;
  };
  Words wordsAt(std::uint32_t offset) const;

 private:
  friend class TextStore;
  Ref<Block> block_;
  std::size_t used_ = 0;
};

// Where a listing puts the words of its messages.
class TextStore {
 public:
  // What is repeated in one message, or in all of them, is kept once. Returns where they are.
  std::uint32_t add(std::string_view envelope, std::string_view structure, std::string_view fields,
                    std::time_t internalDate, Ref<FetchedText>* text);

 private:
  Ref<FetchedText> text_;
  std::string envelope_;
  std::string structure_;
  std::string record_;
};

// The two ways of the shorthand that lists are kept in; exposed for their test.
void appendShort(std::string_view list, std::string* out);
void appendLong(std::string_view shortened, std::string* out);

}  // namespace brennox::imap
