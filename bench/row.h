#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>

/// What the benchmarks share. Each prints rows that scripts/bench turns into one table: what was
/// measured, its cost, the cost of the yardstick, both with their unit.
namespace bench {

inline void row(const char* what, double cost, double yardstick, const char* unit) {
  std::printf("%s|%.2f|%.2f|%s\n", what, cost, yardstick, unit);
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
  double yardstick = 1e18;
};

/// Both take turns, so that whatever else the machine does meets both; the best round of each
/// counts.
template <typename Measured, typename Yardstick>
Pair compare(int rounds, Measured measured, Yardstick yardstick) {
  Pair best;
  for (int round = 0; round < rounds; ++round) {
    best.measured = std::min(best.measured, nanoseconds(measured));
    best.yardstick = std::min(best.yardstick, nanoseconds(yardstick));
  }
  return best;
}

}  // namespace bench
