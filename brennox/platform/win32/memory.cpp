// Pages are taken in reservations, and a reservation can only be given back whole. A part that is
// given back loses its memory at once; the addresses follow with the last part.
#include "platform/memory.h"

#include <algorithm>
#include <cstdint>

#include "platform/win32/windows.h"

namespace brennox::platform {
namespace {

// Held while pages are given back: two parts of a reservation must not both be the last one.
SRWLOCK givingBack = SRWLOCK_INIT;

MEMORY_BASIC_INFORMATION regionAt(const char* address) {
  MEMORY_BASIC_INFORMATION region{};
  VirtualQuery(address, &region, sizeof region);
  return region;
}

// The end of the reservation, or of what lies before its first page that still has memory.
const char* endOfEmptyPart(const char* reservation) {
  const char* at = reservation;
  for (;;) {
    const MEMORY_BASIC_INFORMATION region = regionAt(at);
    if (region.AllocationBase != reservation || region.State != MEM_RESERVE) {
      return at;
    }
    at += region.RegionSize;
  }
}

}  // namespace

// Large pages need a right that ordinary accounts do not have, so these are ordinary ones.
char* mapPages(std::size_t size) {
  if (size > PTRDIFF_MAX) {
    return nullptr;
  }
  return static_cast<char*>(VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
}

void unmapPages(char* pages, std::size_t size) {
  AcquireSRWLockExclusive(&givingBack);
  // Neighbours may be parts of several reservations, and are given back together.
  while (size > 0) {
    const MEMORY_BASIC_INFORMATION region = regionAt(pages);
    if (region.State != MEM_COMMIT) {
      break;
    }
    const std::size_t part = std::min<std::size_t>(size, region.RegionSize);
    VirtualFree(pages, part, MEM_DECOMMIT);
    char* const reservation = static_cast<char*>(region.AllocationBase);
    if (regionAt(endOfEmptyPart(reservation)).AllocationBase != reservation) {
      VirtualFree(reservation, 0, MEM_RELEASE);
    }
    pages += part;
    size -= part;
  }
  ReleaseSRWLockExclusive(&givingBack);
}

}  // namespace brennox::platform
