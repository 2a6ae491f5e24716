#include "platform/memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace brennox::platform {
namespace {

constexpr std::size_t kHugePage = std::size_t{1} << 21;

std::size_t roundedToPages(std::size_t size) {
  static const std::size_t kPage = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return (size + kPage - 1) / kPage * kPage;
}

}  // namespace

char* mapPages(std::size_t size) {
  if (size > PTRDIFF_MAX - 2 * kHugePage) {
    return nullptr;
  }
  const std::size_t wanted = roundedToPages(size);
  void* const map =
      mmap(nullptr, wanted + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (map == MAP_FAILED) {
    return nullptr;
  }
  // What was mapped in excess, so as to find an aligned start, goes back at once.
  char* const start = static_cast<char*>(map);
  const std::size_t ahead =
      (kHugePage - reinterpret_cast<std::uintptr_t>(start) % kHugePage) % kHugePage;
  char* const pages = start + ahead;
  if (ahead != 0) {
    munmap(start, ahead);
  }
  munmap(pages + wanted, kHugePage - ahead);
  // Whole huge pages only: advising the tail would round the memory use up to the next 2 MiB.
  const std::size_t advised = size / kHugePage * kHugePage;
  if (advised != 0) {
    madvise(pages, advised, MADV_HUGEPAGE);
  }
  return pages;
}

void unmapPages(char* pages, std::size_t size) {
  munmap(pages, roundedToPages(size));
}

}  // namespace brennox::platform
