#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "sim/decimal.h"
#include "sim/time.h"

namespace sim {

enum class ClockMode { real, scaled, stepped };

struct ClockSettings {
  ClockMode mode = ClockMode::real;
  Micro rate = kUnit;        ///< For `scaled`: simulated seconds in a real one.
  Time step = kMillisecond;  ///< For `stepped`: what every library call takes.
};

/// The one clock of the board. Under `stepped` time passes only with library calls, so that a run
/// repeats to the byte.
class Clock {
 public:
  explicit Clock(ClockSettings settings) : settings_(settings) {}

  /// Starts the clock at 0.
  void start();

  /// Moves a stepped clock on by one call.
  void step();

  [[nodiscard]] Time now() const;
  [[nodiscard]] bool stepped() const { return settings_.mode == ClockMode::stepped; }

  /// Lets simulated time pass for the calling thread; the lock is open meanwhile.
  void pass(Time span, std::unique_lock<std::mutex>& lock);

  /// How long a thread has to sleep until that moment; not for a stepped clock.
  [[nodiscard]] std::chrono::microseconds realTimeUntil(Time moment) const;

 private:
  ClockSettings settings_;
  Time stepped_ = 0;
  Time started_ = 0;  ///< On the monotonic clock.
  bool running_ = false;
};

}  // namespace sim
