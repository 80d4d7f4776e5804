#include "sim/topology.h"

#include "sim/fields.h"

namespace sim {
namespace {

constexpr int kMaxDevices = 255;

Topology::Override readOverride(const Topology& topology, const Node& node) {
  static constexpr std::array<std::string_view, 2> kKeys{"absent", "properties"};
  const std::string name(node.key);
  const std::optional<Device> device = parseDevice(name);
  if (!device) node.refuse("'" + name + "' names no device; a name reads like 'gpu3'");
  if (!topology.has(*device)) node.refuse("the board has no " + name);
  requireObject(node, kKeys);
  Topology::Override result;
  result.device = *device;
  if (const Node* absent = node.find("absent")) result.absent = truthOf(*absent);
  if (const Node* properties = node.find("properties")) {
    result.properties = require(*properties, JsonType::object).items;
  }
  return result;
}

}  // namespace

Topology readTopology(Document document) {
  static constexpr std::array<std::string_view, 5> kKeys{"$schema", "about", "board", "devices",
                                                         "overrides"};
  Topology topology;
  topology.document = std::move(document);
  const Node& root = requireDocument(topology.document, kKeys);
  // A name for people: only its presence and its form are checked.
  textOf(requireMember(root, "board"));

  const Node& devices = requireObject(requireMember(root, "devices"), kindWords());
  for (const Node& count : devices.items) {
    const auto kind = static_cast<std::size_t>(*kindOfWord(count.key));
    topology.count[kind] = static_cast<int>(wholeOf(count, 0, kMaxDevices));
  }
  if (const Node* overrides = root.find("overrides")) {
    for (const Node& place : require(*overrides, JsonType::object).items) {
      topology.overrides.push_back(readOverride(topology, place));
    }
  }
  return topology;
}

}  // namespace sim
