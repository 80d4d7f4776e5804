#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sim/base/decimal.h"
#include "sim/base/time.h"
#include "sim/board/faults.h"
#include "sim/board/postbox.h"
#include "sim/board/snapshot.h"
#include "sim/board/timeline.h"

namespace sim {

enum class ClockMode { real, scaled, stepped };

/// The words for the modes, in their order.
inline constexpr auto kClockWords = std::to_array<std::string_view>({"real", "scaled", "stepped"});

struct ClockSettings {
  ClockMode mode = ClockMode::real;
  Fixed rate = kOne;         ///< For `scaled`: simulated seconds in a real one.
  Time step = kMillisecond;  ///< For `stepped`: what every library call takes.
};

/// What the profile says. Without one the board is ready at once, its snapshot is always fresh, and
/// nothing fails.
struct Profile {
  std::uint64_t seed = 1;
  ClockSettings clock;
  SnapshotSchedule snapshot;
  std::array<Time, kDeviceKinds.size()> latency{};  ///< Of a pass-through read, by kind.
  Time callbackPeriod = kSecond;                    ///< Between two polls of the subscriptions.
  PostboxSettings postbox;
  std::string journal;  ///< A file name, or empty.
  std::vector<FaultRule> faults;
  Timeline timeline;
};

}  // namespace sim
