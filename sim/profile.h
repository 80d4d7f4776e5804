#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "sim/clock.h"
#include "sim/faults.h"
#include "sim/snapshot.h"
#include "sim/timeline.h"

namespace sim {

/// How the post-box of every device behaves.
struct MailboxSettings {
  Time latency = 0;
  Time timeout = kSecond;       ///< A device that takes longer has not answered.
  Time selfTest = 5 * kSecond;  ///< How long the long-running request runs.
};

/// What the profile says. Without one the board is ready at once, its snapshot is always fresh, and
/// nothing fails.
struct Profile {
  std::uint64_t seed = 1;
  ClockSettings clock;
  SnapshotSchedule snapshot;
  std::array<Time, kDeviceKinds.size()> latency{};  ///< Of a pass-through read, by kind.
  Time callbackPeriod = kSecond;                    ///< Between two looks for changed values.
  MailboxSettings mailbox;
  std::string journal;  ///< A file name, or empty.
  std::vector<FaultRule> faults;
  Timeline timeline;
};

/// Reads a profile. Throws `FileError`.
Profile readProfile(const Node& document, const Topology& topology, const PropertyDb& properties);

}  // namespace sim
