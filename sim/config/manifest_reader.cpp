#include "sim/base/text.h"
#include "sim/config/fields.h"
#include "sim/config/readers.h"

namespace sim {
namespace {

constexpr int kMaxDevices = 255;

void readOverride(const Node& node, Topology& topology) {
  static constexpr auto kKeys = std::to_array<std::string_view>({"absent", "properties"});
  const Device device = deviceNamed(node, node.key, topology);
  requireObject(node, kKeys);
  const Node* absent = node.find("absent");
  if (absent != nullptr && truthOf(*absent)) topology.absent.push_back(device);
  if (const Node* properties = node.find("properties")) require(*properties, JsonType::object);
}

}  // namespace

Topology readTopology(const Node& manifest) {
  static constexpr auto kKeys =
      std::to_array<std::string_view>({"$schema", "about", "board", "devices", "overrides"});
  Topology topology;
  requireDocument(manifest, kKeys);
  // A name for people: only its presence and its form are checked.
  textOf(requireMember(manifest, "board"));
  const Node& devices = requireObject(requireMember(manifest, "devices"), kindWords());
  for (const Node& count : devices.items) {
    const auto kind = static_cast<std::size_t>(*kindOfWord(count.key));
    topology.count[kind] = static_cast<int>(wholeOf(count, 0, kMaxDevices));
  }
  if (const Node* overrides = manifest.find("overrides")) {
    for (const Node& node : require(*overrides, JsonType::object).items) {
      readOverride(node, topology);
    }
  }
  return topology;
}

Device deviceNamed(const Node& place, std::string_view name, const Topology& topology) {
  const std::optional<Device> device = parseDevice(name);
  if (!device) {
    place.reject(inQuotes(name) + " is not a device name (expected e.g. 'gpu3')");
  }
  if (!topology.has(*device)) place.reject("the board has no " + std::string(name));
  return *device;
}

DevicePattern readDevicePattern(const Node& node, const Topology& topology) {
  const std::string_view text = textOf(node);
  if (text == "*") return {};
  if (text.ends_with('*')) {
    const std::string_view word = text.substr(0, text.size() - 1);
    if (const auto kind = kindOfWord(word)) return {kind, {}};
    node.reject(inQuotes(word) + " is not a device kind" + suggestion(word, kindWords()));
  }
  const Device device = deviceNamed(node, text, topology);
  return {device.kind, device.id};
}

}  // namespace sim
