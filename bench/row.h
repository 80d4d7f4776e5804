#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>

/// What the benchmarks share. Each prints rows that scripts/bench turns into one table: what was
/// measured, its cost, the cost of the baseline, both with their unit.
namespace bench {

inline void row(const char* what, double cost, double baseline, const char* unit) {
  std::printf("%s|%.2f|%.2f|%s\n", what, cost, baseline, unit);
}

template <typename Work>
double nanoseconds(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
  return elapsed.count();
}

struct Pair {
  double measured = 1e18;
  double baseline = 1e18;
};

/// Both take turns, so that whatever else the machine does meets both; the best round of each
/// counts.
template <typename Measured, typename Baseline>
Pair compare(int rounds, Measured measured, Baseline baseline) {
  Pair best;
  for (int round = 0; round < rounds; ++round) {
    best.measured = std::min(best.measured, nanoseconds(measured));
    best.baseline = std::min(best.baseline, nanoseconds(baseline));
  }
  return best;
}

}  // namespace bench
