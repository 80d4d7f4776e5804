#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/codes.h"
#include "sim/decimal.h"
#include "sim/pattern.h"
#include "sim/time.h"

namespace sim {

/// What a fault rule may interfere with, spelled as the operator's commands are.
enum class Operation {
  init,
  list,
  get,
  set,
  clear,
  snapshot,
  setCallback,
  raw,
  rawSyncCmd,
  rawAsyncCmd,
};
inline constexpr std::array<std::string_view, 10> kOperationWords{
    "init",     "list",         "get", "set",        "clear",
    "snapshot", "set_callback", "raw", "rawSyncCmd", "rawAsyncCmd"};

/// One call, as far as rules look at it.
struct CallFacts {
  Operation operation = Operation::init;
  std::optional<Device> device;
  std::string_view property;
  std::optional<int> accessMode;
  Time time = 0;
};

enum class TextFault { none, truncated, unterminated, empty };

/// What happens to a call that a rule fires at. Several may be set; they happen in this order.
struct FaultEffect {
  Time delay = 0;
  bool hang = false;
  std::optional<Time> drop;  ///< The device is off the bus for that long; 0: until it is restored.
  int storm = 0;             ///< Updates that every registered callback of the device gets.
  std::optional<int> code;
  TextFault text = TextFault::none;
};

struct FaultRule {
  std::optional<Operation> operation;  ///< Without one: everything but `init`.
  DevicePattern device;
  bool anyDevice = true;
  std::string property = "*";
  std::optional<int> accessMode;
  Time from = 0;
  std::optional<Time> until;

  Micro probability = kUnit;
  std::int64_t every = 1;
  std::optional<std::int64_t> times;

  FaultEffect effect;
};

/// The rules of a profile and how often they matched and fired.
class Faults {
 public:
  Faults(std::vector<FaultRule> rules, std::uint64_t seed);

  struct Hit {
    std::size_t rule;
    std::int64_t fired;  ///< How often the rule has fired, this time included.
    FaultEffect effect;
  };

  /// The first rule that matches the call and fires. A rule that matches but holds its fire,
  /// because of its probability, its interval or its number of times, leaves the call to the rules
  /// below.
  std::optional<Hit> strike(const CallFacts& call);

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

/// Reads the "faults" array of a profile. Throws `FileError`.
std::vector<FaultRule> readFaults(const Node& node, const Topology& topology);

}  // namespace sim
