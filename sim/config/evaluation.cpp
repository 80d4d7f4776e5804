#include "sim/config/evaluation.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

#include "sim/config/fields.h"

namespace sim {
namespace {

constexpr std::int64_t kMaxOthers = 100'000;
constexpr int kMaxDepth = 100;
/// What an integral computes again and again: one sample for each second of a minute, after which
/// the sum is carried on.
constexpr std::int64_t kSamples = 60;

/// What a value needs, known once everything that it is computed from has been visited.
struct Needs {
  enum class Visit : char { open, running, done } state = Visit::open;
  std::int64_t others = 0;  ///< Other values that are computed for one reading.
  int depth = 0;            ///< Of them, those that wait for one another.
  bool integral = false;    ///< Whether an integral is among them, or the value itself.
  bool text = false;        ///< Whether the value is a text on some device.

  void atLeast(const Needs& other) {
    others = std::max(others, other.others);
    depth = std::max(depth, other.depth);
    integral |= other.integral;
    text |= other.text;
  }
  void add(const Needs& source, std::int64_t times) {
    others += (source.others + 1) * times;
    depth = std::max(depth, source.depth + 1);
    integral |= source.integral;
  }
};

/// Visits each property after those that it is computed from. The depth is bounded on the way down
/// as well, since the visit itself recurses; the others, once counted, never exceed what the bound
/// times the sources of one value gives, so they cannot overflow.
class Evaluation {
 public:
  Evaluation(const PropertyDb& properties, const Topology& topology, const DefinedNames& names,
             const Node& manifest)
      : properties_(properties),
        topology_(topology),
        names_(names),
        manifest_(manifest),
        needs_(properties.all().size()) {}

  Needs visit(PropertyIndex index) {
    Needs& known = needs_[static_cast<std::size_t>(index)];
    if (known.state == Needs::Visit::done) return known;
    if (known.state == Needs::Visit::running) rejectCycle(index);
    known.state = Needs::Visit::running;
    const Property& property = properties_.at(index);
    Needs most = visitDefinition(property.definition, {index, {}});
    for (const auto& [device, definition] : property.overrides) {
      most.atLeast(visitDefinition(definition, {index, device}));
    }
    most.state = Needs::Visit::done;
    return known = most;
  }

 private:
  /// Where a definition stands: the property, and the device whose own value it is.
  struct Place {
    PropertyIndex property;
    std::optional<int> device;
  };

  /// Looked up only for messages, since it takes time.
  [[nodiscard]] const Node& nodeAt(const Place& place) const {
    const Node& node = *names_.properties()[static_cast<std::size_t>(place.property)].node;
    if (!place.device) return node;
    const std::string device = nameOf({properties_.at(place.property).kind, *place.device});
    const Node& own = requireMember(requireMember(manifest_, "overrides"), device);
    return requireMember(requireMember(own, "properties"), node.key);
  }

  [[noreturn]] void rejectCycle(PropertyIndex index) const;
  [[noreturn]] void rejectText(PropertyIndex index, const Place& place) const;
  [[noreturn]] void rejectDepth(const Place& place) const {
    nodeAt(place).reject("the value depends on a chain of more than " + std::to_string(kMaxDepth) +
                         " others");
  }

  /// A number that values are computed from.
  Needs visitSource(PropertyIndex index, const Place& place) {
    const Needs needs = visit(index);
    if (needs.text) rejectText(index, place);
    return needs;
  }

  Needs visitDefinition(const Definition& definition, const Place& place) {
    running_.push_back(place);
    if (std::ssize(running_) > kMaxDepth + 1) rejectDepth(running_.front());
    Needs all = visitModel(definition, place);
    running_.pop_back();
    all.text = definition.format.isText();
    if (all.depth > kMaxDepth) rejectDepth(place);
    if (all.others > kMaxOthers) {
      nodeAt(place).reject("the value depends on more than " + std::to_string(kMaxOthers) +
                           " others");
    }
    return all;
  }

  Needs visitModel(const Definition& definition, const Place& place) {
    const KindIndex kind = properties_.at(place.property).kind;
    Needs all;
    if (const auto* aggregate = std::get_if<Aggregate>(&definition.model)) {
      for (const PropertyIndex source : aggregate->sources) {
        const KindIndex other = properties_.at(source).kind;
        all.add(visitSource(source, place), other == kind ? 1 : topology_.countOf(other));
      }
    } else if (const auto* integral = std::get_if<Integral>(&definition.model)) {
      if (properties_.at(integral->source).kind != kind) {
        nodeAt(place).reject("an integral needs a property of the same device");
      }
      all.add(visitSource(integral->source, place), kSamples);
      if (all.integral) nodeAt(place).reject("an integral cannot be computed from another one");
      all.integral = true;
    } else if (const auto* page = std::get_if<Page>(&definition.model)) {
      all = visitPage(*page, place);
    }
    return all;
  }

  /// A page is visited once for each kind, however many properties and devices print it.
  const Needs& visitPage(const Page& page, const Place& place) {
    const std::tuple key(page.record, page.page, properties_.at(place.property).kind);
    const auto known = pages_.find(key);
    if (known != pages_.end()) return known->second;
    Needs all;
    for (const Definition& entry : properties_.record(page.record).onPage(page.page)) {
      all.add(visitModel(entry, place), 1);
    }
    return pages_.insert_or_assign(key, all).first->second;
  }

  const PropertyDb& properties_;
  const Topology& topology_;
  const DefinedNames& names_;
  const Node& manifest_;
  std::vector<Needs> needs_;
  std::map<std::tuple<std::size_t, int, KindIndex>, Needs> pages_;
  std::vector<Place> running_;  ///< From the one that was visited first.
};

/// The place to change is a device's own value, if one takes part.
void Evaluation::rejectCycle(PropertyIndex index) const {
  const std::span cycle(std::ranges::find(running_, index, &Place::property), running_.end());
  const auto own = std::ranges::find_if(cycle, [](const Place& p) { return p.device.has_value(); });
  nodeAt(own == cycle.end() ? cycle.front() : *own).reject("the value is computed from itself");
}

void Evaluation::rejectText(PropertyIndex index, const Place& place) const {
  const Property& source = properties_.at(index);
  const Node& node = nodeAt(place);
  if (source.definition.format.isText()) {
    node.reject("'" + source.name + "' is a text; a value can be computed from numbers only");
  }
  const auto own = std::ranges::find_if(
      source.overrides, [](const auto& value) { return value.second.format.isText(); });
  nodeAt({index, own->first})
      .reject("expected a number, since '" + std::string(node.key) + "' is computed from it");
}

}  // namespace

void boundEvaluation(const PropertyDb& properties, const Topology& topology,
                     const DefinedNames& names, const Node& manifest) {
  Evaluation evaluation(properties, topology, names, manifest);
  const auto count = static_cast<PropertyIndex>(properties.all().size());
  for (PropertyIndex index = 0; index < count; ++index) evaluation.visit(index);
}

}  // namespace sim
