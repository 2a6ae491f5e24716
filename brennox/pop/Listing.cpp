#include "pop/Listing.h"

#include "pop/responses.h"

namespace brennox::pop {

bool Listing::addSize(std::string_view line) {
  const auto parsed = listLine(line);
  const auto size = parsed ? number(parsed->value) : std::nullopt;
  if (!size) {
    return true;
  }
  Entry* const entry = entryFor(parsed->index);
  if (entry == nullptr) {
    return false;
  }
  entry->size = *size;
  return true;
}

bool Listing::addUid(std::string_view line) {
  const auto parsed = listLine(line);
  if (!parsed) {
    return true;
  }
  Entry* const entry = entryFor(parsed->index);
  if (entry == nullptr) {
    return false;
  }
  entry->uid = parsed->value;
  return true;
}

const Entry* Listing::find(std::uint32_t index) const {
  if (index != 0 && index <= entries_.size() && entries_[index - 1].index == index) {
    return &entries_[index - 1];
  }
  const auto found = elsewhere_.find(index);
  return found == elsewhere_.end() ? nullptr : &entries_[found->second];
}

void Listing::clear() {
  entries_.clear();
  elsewhere_.clear();
}

Entry* Listing::entryFor(std::uint32_t index) {
  if (const Entry* const known = find(index)) {
    return &entries_[static_cast<std::size_t>(known - entries_.data())];
  }
  if (entries_.size() == kMaxMessages) {
    return nullptr;
  }
  if (index != entries_.size() + 1) {
    elsewhere_.emplace(index, entries_.size());
  }
  return &entries_.emplace_back(Entry{index, 0, {}});
}

}  // namespace brennox::pop
