#include <algorithm>

#include "sim/config/fields.h"
#include "sim/config/readers.h"
#include "sim/config/value_reader.h"

namespace sim {
namespace {

constexpr std::array<std::string_view, 4> kDetailKeys{"atMs", "device", "value", "count"};

PropertyIndex readPropertyName(const Node& node, const PropertyDb& properties) {
  if (const auto index = properties.find(textOf(node))) return *index;
  std::vector<std::string_view> names;
  for (const Property& property : properties.all()) names.emplace_back(property.name);
  rejectName(node, "property", names);
}

void readValue(Event& event, const Node& node, const Property& property) {
  if (property.definition.format.isText()) {
    event.text = require(node, JsonType::string).text;
    if (!event.text.empty()) textOf(node);
  } else {
    event.number = decimalOf(node).value;
    requireWord(node, property.definition.format, event.number);
  }
}

void rejectUnless(bool wanted, const Node& event, std::string_view key) {
  const Node* member = event.find(key);
  if (wanted && member == nullptr) event.reject("the key '" + std::string(key) + "' is missing");
  if (!wanted && member != nullptr) member->reject("the key has no meaning for this event");
}

/// The member that says what happens.
const Node& readAction(const Node& node, EventKind& kind) {
  std::array<std::string_view, kDetailKeys.size() + kEventWords.size()> keys;
  std::ranges::copy(kEventWords, std::ranges::copy(kDetailKeys, keys.begin()).out);
  requireObject(node, keys);
  const Node* action = nullptr;
  for (std::size_t i = 0; i < kEventWords.size(); ++i) {
    const Node* member = node.find(kEventWords[i]);
    if (member == nullptr) continue;
    if (action != nullptr) node.reject("an event needs exactly one action key");
    action = member;
    kind = static_cast<EventKind>(i);
  }
  if (action == nullptr) rejectWithout(node, kEventWords);
  return *action;
}

Event readEvent(const Node& node, const Topology& topology, const PropertyDb& properties) {
  Event event;
  const Node& action = readAction(node, event.kind);
  const bool counted = event.kind == EventKind::burst || event.kind == EventKind::lose;
  rejectUnless(!event.ofDevice(), node, "device");
  rejectUnless(event.kind == EventKind::set, node, "value");
  rejectUnless(counted, node, "count");
  const Node& device = event.ofDevice() ? action : requireMember(node, "device");
  event.device = readDevicePattern(device, topology);
  if (!event.device.kind) device.reject("an event needs one device or all of one kind");
  if (event.ofDevice()) return event;

  event.property = readPropertyName(action, properties);
  const Property& property = properties.at(event.property);
  if (*event.device.kind != property.kind) {
    device.reject("'" + property.name + "' is a property of " + std::string(wordOf(property.kind)));
  }
  if (event.kind == EventKind::set) readValue(event, requireMember(node, "value"), property);
  if (counted) event.count = static_cast<int>(wholeOf(requireMember(node, "count"), 1, 10'000));
  return event;
}

}  // namespace

Timeline readTimeline(const Node& node, const Topology& topology, const PropertyDb& properties) {
  Timeline timeline;
  for (const Node& item : require(node, JsonType::array).items) {
    Event event = readEvent(item, topology, properties);
    timeline.add(timeOf(requireMember(item, "atMs"), 0, kMaxMomentMs), std::move(event));
  }
  return timeline;
}

}  // namespace sim
