#include <algorithm>

#include "sim/config/fields.h"
#include "sim/config/readers.h"

namespace sim {
namespace {

constexpr std::array<std::string_view, 15> kFaultKeys{
    "operation", "device", "property", "accessMode", "fromMs", "untilMs", "probability", "every",
    "times",     "code",   "delayMs",  "hang",       "text",   "dropMs",  "storm"};
constexpr std::array<std::string_view, 3> kTextFaults{"truncated", "unterminated", "empty"};

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
  if (rule.operation == Operation::init &&
      (effect.drop || effect.storm != 0 || node.find("device") != nullptr || effect.hang)) {
    node.reject("'init' involves no device: it can only fail or be delayed");
  }
  if ((rule.operation == Operation::list || rule.operation == Operation::snapshot) &&
      (effect.drop || effect.storm != 0)) {
    node.reject("'" + std::string(kOperationWords[static_cast<std::size_t>(*rule.operation)]) +
                "' involves no device: nothing can drop or send a storm");
  }
}

}  // namespace

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
