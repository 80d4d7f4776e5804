#include "sim/property_db.h"

#include <algorithm>
#include <numeric>

#include "sim/definition_reader.h"
#include "sim/fields.h"

namespace sim {
namespace {

constexpr std::array<std::string_view, 5> kFileKeys{"$schema", "about", "extends", "records",
                                                    "properties"};
constexpr std::array<std::string_view, 2> kRecordKeys{"entriesPerPage", "entries"};
constexpr std::array<std::string_view, 1> kBases{"builtin"};

std::uint64_t saltOf(std::string_view name) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char c : name) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
  }
  return hash;
}

}  // namespace

std::optional<PropertyIndex> PropertyDb::find(std::string_view name) const {
  const auto nameAt = [this](PropertyIndex index) -> std::string_view { return at(index).name; };
  const auto found = std::ranges::lower_bound(byName_, name, {}, nameAt);
  if (found == byName_.end() || nameAt(*found) != name) return {};
  return *found;
}

void PropertyDb::refuseName(const Node& name) const {
  std::vector<std::string_view> names;
  names.reserve(properties_.size());
  for (const Property& property : properties_) names.emplace_back(property.name);
  name.refuse("no property is named '" + std::string(name.text) + "'" +
              suggestion(name.text, names));
}

/// Fills a database in three passes: names, then behaviours (which may name any property), then the
/// order of evaluation.
class PropertyReader : public NameTable {
 public:
  void collect(const Node& document) {
    requireDocument(document, kFileKeys);
    if (const Node* records = document.find("records")) {
      for (const Node& record : require(*records, JsonType::object).items) addRecord(record);
    }
    const Node& properties = require(requireMember(document, "properties"), JsonType::object);
    db_.properties_.reserve(db_.properties_.size() + properties.items.size());
    for (const Node& property : properties.items) addProperty(property);
    // Only now, since no file names a property twice.
    db_.byName_.resize(db_.size());
    std::iota(db_.byName_.begin(), db_.byName_.end(), 0);
    std::ranges::sort(db_.byName_, {}, [this](PropertyIndex index) -> const std::string& {
      return db_.at(index).name;
    });
  }

  PropertyDb finish(const Topology& topology) {
    for (std::size_t i = 0; i < db_.records_.size(); ++i)
      readRecord(db_.records_[i], *recordNodes_[i]);
    for (std::size_t i = 0; i < db_.properties_.size(); ++i) {
      readProperty(*this, db_.properties_[i], *nodes_[i]);
      db_.properties_[i].definition.salt = saltOf(db_.properties_[i].name);
    }
    for (const Topology::Override& place : topology.overrides) applyOverride(place);
    needs_.resize(db_.properties_.size());
    for (std::size_t i = 0; i < db_.properties_.size(); ++i) {
      visit(static_cast<PropertyIndex>(i), topology);
    }
    for (std::size_t i = 0; i < db_.properties_.size(); ++i) {
      const auto kind = static_cast<std::size_t>(db_.properties_[i].kind);
      db_.byKind_[kind].push_back(static_cast<PropertyIndex>(i));
    }
    return std::move(db_);
  }

  PropertyIndex propertyNamed(const Node& name) const override {
    const std::string_view text = textOf(name);
    if (const auto index = db_.find(text)) return *index;
    db_.refuseName(name);
  }

  std::size_t recordNamed(const Node& name) const override {
    const std::string_view text = textOf(name);
    const auto found = std::ranges::find(db_.records_, text, &Record::name);
    if (found == db_.records_.end()) {
      std::vector<std::string_view> names;
      for (const Record& record : db_.records_) names.emplace_back(record.name);
      name.refuse("no record is named '" + std::string(text) + "'" + suggestion(text, names));
    }
    return static_cast<std::size_t>(found - db_.records_.begin());
  }

  std::size_t pagesOf(std::size_t record) const override {
    const Node& node = *recordNodes_[record];
    const auto perPage =
        static_cast<std::size_t>(wholeOf(requireMember(node, "entriesPerPage"), 1, 64));
    const std::size_t entries =
        require(requireMember(node, "entries"), JsonType::array).items.size();
    return (entries + perPage - 1) / perPage;
  }

 private:
  // A later file's entry takes the place of an earlier one of the same name.
  void addProperty(const Node& node) {
    const KindIndex kind = kindOf(node);
    if (const auto known = db_.find(node.key)) {
      nodes_[static_cast<std::size_t>(*known)] = &node;
      return;
    }
    Property& property = db_.properties_.emplace_back();
    property.name = node.key;
    property.kind = kind;
    nodes_.push_back(&node);
  }

  static KindIndex kindOf(const Node& node) {
    constexpr std::size_t kMaxName = 255;
    const std::string_view name = node.key;
    if (name.empty() || name.size() > kMaxName) node.refuse("a name has 1 to 255 characters");
    const bool plain = std::ranges::all_of(name, [](char c) { return c > 0x20 && c < 0x7f; });
    if (!plain) node.refuse("a name holds printable characters without blanks");
    const std::string_view word = name.substr(0, name.find('.'));
    const Node* device = node.type == JsonType::object ? node.find("device") : nullptr;
    if (device != nullptr)
      return static_cast<KindIndex>(sim::wordOf(*device, kindWords(), "a device kind"));
    const auto kind = kindOfWord(word);
    if (!kind) {
      node.refuse("'" + std::string(word) + "' is not a device kind" +
                  suggestion(word, kindWords()));
    }
    return *kind;
  }

