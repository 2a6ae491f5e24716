// Tests of how time grows with the input, whatever else the machine is doing.
#pragma once

#include <ctime>

namespace brennox {

// Seconds of processor time that `work` takes. Time in which other programs have the processor does
// not count.
template <class Work>
double processorSeconds(const Work& work) {
  const std::clock_t start = std::clock();
  work();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Whether `large`, with four times the input of `small`, takes about four times as long. Quadratic
// work would take sixteen times as long, every time; other programs spoil the caches now and then
// only, which a further attempt shows.
template <class Small, class Large>
bool isLinear(const Small& small, const Large& large) {
  constexpr int kAttempts = 5;
  constexpr double kMostGrowth = 8;
  constexpr double kNoise = 0.05;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const double before = processorSeconds(small);
    if (processorSeconds(large) <= kMostGrowth * before + kNoise) {
      return true;
    }
  }
  return false;
}

}  // namespace brennox
