#include <algorithm>
#include <vector>

#include "sim/config/fields.h"
#include "sim/config/readers.h"
#include "sim/config/value_reader.h"

namespace sim {
namespace {

constexpr auto kDetailKeys = std::to_array<std::string_view>({"atMs", "device", "value", "count"});

/// How the value is printed on each of the event's devices; their own values come last.
std::vector<const Format*> formatsOf(const Property& property, const DevicePattern& device) {
  if (device.id) return {&property.definitionFor(*device.id).format};
  std::vector<const Format*> formats{&property.definition.format};
  for (const auto& own : property.overrides) formats.push_back(&own.second.format);
  return formats;
}

void readValue(Event& event, const Node& node, const Property& property) {
  const Node& value = requireMember(node, "value");
  const std::vector<const Format*> formats = formatsOf(property, event.device);
  const bool text = formats.front()->isText();
  for (const Format* format : formats) {
    if (format->isText() == text) continue;
    requireMember(node, "device")
        .reject("'" + property.name + "' is a text on some devices and a number on others; " +
                "expected one device");
  }
  if (text) {
    event.text = require(value, JsonType::string).text;
    if (!event.text.empty()) textOf(value);
    return;
  }
  event.number = decimalOf(value).value;
  for (const Format* format : formats) requireWord(value, *format, event.number);
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
  if (event.kind == EventKind::set) readValue(event, node, property);
  if (counted) event.count = static_cast<int>(wholeOf(requireMember(node, "count"), 1, 10'000));
  return event;
}

}  // namespace

PropertyIndex readPropertyName(const Node& node, const PropertyDb& properties) {
  if (const auto index = properties.find(textOf(node))) return *index;
  std::vector<std::string_view> names;
  for (const Property& property : properties.all()) names.emplace_back(property.name);
  rejectName(node, "property", names);
}

Timeline readTimeline(const Node& node, const Topology& topology, const PropertyDb& properties) {
  Timeline timeline;
  for (const Node& item : require(node, JsonType::array).items) {
    Event event = readEvent(item, topology, properties);
    timeline.add(timeOf(requireMember(item, "atMs"), 0, kMaxMomentMs), std::move(event));
  }
  return timeline;
}

}  // namespace sim
