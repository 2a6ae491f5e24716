#include "core/unique_token.h"

#include <atomic>
#include <cstdint>
#include <random>

namespace brennox::core {
namespace {

// The system's source of chance is slow, so that it is asked once a process, and the numbers that
// follow are scattered by the mixing function of splitmix64.
struct Start {
  std::uint64_t high;
  std::uint64_t low;

  Start() {
    std::random_device random;
    high = std::uint64_t{random()} << 32 | random();
    low = std::uint64_t{random()} << 32 | random();
  }
};

std::uint64_t scattered(std::uint64_t value) {
  value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9U;
  value = (value ^ value >> 27) * 0x94D049BB133111EBU;
  return value ^ value >> 31;
}

}  // namespace

std::string uniqueToken() {
  static const Start start;
  static std::atomic<std::uint64_t> count{0};
  const std::uint64_t step = count.fetch_add(1) * 0x9E3779B97F4A7C15U;
  std::string token;
  for (std::uint64_t bits : {scattered(start.high + step), scattered(start.low ^ step)}) {
    for (int digit = 0; digit < 12; ++digit, bits >>= 5) {
      token += "0123456789abcdefghijklmnopqrstuv"[bits & 31];
    }
  }
  return token;
}

}  // namespace brennox::core
