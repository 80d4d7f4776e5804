#include "sim/board/faults.h"

#include "sim/base/random.h"

namespace sim {
namespace {

constexpr std::uint64_t kFaultSequence = 0x666175'6c74;

bool matches(const FaultRule& rule, const Call& call, Time now) {
  if (rule.operation ? *rule.operation != call.operation : call.operation == Operation::init) {
    return false;
  }
  if ((rule.effect.drop || rule.effect.storm > 0) && !call.device) return false;
  if (now < rule.from || (rule.until && now >= *rule.until)) return false;
  if (rule.device.kind && !(call.device && rule.device.matches(*call.device))) return false;
  if (rule.accessMode && rule.accessMode != call.accessMode) return false;
  return globMatches(rule.property, call.propertyName);
}

}  // namespace

Faults::Faults(std::vector<FaultRule> rules, std::uint64_t seed) : seed_(seed) {
  states_.reserve(rules.size());
  for (FaultRule& rule : rules) states_.push_back({std::move(rule)});
}

// A draw depends on nothing but the numbers of the rule and of its match, so that the outcome of
// one rule does not change with what others do.
std::optional<Faults::Firing> Faults::nextFiring(const Call& call, Time now) {
  for (std::size_t i = 0; i < states_.size(); ++i) {
    State& state = states_[i];
    if (!matches(state.rule, call, now)) continue;
    const std::int64_t match = state.matched++;
    if ((match + 1) % state.rule.every != 0) continue;
    if (state.rule.times && state.fired >= *state.rule.times) continue;
    const std::uint64_t number = draw(seed_, kFaultSequence + i, static_cast<std::uint64_t>(match));
    if (static_cast<Fixed>(number % kOne) >= state.rule.probability) continue;
    ++state.fired;
    return Firing{i, state.fired, state.rule.effect};
  }
  return {};
}

std::vector<std::int64_t> Faults::fired() const {
  std::vector<std::int64_t> counts;
  counts.reserve(states_.size());
  for (const State& state : states_) counts.push_back(state.fired);
  return counts;
}

}  // namespace sim
