// A few are walked through; more are looked up in an open-addressing table. Boundaries leave in the
// reverse order in which they came, so that a slot can just be emptied.
#include "mime/open_boundaries.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "mime/content_fields.h"

namespace brennox::mime {
namespace {

// At least twice as many as boundaries can be open.
constexpr std::size_t kSlots = 2048;
static_assert(kSlots >= 2 * kMaxBoundariesPerEntity * (kMaxEntityDepth + 1));
// Up to so many a walk is quicker than the table.
constexpr std::size_t kMaxWalk = 8;

// Differs from process to process, so that no mail can be made whose boundaries collide.
std::size_t hashSeed() {
  static const std::size_t seed = std::hash<const void*>()(&seed);
  return seed;
}

// FNV-1a from the seed on.
std::size_t hashOf(std::string_view text) {
  std::uint64_t hash = hashSeed();
  for (const char c : text) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
  }
  return static_cast<std::size_t>(hash ^ (hash >> 32));
}

}  // namespace

void OpenBoundaries::push(std::uint32_t entity, std::string boundary) {
  const std::size_t before = longest_;
  longest_ = std::max(longest_, boundary.size());
  open_.push_back({std::move(boundary), entity, before});
  if (!slots_.empty()) {
    addToTable(open_.size() - 1);
  } else if (open_.size() > kMaxWalk) {
    slots_.assign(kSlots, 0);
    for (std::size_t i = 0; i < open_.size(); ++i) {
      addToTable(i);
    }
  }
}

void OpenBoundaries::addToTable(std::size_t index) {
  Open& open = open_[index];
  open.hash = hashOf(open.boundary);
  open.slot = open.hash % kSlots;
  while (slots_[open.slot] != 0) {
    open.slot = (open.slot + 1) % kSlots;
  }
  slots_[open.slot] = static_cast<std::uint16_t>(index + 1);
}

void OpenBoundaries::pop() {
  if (!slots_.empty()) {
    slots_[open_.back().slot] = 0;
  }
  longest_ = open_.back().longestBefore;
  open_.pop_back();
}

std::uint32_t OpenBoundaries::find(std::string_view boundary) const {
  if (boundary.empty() || boundary.size() > longest_) {
    return kNoEntity;
  }
  if (slots_.empty()) {
    const auto found = std::find_if(open_.rbegin(), open_.rend(), [boundary](const Open& open) {
      return open.boundary == boundary;
    });
    return found == open_.rend() ? kNoEntity : found->entity;
  }
  const std::size_t hash = hashOf(boundary);
  std::size_t found = 0;
  for (std::size_t slot = hash % kSlots; slots_[slot] != 0; slot = (slot + 1) % kSlots) {
    const Open& open = open_[slots_[slot] - 1U];
    if (open.hash == hash && slots_[slot] > found && open.boundary == boundary) {
      found = slots_[slot];
    }
  }
  return found == 0 ? kNoEntity : open_[found - 1].entity;
}

}  // namespace brennox::mime