  void addRecord(const Node& node) {
    requireObject(node, kRecordKeys);
    const auto found = std::ranges::find(db_.records_, node.key, &Record::name);
    if (found != db_.records_.end()) {
      recordNodes_[static_cast<std::size_t>(found - db_.records_.begin())] = &node;
      return;
    }
    db_.records_.emplace_back().name = node.key;
    recordNodes_.push_back(&node);
  }

  void readRecord(Record& record, const Node& node) {
    record.entriesPerPage =
        static_cast<std::size_t>(wholeOf(requireMember(node, "entriesPerPage"), 1, 64));
    const Node& entries = require(requireMember(node, "entries"), JsonType::array);
    record.entries.reserve(entries.items.size());
    for (const Node& entry : entries.items) {
      Definition& definition = record.entries.emplace_back(readEntry(*this, entry));
      if (std::holds_alternative<Page>(definition.model)) entry.refuse("a record holds no pages");
      // Only a property's sum is carried on from call to call.
      if (std::holds_alternative<Integral>(definition.model)) {
        entry.refuse("a record holds no integrals, only properties that are");
      }
      definition.salt = saltOf(record.name + '[' + std::to_string(record.entries.size()) + ']');
    }
  }

  void applyOverride(const Topology::Override& place) {
    for (const Node& node : place.properties) {
      const auto index = db_.find(node.key);
      if (!index || db_.at(*index).kind != place.device.kind) {
        node.refuse("'" + std::string(node.key) + "' is no property of " + nameOf(place.device));
      }
      Property& property = db_.properties_[static_cast<std::size_t>(*index)];
      Definition definition = readEntry(*this, node);
      definition.salt = property.definition.salt;
      property.overrides.insert_or_assign(place.device.id, std::move(definition));
    }
  }

  /// What a value needs, known once everything that it is computed from has been visited.
  struct Needs {
    enum class Visit : char { open, running, done } state = Visit::open;
    std::int64_t steps = 1;  ///< Values that are computed for one reading.
    int depth = 1;           ///< Values that wait for one another in the course of it.
    bool integral = false;   ///< Whether an integral is among them.

    void atLeast(const Needs& other) {
      steps = std::max(steps, other.steps);
      depth = std::max(depth, other.depth);
      integral |= other.integral;
    }
    void add(const Needs& source, std::int64_t times) {
      steps += source.steps * times;
      depth = std::max(depth, source.depth + 1);
      integral |= source.integral;
    }
  };

  // Refuses a value that is computed, by whatever way, from itself, or from too many others.
  Needs visit(PropertyIndex index, const Topology& topology) {
    constexpr std::int64_t kMaxSteps = 100'000;
    constexpr int kMaxDepth = 100;
    const auto place = static_cast<std::size_t>(index);
    const Node& node = *nodes_[place];
    if (needs_[place].state == Needs::Visit::done) return needs_[place];
    if (needs_[place].state == Needs::Visit::running) {
      node.refuse("the value is computed from itself");
    }
    const auto refuseDepth = [&node] {
      node.refuse("the value is computed through more than " + std::to_string(kMaxDepth) +
                  " others");
    };
    needs_[place].state = Needs::Visit::running;
    if (++running_ > kMaxDepth) refuseDepth();
    const Property& property = db_.at(index);
    Needs most = visitDefinition(property.definition, property.kind, node, topology);
    for (const auto& [device, definition] : property.overrides) {
      most.atLeast(visitDefinition(definition, property.kind, node, topology));
    }
    --running_;
    if (most.depth > kMaxDepth) refuseDepth();
    if (most.steps > kMaxSteps) {
      node.refuse("the value is computed from more than " + std::to_string(kMaxSteps) + " others");
    }
    most.state = Needs::Visit::done;
    return needs_[place] = most;
  }

  Needs visitDefinition(const Definition& definition, KindIndex own, const Node& node,
                        const Topology& topology) {
    Needs all;
    if (const auto* combine = std::get_if<Combine>(&definition.model)) {
      for (const PropertyIndex source : combine->sources) {
        const KindIndex kind = db_.at(source).kind;
        all.add(visit(source, topology), kind == own ? 1 : topology.countOf(kind));
      }
    } else if (const auto* integral = std::get_if<Integral>(&definition.model)) {
      if (db_.at(integral->source).kind != own) {
        node.refuse("an integral is over a property of the same device");
      }
      all.add(visit(integral->source, topology), 1);
      if (all.integral) node.refuse("an integral is not computed from another one");
      all.integral = true;
    } else if (const auto* page = std::get_if<Page>(&definition.model)) {
      for (const Definition& entry : db_.record(page->record).entries) {
        all.add(visitDefinition(entry, own, node, topology), 1);
      }
    }
    return all;
  }

  PropertyDb db_;
  std::vector<const Node*> nodes_;
  std::vector<const Node*> recordNodes_;
  std::vector<Needs> needs_;
  int running_ = 0;
};

PropertyDb readProperties(const Node& document, const Topology& topology, const Node& builtin) {
  PropertyReader reader;
  require(document, JsonType::object);
  if (const Node* base = document.find("extends")) {
    wordOf(*base, kBases, "a database to extend");
    reader.collect(builtin);
  }
  reader.collect(document);
  return reader.finish(topology);
}

}  // namespace sim
