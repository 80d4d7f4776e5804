#pragma once

#include <cstdint>

namespace sim {

/// A moment of the simulated clock, or a length of time: microseconds. The clock starts at 0 with
/// `GPUManagerRun`.
using Time = std::int64_t;

inline constexpr Time kMillisecond = 1000;
inline constexpr Time kSecond = 1'000'000;

/// The latest moment that a file may name: a year.
inline constexpr std::int64_t kMaxMomentMs = 31'536'000'000;

/// The longest span that a file may name: an hour.
inline constexpr std::int64_t kMaxSpanMs = 3'600'000;

}  // namespace sim
