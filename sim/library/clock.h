#pragma once

#include <chrono>

#include "sim/base/time.h"
#include "sim/board/profile.h"
#include "sim/library/mutex.h"

namespace sim {

/// The one clock of the board. Under `stepped` time passes only with library calls, so that a run
/// repeats to the byte.
class Clock {
 public:
  explicit Clock(ClockSettings settings) : settings_(settings) {}

  /// Starts the clock at 0, whatever has been waited for before.
  void start();

  /// Moves a stepped clock on by one call.
  void step();

  [[nodiscard]] Time now() const;
  [[nodiscard]] bool stepped() const { return settings_.mode == ClockMode::stepped; }

  /// Lets simulated time pass for the calling thread. The mutex is open meanwhile, and the clock
  /// may be destroyed.
  void elapse(Time span, Mutex& mutex) SIM_REQUIRES(mutex);

  /// How long a thread has to sleep until that moment; not for a stepped clock.
  [[nodiscard]] std::chrono::microseconds realTimeUntil(Time moment) const;

 private:
  ClockSettings settings_;
  Time stepped_ = 0;
  Time started_ = 0;  ///< On the monotonic clock.
  bool running_ = false;
};

}  // namespace sim
