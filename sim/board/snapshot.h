#pragma once

#include <optional>

#include "sim/base/time.h"

namespace sim {

/// When the snapshot is refreshed. The first refresh begins when the board is ready, the others
/// follow at a fixed period; each takes a while, holds the values of its beginning, and counts from
/// its end. A period of 0 means a snapshot that is always fresh.
struct SnapshotSchedule {
  Time ready = 0;
  Time period = 0;
  Time refresh = 0;  ///< At most the period.

  /// The moment whose values a snapshot read gives at `now`; nothing before the first is complete.
  [[nodiscard]] std::optional<Time> takenAt(Time now) const {
    if (now < firstComplete()) return {};
    if (period == 0) return now;
    return ready + (now - ready - refresh) / period * period;
  }

  /// Whether a refresh is under way.
  [[nodiscard]] bool refreshing(Time now) const {
    return period != 0 && now >= ready && (now - ready) % period < refresh;
  }

  [[nodiscard]] Time firstComplete() const { return ready + refresh; }
};

}  // namespace sim
