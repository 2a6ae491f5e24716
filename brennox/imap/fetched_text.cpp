#include "imap/fetched_text.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "imap/wire_reader.h"
#include "rfc822/header_fields.h"

namespace brennox::imap {
namespace {

// Small enough that a single kept message does not keep much beside it.
constexpr std::size_t kBlockSize = 64 * 1024;

struct Record {
  std::int64_t internalDate;
  std::uint32_t envelope;
  std::uint32_t structure;
  std::uint32_t fields;
};

// Words that nearly every description has. Each is kept as one control character, its index plus
// one; none of these characters stands in a list that is shortened. The order is part of nothing
// that is stored.
constexpr std::array<std::string_view, 23> kWords = {
    " NIL NIL NIL NIL",
    " NIL NIL NIL",
    " NIL NIL",
    " NIL",
    "(NIL NIL \"",
    "((NIL NIL \"",
    "(\"charset\" \"utf-8\")",
    "(\"charset\" \"UTF-8\")",
    "(\"charset\" \"us-ascii\")",
    "(\"text\" \"plain\" ",
    "(\"text\" \"html\" ",
    "(\"TEXT\" \"PLAIN\" ",
    "(\"TEXT\" \"HTML\" ",
    "(\"image\" \"",
    "(\"application\" \"",
    " \"7bit\" ",
    " \"8bit\" ",
    " \"base64\" ",
    " \"quoted-printable\" ",
    " \"alternative\" (\"boundary\" \"",
    " \"mixed\" (\"boundary\" \"",
    " (\"attachment\" (\"filename\" \"",
    "\" NIL \"",
};
constexpr char kLastWord = static_cast<char>(kWords.size());

bool isShortenable(std::string_view list) {
  return std::none_of(list.begin(), list.end(), [](char c) { return c > 0 && c <= kLastWord; }) &&
         list.find('\0') == std::string_view::npos;
}

// The index of the longest word at the start of `text`, or the number of words.
std::size_t wordAt(std::string_view text) {
  std::size_t best = kWords.size();
  for (std::size_t i = 0; i < kWords.size(); ++i) {
    const std::string_view word = kWords[i];
    if (word[0] == text[0] && text.size() >= word.size() && word[1] == text[1] &&
        std::memcmp(word.data(), text.data(), word.size()) == 0 &&
        (best == kWords.size() || word.size() > kWords[best].size())) {
      best = i;
    }
  }
  return best;
}

// The envelope without what the subject field says better, and without a sender and reply address
// that only repeat the author, which is what servers write where a message has none.
std::string_view leaner(std::string_view envelope, bool dropSubject, std::string* out) {
  WireReader reader(envelope);
  std::array<std::string_view, 10> items;
  bool whole = reader.character('(');
  for (std::string_view& item : items) {
    reader.skipSpaces();
    whole = whole && reader.value(&item);
  }
  if (!whole || !reader.character(')')) {
    return envelope;
  }
  if (dropSubject) {
    items[1] = "NIL";
  }
  for (const std::size_t repeated : {3U, 4U}) {
    if (items[repeated] == items[2]) {
      items[repeated] = "NIL";
    }
  }
  *out = "(";
  for (const std::string_view item : items) {
    *out += out->size() > 1 ? " " : "";
    *out += item;
  }
  *out += ')';
  return *out;
}

bool hasSubject(std::string_view fields) {
  rfc822::FieldScanner scanner(fields);
  for (rfc822::HeaderField field; scanner.next(field);) {
    if (field.id == rfc822::FieldId::kSubject) {
      return true;
    }
  }
  return false;
}

}  // namespace

void appendShort(std::string_view list, std::string* out) {
  // Literals may hold anything. A mark says that the list stands as it is.
  if (!isShortenable(list)) {
    *out += '\0';
    *out += list;
    return;
  }
  while (!list.empty()) {
    const char c = list[0];
    const char next = list.size() >= 2 ? list[1] : '\0';
    // Most blanks stand in texts, before a letter.
    if (c == '"' ? next == ' '
                 : (c == ' ' || c == '(') && (next == 'N' || next == '"' || next == '(')) {
      const std::size_t word = wordAt(list);
      if (word < kWords.size()) {
        *out += static_cast<char>(word + 1);
        list.remove_prefix(kWords[word].size());
        continue;
      }
    }
    *out += c;
    list.remove_prefix(1);
  }
}

void appendLong(std::string_view shortened, std::string* out) {
  if (!shortened.empty() && shortened[0] == '\0') {
    *out += shortened.substr(1);
    return;
  }
  for (const char c : shortened) {
    if (c > 0 && c <= kLastWord) {
      *out += kWords[static_cast<std::size_t>(c - 1)];
    } else {
      *out += c;
    }
  }
}

FetchedText::FetchedText(std::size_t size) : block_(Block::allocate(size)) {}

FetchedText::Words FetchedText::wordsAt(std::uint32_t offset) const {
  Record record;
  const char* at = block_->bytes() + offset;
  std::memcpy(&record, at, sizeof record);
  at += sizeof record;
  Words words;
  words.internalDate = static_cast<std::time_t>(record.internalDate);
  appendLong({at, record.envelope}, &words.envelope);
  at += record.envelope;
  appendLong({at, record.structure}, &words.structure);
  at += record.structure;
  words.fields.assign(at, record.fields);
  return words;
}

std::uint32_t TextStore::add(std::string_view envelope, std::string_view structure,
                             std::string_view fields, std::time_t internalDate,
                             Ref<FetchedText>* text) {
  std::string lean;
  if (!envelope.empty()) {
    envelope = leaner(envelope, hasSubject(fields), &lean);
  }
  envelope_.clear();
  appendShort(envelope, &envelope_);
  structure_.clear();
  appendShort(structure, &structure_);
  while (fields.size() >= 2 && fields.substr(fields.size() - 2) == "\r\n") {
    fields.remove_suffix(2);
  }
  const Record record{internalDate, static_cast<std::uint32_t>(envelope_.size()),
                      static_cast<std::uint32_t>(structure_.size()),
                      static_cast<std::uint32_t>(fields.size())};
  const std::size_t size = sizeof record + envelope_.size() + structure_.size() + fields.size();
  if (!text_ || text_->block_->size() - text_->used_ < size) {
    text_ = make<FetchedText>(std::max(size, kBlockSize));
  }
  const std::size_t offset = text_->used_;
  char* at = text_->block_->bytes() + offset;
  const auto put = [&at](const void* bytes, std::size_t count) {
    if (count > 0) {
      std::memcpy(at, bytes, count);
      at += count;
    }
  };
  put(&record, sizeof record);
  put(envelope_.data(), envelope_.size());
  put(structure_.data(), structure_.size());
  put(fields.data(), fields.size());
  text_->used_ += size;
  *text = text_;
  return static_cast<std::uint32_t>(offset);
}

}  // namespace brennox::imap
