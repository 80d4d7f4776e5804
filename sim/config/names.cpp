#include "sim/config/names.h"

#include <algorithm>
#include <array>

#include "sim/base/text.h"
#include "sim/config/fields.h"

namespace sim {
namespace {

constexpr auto kFileKeys =
    std::to_array<std::string_view>({"$schema", "about", "extends", "records", "properties"});
constexpr auto kRecordKeys = std::to_array<std::string_view>({"entriesPerPage", "entries"});

KindIndex kindOfProperty(const Node& node) {
  constexpr std::size_t kMaxName = 255;
  const std::string_view name = node.key;
  if (name.empty() || name.size() > kMaxName) node.reject("a name must have 1 to 255 characters");
  const bool plain = std::ranges::all_of(name, [](char c) { return c > 0x20 && c < 0x7f; });
  if (!plain) node.reject("a name must consist of printable characters without blanks");
  const std::string_view word = name.substr(0, name.find('.'));
  const auto kind = kindOfWord(word);
  if (const Node* device = node.find("device")) {
    const auto given = static_cast<KindIndex>(wordOf(*device, kindWords(), "a device kind"));
    if (kind && *kind != given) {
      device->reject("the name makes it a property of " + std::string(word));
    }
    return given;
  }
  if (!kind) {
    node.reject(inQuotes(word) + " is not a device kind" + suggestion(word, kindWords()));
  }
  return *kind;
}

}  // namespace

void DefinedNames::collect(const Node& document) {
  requireDocument(document, kFileKeys);
  if (const Node* records = document.find("records")) {
    for (const Node& record : require(*records, JsonType::object).items) addRecord(record);
  }
  const Node& properties = require(requireMember(document, "properties"), JsonType::object);
  properties_.reserve(properties_.size() + properties.items.size());
  byName_.reserve(properties_.size() + properties.items.size());
  for (const Node& property : properties.items) addProperty(property);
}

void DefinedNames::addProperty(const Node& node) {
  const KindIndex kind = kindOfProperty(node);
  const auto [known, added] =
      byName_.try_emplace(node.key, static_cast<PropertyIndex>(properties_.size()));
  if (added) {
    properties_.push_back({&node, kind});
  } else {
    properties_[static_cast<std::size_t>(known->second)] = {&node, kind};
  }
}

void DefinedNames::addRecord(const Node& node) {
  requireObject(node, kRecordKeys);
  const auto [known, added] = recordsByName_.try_emplace(node.key, records_.size());
  if (added) {
    records_.push_back(&node);
  } else {
    records_[known->second] = &node;
  }
}

const PropertyIndex* DefinedNames::find(std::string_view name) const {
  const auto found = byName_.find(name);
  return found == byName_.end() ? nullptr : &found->second;
}

PropertyIndex DefinedNames::propertyNamed(const Node& name) const {
  if (const PropertyIndex* index = find(textOf(name))) return *index;
  std::vector<std::string_view> names;
  for (const Entry& entry : properties_) names.push_back(entry.node->key);
  rejectName(name, "property", names);
}

std::size_t DefinedNames::recordNamed(const Node& name) const {
  const auto found = recordsByName_.find(textOf(name));
  if (found == recordsByName_.end()) {
    std::vector<std::string_view> names;
    for (const Node* record : records_) names.push_back(record->key);
    rejectName(name, "record", names);
  }
  return found->second;
}

std::size_t DefinedNames::entriesPerPage(const Node& record) {
  return static_cast<std::size_t>(wholeOf(requireMember(record, "entriesPerPage"), 1, 64));
}

std::size_t DefinedNames::pagesOf(std::size_t record) const {
  const Node& node = *records_[record];
  const std::size_t perPage = entriesPerPage(node);
  const std::size_t entries = require(requireMember(node, "entries"), JsonType::array).items.size();
  return (entries + perPage - 1) / perPage;
}

}  // namespace sim
