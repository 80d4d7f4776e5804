#include "sim/library/clock.h"

#include <time.h>

#include <algorithm>
#include <limits>
#include <thread>

namespace sim {
namespace {

// Asked of the system itself, so that whoever replaces the process's clock and sleep, as tests do,
// replaces them for the board too.
Time monotonicNow() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return Time{now.tv_sec} * kSecond + now.tv_nsec / 1000;
}

/// `span` of real time as a thread can sleep it.
std::chrono::microseconds realSpan(Time span, Fixed rate) {
  constexpr Time kLongest = 3600 * kSecond;
  if (span >= std::numeric_limits<Time>::max() / kOne) return std::chrono::microseconds(kLongest);
  return std::chrono::microseconds(std::clamp<Time>((span * kOne + rate - 1) / rate, 0, kLongest));
}

}  // namespace

void Clock::start() {
  started_ = monotonicNow();
  stepped_ = 0;
  running_ = true;
}

void Clock::step() {
  if (running_ && stepped()) stepped_ += settings_.step;
}

Time Clock::now() const {
  if (!running_) return 0;
  if (stepped()) return stepped_;
  return multiplyClamped(settings_.rate, monotonicNow() - started_);
}

void Clock::elapse(Time span, Mutex& mutex) {
  if (stepped()) {
    stepped_ += span;
    return;
  }
  // Once the lock is open, this clock may be gone.
  const std::chrono::microseconds slept = realSpan(span, settings_.rate);
  mutex.unlock();
  std::this_thread::sleep_for(slept);
  mutex.lock();
}

std::chrono::microseconds Clock::realTimeUntil(Time moment) const {
  return realSpan(std::max<Time>(moment - now(), 0), settings_.rate);
}

}  // namespace sim
