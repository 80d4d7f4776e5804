#include "sim/topology.h"

#include "sim/fields.h"

namespace sim {
namespace {

constexpr int kMaxDevices = 255;

Topology::Override readOverride(const Topology& topology, const std::string& name,
                                const Node& node) {
  static constexpr std::array<std::string_view, 2> kKeys{"absent", "properties"};
  const std::optional<Device> device = parseDevice(name);
  if (!device) node.refuse("'" + name + "' names no device; a name reads like 'gpu3'");
  if (!topology.has(*device)) node.refuse("the board has no " + name);
  requireObject(node, kKeys);
  Topology::Override result;
  result.device = *device;
  if (const Node* absent = node.find("absent")) result.absent = truthOf(*absent);
  if (const Node* properties = node.find("properties")) {
    require(*properties, JsonType::object);
    for (std::size_t i = 0; i < properties->items.size(); ++i) {
      result.properties.emplace_back(properties->keys[i], &properties->items[i]);
    }
  }
  return result;
}

}  // namespace

Topology readTopology(Node document) {
  static constexpr std::array<std::string_view, 5> kKeys{"$schema", "about", "board", "devices",
                                                         "overrides"};
  Topology topology;
  topology.document = std::move(document);
  const Node& root = requireDocument(topology.document, kKeys);
  // A name for people: only its presence and its form are checked.
  textOf(requireMember(root, "board"));

  const Node& devices = requireObject(requireMember(root, "devices"), kindWords());
  for (std::size_t i = 0; i < devices.items.size(); ++i) {
    const auto kind = static_cast<std::size_t>(*kindOfWord(devices.keys[i]));
    topology.count[kind] = static_cast<int>(wholeOf(devices.items[i], 0, kMaxDevices));
  }
  if (const Node* overrides = root.find("overrides")) {
    require(*overrides, JsonType::object);
    for (std::size_t i = 0; i < overrides->items.size(); ++i) {
      topology.overrides.push_back(readOverride(topology, overrides->keys[i], overrides->items[i]));
    }
  }
  return topology;
}

}  // namespace sim
