#include "platform/memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>

#include "platform/win32/windows.h"

namespace brennox::platform {
namespace {

constexpr std::size_t kStep = std::size_t{64} << 10;

DWORD stateOf(const char* address) {
  MEMORY_BASIC_INFORMATION region{};
  VirtualQuery(address, &region, sizeof region);
  return region.State;
}

TEST(Memory, GivesPagesBackInParts) {
  char* const pages = mapPages(4 * kStep);
  ASSERT_NE(pages, nullptr);
  std::memset(pages, 1, 4 * kStep);
  unmapPages(pages + kStep, kStep);
  EXPECT_EQ(stateOf(pages + kStep), DWORD{MEM_RESERVE});
  EXPECT_EQ(pages[0], 1);
  EXPECT_EQ(pages[2 * kStep], 1);
  unmapPages(pages, kStep);
  unmapPages(pages + 3 * kStep, kStep);
  EXPECT_EQ(stateOf(pages + 2 * kStep), DWORD{MEM_COMMIT});
  unmapPages(pages + 2 * kStep, kStep);
  EXPECT_EQ(stateOf(pages), DWORD{MEM_FREE});
}

TEST(Memory, GivesNeighboursBackTogether) {
  // Places for two reservations side by side.
  auto* const place = static_cast<char*>(
      VirtualAlloc(nullptr, 4 * kStep, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
  ASSERT_NE(place, nullptr);
  VirtualFree(place, 0, MEM_RELEASE);
  void* const first = VirtualAlloc(place, 2 * kStep, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  void* const second =
      VirtualAlloc(place + 2 * kStep, 2 * kStep, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  ASSERT_EQ(first, place);
  ASSERT_EQ(second, place + 2 * kStep);
  unmapPages(place + kStep, 2 * kStep);
  EXPECT_EQ(stateOf(place), DWORD{MEM_COMMIT});
  EXPECT_EQ(stateOf(place + 3 * kStep), DWORD{MEM_COMMIT});
  unmapPages(place, kStep);
  unmapPages(place + 3 * kStep, kStep);
  EXPECT_EQ(stateOf(place), DWORD{MEM_FREE});
  EXPECT_EQ(stateOf(place + 2 * kStep), DWORD{MEM_FREE});
}

TEST(Memory, HasNoneForTheImpossible) {
  EXPECT_EQ(mapPages(std::numeric_limits<std::size_t>::max()), nullptr);
}

}  // namespace
}  // namespace brennox::platform
