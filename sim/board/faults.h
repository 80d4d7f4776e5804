#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/base/decimal.h"
#include "sim/base/time.h"
#include "sim/board/call.h"
#include "sim/board/pattern.h"

namespace sim {

enum class TextFault { none, truncated, unterminated, empty };

/// What happens to a call that a rule fires at. Several may be set; they happen in this order, but
/// that a hang needs no delay.
struct FaultEffect {
  Time delay = 0;
  int storm = 0;             ///< Updates that every registered callback of the device gets.
  std::optional<Time> drop;  ///< The device is off the bus for that long at least; 0: until it is
                             ///< restored.
  bool hang = false;
  std::optional<int> code;
  TextFault text = TextFault::none;
};

/// A rule that concerns the device, with a storm or a drop, matches only calls that have one.
struct FaultRule {
  std::optional<Operation> operation;  ///< Without one: everything but `init`.
  DevicePattern device;                ///< All devices: also calls that concern none.
  std::string property = "*";
  std::optional<int> accessMode;
  Time from = 0;
  std::optional<Time> until;

  Fixed probability = kOne;
  std::int64_t every = 1;
  std::optional<std::int64_t> times;

  FaultEffect effect;
};

/// The rules of a profile and how often they matched and fired.
class Faults {
 public:
  Faults(std::vector<FaultRule> rules, std::uint64_t seed);

  struct Firing {
    std::size_t rule;
    std::int64_t fired;  ///< How often the rule has fired, this time included.
    FaultEffect effect;
  };

  /// The first rule that matches the call and fires. A rule that matches but holds its fire,
  /// because of its probability, its interval or its number of times, leaves the call to the rules
  /// below.
  std::optional<Firing> nextFiring(const Call& call, Time now);

  /// How often each rule has fired.
  [[nodiscard]] std::vector<std::int64_t> fired() const;

 private:
  struct State {
    FaultRule rule;
    std::int64_t matched = 0;
    std::int64_t fired = 0;
  };
  std::vector<State> states_;
  std::uint64_t seed_;
};

}  // namespace sim
