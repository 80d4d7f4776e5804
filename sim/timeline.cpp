#include "sim/timeline.h"

#include <array>

#include "sim/fields.h"

namespace sim {
namespace {

constexpr std::array<std::string_view, 10> kEventKeys{
    "atMs", "device", "set", "clear", "drop", "restore", "burst", "lose", "value", "count"};

/// The keys that choose what happens, in the order of `EventKind`.
constexpr std::array<std::string_view, 6> kEventWords{"set",     "clear", "drop",
                                                      "restore", "burst", "lose"};

PropertyIndex readPropertyName(const Node& node, const PropertyDb& properties) {
  if (const auto index = properties.find(textOf(node))) return *index;
  properties.refuseName(node);
}

void readValue(Event& event, const Node& node, const Property& property) {
  if (property.definition.format.shape == Shape::text) {
    event.text = require(node, JsonType::string).text;
    if (!event.text.empty()) textOf(node);
  } else {
    event.number = decimalOf(node).value;
  }
}

void refuseUnless(bool wanted, const Node& event, std::string_view key) {
  const Node* member = event.find(key);
  if (wanted && member == nullptr) event.refuse("the key '" + std::string(key) + "' is missing");
  if (!wanted && member != nullptr) member->refuse("the key has no meaning for this event");
}

Event readEvent(const Node& node, const Topology& topology, const PropertyDb& properties) {
  requireObject(node, kEventKeys);
  Event event;
  const Node* subject = nullptr;
  for (std::size_t i = 0; i < kEventWords.size(); ++i) {
    const Node* member = node.find(kEventWords[i]);
    if (member == nullptr) continue;
    if (subject != nullptr) node.refuse("an event does one thing");
    subject = member;
    event.kind = static_cast<EventKind>(i);
  }
  if (subject == nullptr) node.refuse("one of set, clear, drop, restore, burst, lose is missing");

  const bool ofDevice = event.kind == EventKind::drop || event.kind == EventKind::restore;
  const bool counted = event.kind == EventKind::burst || event.kind == EventKind::lose;
  refuseUnless(!ofDevice, node, "device");
  refuseUnless(event.kind == EventKind::set, node, "value");
  refuseUnless(counted, node, "count");
  const Node& device = ofDevice ? *subject : *node.find("device");
  event.device = readDevicePattern(device, topology);
  if (!event.device.kind) device.refuse("an event names a device or all of one kind");
  if (ofDevice) return event;

  event.property = readPropertyName(*subject, properties);
  const Property& property = properties.at(event.property);
  if (*event.device.kind != property.kind) {
    device.refuse("'" + property.name + "' is a property of " + std::string(wordOf(property.kind)));
  }
  if (event.kind == EventKind::set) readValue(event, *node.find("value"), property);
  if (counted) event.count = static_cast<int>(wholeOf(*node.find("count"), 1, 10'000));
  return event;
}

}  // namespace

std::optional<Time> Timeline::next() const {
  if (events_.empty()) return {};
  return events_.begin()->first;
}

Event Timeline::take() { return std::move(events_.extract(events_.begin()).mapped()); }

Timeline readTimeline(const Node& node, const Topology& topology, const PropertyDb& properties) {
  Timeline timeline;
  for (const Node& item : require(node, JsonType::array).items) {
    Event event = readEvent(item, topology, properties);
    timeline.add(wholeOf(requireMember(item, "atMs"), 0, kMaxMomentMs) * kMillisecond,
                 std::move(event));
  }
  return timeline;
}

}  // namespace sim
