#include <array>
#include <utility>

#include "sim/base/text.h"
#include "sim/config/evaluation.h"
#include "sim/config/fields.h"
#include "sim/config/names.h"
#include "sim/config/readers.h"
#include "sim/config/value_reader.h"

namespace sim {
namespace {

/// Chooses the random values of a definition by its name; a name may go on where another one ended.
std::uint64_t saltOf(std::string_view name, std::uint64_t hash = 0xcbf29ce484222325U) {
  for (const char c : name) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
  }
  return hash;
}

Record readRecord(const DefinedNames& names, const Node& node) {
  Record record;
  record.entriesPerPage = DefinedNames::entriesPerPage(node);
  const Node& entries = require(requireMember(node, "entries"), JsonType::array);
  record.entries.reserve(entries.items.size());
  const std::uint64_t salt = saltOf(node.key);
  for (const Node& entry : entries.items) {
    Definition& definition = record.entries.emplace_back(readValue(names, entry));
    if (std::holds_alternative<Page>(definition.model)) {
      entry.reject("record entries cannot be pages");
    }
    // Only a property's sum is carried on from call to call.
    if (std::holds_alternative<Integral>(definition.model)) {
      entry.reject("record entries cannot be integrals; define a property instead");
    }
    definition.salt = saltOf('[' + std::to_string(record.entries.size()) + ']', salt);
  }
  return record;
}

void readOverrides(const DefinedNames& names, const Node& place, Device device,
                   std::vector<Property>& properties) {
  const Node* values = place.find("properties");
  if (values == nullptr) return;
  for (const Node& node : values->items) {
    const PropertyIndex* index = names.find(node.key);
    if (index == nullptr || properties[static_cast<std::size_t>(*index)].kind != device.kind) {
      node.reject(inQuotes(node.key) + " is not a property of " + nameOf(device));
    }
    Property& property = properties[static_cast<std::size_t>(*index)];
    Definition definition = readValue(names, node);
    definition.salt = property.definition.salt;
    property.overrides.insert_or_assign(device.id, std::move(definition));
  }
}

PropertyDb readValues(const DefinedNames& names, const Node& manifest) {
  std::vector<Record> records;
  records.reserve(names.records().size());
  for (const Node* record : names.records()) records.push_back(readRecord(names, *record));
  std::vector<Property> properties;
  properties.reserve(names.properties().size());
  for (const DefinedNames::Entry& entry : names.properties()) {
    Property& property = properties.emplace_back(readProperty(names, *entry.node));
    property.kind = entry.kind;
    property.definition.salt = saltOf(property.name);
  }
  if (const Node* overrides = manifest.find("overrides")) {
    for (const Node& place : overrides->items) {
      readOverrides(names, place, *parseDevice(place.key), properties);
    }
  }
  return {std::move(properties), std::move(records)};
}

}  // namespace

PropertyDb readProperties(const Node& document, const Node& builtin, const Node& manifest,
                          const Topology& topology) {
  static constexpr auto kBases = std::to_array<std::string_view>({"builtin"});
  DefinedNames names;
  require(document, JsonType::object);
  if (const Node* base = document.find("extends")) {
    wordOf(*base, kBases, "a database to extend");
    names.collect(builtin);
  }
  names.collect(document);
  PropertyDb properties = readValues(names, manifest);
  boundEvaluation(properties, topology, names, manifest);
  return properties;
}

}  // namespace sim
