#include "sim/clock.h"

#include <algorithm>
#include <limits>
#include <thread>

namespace sim {
namespace {

/// `span` of real time as a thread can sleep it.
std::chrono::microseconds realSpan(Time span, Micro rate) {
  constexpr Time kLongest = 3600 * kSecond;
  if (span >= std::numeric_limits<Time>::max() / kUnit) return std::chrono::microseconds(kLongest);
  return std::chrono::microseconds(std::clamp<Time>((span * kUnit + rate - 1) / rate, 0, kLongest));
}

}  // namespace

void Clock::start() {
  started_ = std::chrono::steady_clock::now();
  running_ = true;
}

void Clock::step() {
  if (running_ && stepped()) stepped_ += settings_.step;
}

Time Clock::now() const {
  if (!running_) return 0;
  if (stepped()) return stepped_;
  const auto elapsed = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - started_);
  return multiplyClamped(settings_.rate, elapsed.count());
}

void Clock::pass(Time span, std::unique_lock<std::mutex>& lock) {
  if (stepped()) {
    stepped_ += span;
    return;
  }
  lock.unlock();
  std::this_thread::sleep_for(realSpan(span, settings_.rate));
  lock.lock();
}

std::chrono::microseconds Clock::realTimeUntil(Time moment) const {
  return realSpan(std::max<Time>(moment - now(), 0), settings_.rate);
}

}  // namespace sim
