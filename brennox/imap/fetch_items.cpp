#include "imap/fetch_items.h"

#include "imap/flag_names.h"
#include "rfc822/date.h"

namespace brennox::imap {
namespace {

bool readItem(WireReader& reader, FetchItems* items) {
  // "BODY[HEADER.FIELDS (SUBJECT)]": the name ends at the bracket.
  std::string_view word;
  if (!reader.atom(&word)) {
    return false;
  }
  std::string_view name = word;
  const std::size_t bracket = word.find('[');
  if (bracket != std::string_view::npos) {
    name = word.substr(0, bracket);
    reader.stepBack(word.size() - bracket);
    std::string_view section;
    Text content;
    if (!reader.section(&section) || !reader.space() || !reader.nstring(&content)) {
      return false;
    }
    items->sections.emplace_back(section, std::move(content));
    return true;
  }
  if (!reader.space()) {
    return false;
  }
  if (sameKeyword(name, "UID")) {
    std::uint32_t uid = 0;
    if (!reader.number(&uid)) {
      return false;
    }
    items->uid = uid;
    return true;
  }
  if (sameKeyword(name, "FLAGS")) {
    std::vector<std::string_view> names;
    if (!reader.flagList(&names)) {
      return false;
    }
    items->flags = messageFlags(names);
    return true;
  }
  if (sameKeyword(name, "RFC822.SIZE")) {
    std::uint64_t size = 0;
    if (!reader.number64(&size)) {
      return false;
    }
    items->size = size > UINT32_MAX ? UINT32_MAX : static_cast<std::uint32_t>(size);
    return true;
  }
  if (sameKeyword(name, "MODSEQ")) {
    std::uint64_t value = 0;
    if (!reader.character('(') || !reader.number64(&value) || !reader.character(')')) {
      return false;
    }
    items->modSeq = value;
    return true;
  }
  if (sameKeyword(name, "INTERNALDATE")) {
    Text date;
    if (!reader.nstring(&date)) {
      return false;
    }
    items->internalDate = parseInternalDate(date.bytes);
    return true;
  }
  std::string_view value;
  if (!reader.value(&value)) {
    return false;
  }
  if (sameKeyword(name, "ENVELOPE")) {
    items->envelope = value;
  } else if (sameKeyword(name, "BODYSTRUCTURE") || sameKeyword(name, "BODY")) {
    items->structure = value;
  }
  return true;
}

}  // namespace

bool readFetchItems(WireReader& reader, FetchItems* items) {
  if (!reader.character('(')) {
    return false;
  }
  reader.skipSpaces();
  while (!reader.skipIf(')')) {
    if (!readItem(reader, items)) {
      return false;
    }
    reader.skipSpaces();
  }
  return true;
}

std::time_t parseInternalDate(std::string_view text) {
  std::string date(text.substr(0, 40));
  for (std::size_t i = 0; i < date.size() && i < 11; ++i) {
    date[i] = date[i] == '-' ? ' ' : date[i];
  }
  return rfc822::parseDate(date);
}

}  // namespace brennox::imap
