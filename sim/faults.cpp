#include "sim/faults.h"

#include <algorithm>

#include "sim/fields.h"
#include "sim/random.h"

namespace sim {
namespace {

constexpr std::uint64_t kFaultSequence = 0x666175'6c74;

constexpr std::array<std::string_view, 15> kFaultKeys{
    "operation", "device", "property", "accessMode", "fromMs", "untilMs", "probability", "every",
    "times",     "code",   "delayMs",  "hang",       "text",   "dropMs",  "storm"};
constexpr std::array<std::string_view, 3> kTextFaults{"truncated", "unterminated", "empty"};

bool matches(const FaultRule& rule, const CallFacts& call) {
  if (rule.operation ? *rule.operation != call.operation : call.operation == Operation::init) {
    return false;
  }
  if (call.time < rule.from || (rule.until && call.time >= *rule.until)) return false;
  if (!rule.anyDevice && !(call.device && rule.device.matches(*call.device))) return false;
  if (rule.accessMode && rule.accessMode != call.accessMode) return false;
  return globMatches(rule.property, call.property);
}

int readCode(const Node& node) {
  if (node.type == JsonType::number) return static_cast<int>(wholeOf(node, INT32_MIN, INT32_MAX));
  std::array<std::string_view, kCodes.size()> names;
  std::ranges::transform(kCodes, names.begin(), &CodeInfo::name);
  return kCodes[wordOf(node, names, "a code")].code;
}

void readSelection(FaultRule& rule, const Node& node, const Topology& topology) {
  if (const Node* operation = node.find("operation")) {
    rule.operation = static_cast<Operation>(wordOf(*operation, kOperationWords, "an operation"));
  }
  if (const Node* device = node.find("device")) {
    rule.device = readDevicePattern(*device, topology);
    rule.anyDevice = !rule.device.kind;
  }
  if (const Node* property = node.find("property")) rule.property = textOf(*property);
  if (const Node* mode = node.find("accessMode")) {
    rule.accessMode = static_cast<int>(wholeOf(*mode, 0, 1));
  }
  if (const Node* from = node.find("fromMs"))
    rule.from = wholeOf(*from, 0, kMaxMomentMs) * kMillisecond;
  if (const Node* until = node.find("untilMs")) {
    rule.until = wholeOf(*until, 0, kMaxMomentMs) * kMillisecond;
    if (*rule.until <= rule.from) until->refuse("the rule would never match");
  }
  if (const Node* chance = node.find("probability")) {
    rule.probability = decimalOf(*chance).value;
    if (rule.probability < 0 || rule.probability > kUnit) chance->refuse("not in 0..1");
  }
  if (const Node* every = node.find("every")) rule.every = wholeOf(*every, 1, 1'000'000);
  if (const Node* times = node.find("times")) rule.times = wholeOf(*times, 1, 1'000'000);
}

void readEffect(FaultRule& rule, const Node& node) {
  FaultEffect& effect = rule.effect;
  if (const Node* delay = node.find("delayMs")) {
    effect.delay = wholeOf(*delay, 1, 3'600'000) * kMillisecond;
  }
  if (const Node* hang = node.find("hang")) effect.hang = truthOf(*hang);
  if (const Node* drop = node.find("dropMs")) {
    effect.drop = wholeOf(*drop, 0, kMaxMomentMs) * kMillisecond;
  }
  if (const Node* storm = node.find("storm")) {
    effect.storm = static_cast<int>(wholeOf(*storm, 1, 10'000));
  }
  if (const Node* code = node.find("code")) effect.code = readCode(*code);
  if (const Node* text = node.find("text")) {
    effect.text = static_cast<TextFault>(1 + wordOf(*text, kTextFaults, "a fault of texts"));
    if (rule.operation != Operation::get) text->refuse("only operation 'get' returns a text");
  }
  const bool any = effect.delay != 0 || effect.hang || effect.drop || effect.storm != 0 ||
                   effect.code || effect.text != TextFault::none;
  if (!any) node.refuse("one of code, delayMs, hang, text, dropMs, storm is missing");
  if (rule.operation == Operation::init &&
      (effect.drop || effect.storm != 0 || node.find("device") != nullptr || effect.hang)) {
    node.refuse("'init' concerns no device and can only fail or be late");
  }
}

}  // namespace

Faults::Faults(std::vector<FaultRule> rules, std::uint64_t seed) : seed_(seed) {
  states_.reserve(rules.size());
  for (FaultRule& rule : rules) states_.push_back({std::move(rule)});
}

std::optional<Faults::Hit> Faults::strike(const CallFacts& call) {
  for (std::size_t i = 0; i < states_.size(); ++i) {
    State& state = states_[i];
    if (!matches(state.rule, call)) continue;
    const std::int64_t match = state.matched++;
    if ((match + 1) % state.rule.every != 0) continue;
    if (state.rule.times && state.fired >= *state.rule.times) continue;
    const std::uint64_t number = draw(seed_, kFaultSequence + i, static_cast<std::uint64_t>(match));
    if (static_cast<Micro>(number % kUnit) >= state.rule.probability) continue;
    ++state.fired;
    return Hit{i, state.fired, state.rule.effect};
  }
  return {};
}

std::vector<std::int64_t> Faults::fired() const {
  std::vector<std::int64_t> counts;
  counts.reserve(states_.size());
  for (const State& state : states_) counts.push_back(state.fired);
  return counts;
}

std::vector<FaultRule> readFaults(const Node& node, const Topology& topology) {
  std::vector<FaultRule> rules;
  for (const Node& item : require(node, JsonType::array).items) {
    requireObject(item, kFaultKeys);
    FaultRule& rule = rules.emplace_back();
    readSelection(rule, item, topology);
    readEffect(rule, item);
  }
  return rules;
}

}  // namespace sim
