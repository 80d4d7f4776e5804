#include <algorithm>

#include "sim/config/fields.h"
#include "sim/config/readers.h"

namespace sim {
namespace {

constexpr auto kFaultKeys = std::to_array<std::string_view>(
    {"operation", "device", "property", "accessMode", "fromMs", "untilMs", "probability", "every",
     "times", "code", "delayMs", "hang", "text", "dropMs", "storm"});
constexpr auto kTextFaults =
    std::to_array<std::string_view>({"truncated", "unterminated", "empty"});

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
  if (const Node* device = node.find("device")) rule.device = readDevicePattern(*device, topology);
  if (const Node* property = node.find("property")) rule.property = textOf(*property);
  if (const Node* mode = node.find("accessMode")) {
    rule.accessMode = static_cast<int>(wholeOf(*mode, 0, 1));
  }
  if (const Node* from = node.find("fromMs")) rule.from = timeOf(*from, 0, kMaxMomentMs);
  if (const Node* until = node.find("untilMs")) {
    rule.until = timeOf(*until, 0, kMaxMomentMs);
    if (*rule.until <= rule.from) until->reject("the rule would never match");
  }
  if (const Node* chance = node.find("probability")) {
    rule.probability = decimalOf(*chance).value;
    if (rule.probability < 0 || rule.probability > kOne) chance->reject("not in 0..1");
  }
  if (const Node* every = node.find("every")) rule.every = wholeOf(*every, 1, 1'000'000);
  if (const Node* times = node.find("times")) rule.times = wholeOf(*times, 1, 1'000'000);
}

void readEffect(FaultRule& rule, const Node& node) {
  FaultEffect& effect = rule.effect;
  if (const Node* delay = node.find("delayMs")) effect.delay = timeOf(*delay, 1, kMaxSpanMs);
  if (const Node* hang = node.find("hang")) effect.hang = truthOf(*hang);
  if (const Node* drop = node.find("dropMs")) effect.drop = timeOf(*drop, 0, kMaxMomentMs);
  if (const Node* storm = node.find("storm")) {
    effect.storm = static_cast<int>(wholeOf(*storm, 1, 10'000));
  }
  if (const Node* code = node.find("code")) effect.code = readCode(*code);
  if (const Node* text = node.find("text")) {
    effect.text = static_cast<TextFault>(1 + wordOf(*text, kTextFaults, "a fault of texts"));
    if (rule.operation != Operation::get) text->reject("only operation 'get' returns a text");
  }
  const bool any = effect.delay != 0 || effect.hang || effect.drop || effect.storm != 0 ||
                   effect.code || effect.text != TextFault::none;
  if (!any) node.reject("one of code, delayMs, hang, text, dropMs, storm is missing");
}

/// What a rule with an operation cannot have, since no call of that operation would match.
struct Exclusion {
  std::string_view key;
  bool (*applies)(const FaultRule& rule, Operation operation);
  std::string_view why;
};
constexpr std::array kExclusions{
    Exclusion{"device",
              [](const FaultRule& rule, Operation operation) {
                return rule.device.kind && !involvesDevice(operation);
              },
              "involves no device"},
    Exclusion{"device",
              [](const FaultRule& rule, Operation operation) {
                return rule.device.kind && usesPostbox(operation) &&
                       !isPossible(operation, *rule.device.kind);
              },
              "cannot be sent to such a device"},
    Exclusion{"property",
              [](const FaultRule& rule, Operation operation) {
                return !involvesProperty(operation) && !globMatches(rule.property, "");
              },
              "involves no property"},
    Exclusion{"accessMode",
              [](const FaultRule&, Operation operation) { return operation != Operation::get; },
              "has no access mode"},
    Exclusion{"dropMs",
              [](const FaultRule&, Operation operation) { return !involvesDevice(operation); },
              "involves no device"},
    Exclusion{"storm",
              [](const FaultRule&, Operation operation) { return !involvesDevice(operation); },
              "involves no device"},
    Exclusion{"hang",
              [](const FaultRule& rule, Operation operation) {
                return operation == Operation::init && rule.effect.hang;
              },
              "can only fail or be delayed"},
    Exclusion{"fromMs",
              [](const FaultRule& rule, Operation operation) {
                return operation == Operation::init && rule.from > 0;
              },
              "happens at 0"},
    Exclusion{"every",
              [](const FaultRule& rule, Operation operation) {
                return operation == Operation::init && rule.every > 1;
              },
              "happens once"},
};

void rejectExclusions(const FaultRule& rule, const Node& node) {
  if (!rule.operation) return;
  for (const auto& [key, applies, why] : kExclusions) {
    const Node* member = node.find(key);
    if (member == nullptr || !applies(rule, *rule.operation)) continue;
    const std::string_view word = kOperationWords[static_cast<std::size_t>(*rule.operation)];
    member->reject("'" + std::string(word) + "' " + std::string(why));
  }
}

/// Whether calls without a property can match.
bool admitsOthers(const FaultRule& rule) {
  if (rule.accessMode || !globMatches(rule.property, "")) return false;
  const Operation operation = rule.operation.value_or(Operation::raw);
  return !involvesProperty(operation) &&
         (!rule.device.kind || isPossible(operation, *rule.device.kind));
}

void rejectWithoutProperty(const FaultRule& rule, const Node& node, const PropertyDb& properties) {
  if (admitsOthers(rule)) return;
  const Operation operation = rule.operation.value_or(Operation::get);
  const Node* place = node.find("property");
  std::span<const Property> candidates = properties.all();
  if (place != nullptr && rule.property.find('*') == std::string::npos) {
    const PropertyIndex index = readPropertyName(*place, properties);
    candidates = candidates.subspan(static_cast<std::size_t>(index), 1);
  }
  const bool found = std::ranges::any_of(candidates, [&](const Property& property) {
    return (!rule.device.kind || *rule.device.kind == property.kind) &&
           isPossible(operation, property.name) && globMatches(rule.property, property.name);
  });
  if (found) return;
  if (place == nullptr) place = node.find("device");
  std::string why = "no property";
  if (rule.device.kind) why += " of " + std::string(wordOf(*rule.device.kind));
  if (operation == Operation::setCallback) why += " that can be registered";
  (place != nullptr ? *place : node).reject(why + " matches '" + rule.property + "'");
}

}  // namespace

std::vector<FaultRule> readFaults(const Node& node, const Topology& topology,
                                  const PropertyDb& properties) {
  std::vector<FaultRule> rules;
  for (const Node& item : require(node, JsonType::array).items) {
    requireObject(item, kFaultKeys);
    FaultRule& rule = rules.emplace_back();
    readSelection(rule, item, topology);
    readEffect(rule, item);
    rejectExclusions(rule, item);
    rejectWithoutProperty(rule, item, properties);
  }
  return rules;
}

}  // namespace sim
