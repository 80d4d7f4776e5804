#include "sim/config/evaluation.h"

#include <algorithm>
#include <cstdint>
#include <map>
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
    const auto place = static_cast<std::size_t>(index);
    const Node& node = *names_.properties()[place].node;
    if (needs_[place].state == Needs::Visit::done) return needs_[place];
    if (needs_[place].state == Needs::Visit::running) {
      node.reject("the value is computed from itself");
    }
    needs_[place].state = Needs::Visit::running;
    if (running_++ > kMaxDepth) rejectDepth(node);
    const Property& property = properties_.at(index);
    Needs most = visitDefinition(property.definition, property.kind, node);
    most.text = property.definition.format.isText();
    for (const auto& [device, definition] : property.overrides) {
      most.atLeast(visitDefinition(definition, property.kind, node));
      most.text |= definition.format.isText();
    }
    --running_;
    if (most.depth > kMaxDepth) rejectDepth(node);
    if (most.others > kMaxOthers) {
      node.reject("the value depends on more than " + std::to_string(kMaxOthers) + " others");
    }
    most.state = Needs::Visit::done;
    return needs_[place] = most;
  }

 private:
  [[noreturn]] static void rejectDepth(const Node& node) {
    node.reject("the value depends on a chain of more than " + std::to_string(kMaxDepth) +
                " others");
  }

  /// A number that values are computed from.
  Needs visitSource(PropertyIndex index, const Node& node) {
    const Needs needs = visit(index);
    if (needs.text) rejectText(properties_.at(index), node);
    return needs;
  }

  [[noreturn]] void rejectText(const Property& source, const Node& node) const {
    if (source.definition.format.isText()) {
      node.reject("'" + source.name + "' is a text; a value can be computed from numbers only");
    }
    const auto own = std::ranges::find_if(
        source.overrides, [](const auto& value) { return value.second.format.isText(); });
    const std::string device = nameOf({source.kind, own->first});
    const Node& overrides = requireMember(requireMember(manifest_, "overrides"), device);
    requireMember(requireMember(overrides, "properties"), source.name)
        .reject("expected a number, since '" + std::string(node.key) + "' is computed from it");
  }

  Needs visitDefinition(const Definition& definition, KindIndex own, const Node& node) {
    Needs all;
    if (const auto* aggregate = std::get_if<Aggregate>(&definition.model)) {
      for (const PropertyIndex source : aggregate->sources) {
        const KindIndex kind = properties_.at(source).kind;
        all.add(visitSource(source, node), kind == own ? 1 : topology_.countOf(kind));
      }
    } else if (const auto* integral = std::get_if<Integral>(&definition.model)) {
      if (properties_.at(integral->source).kind != own) {
        node.reject("an integral needs a property of the same device");
      }
      all.add(visitSource(integral->source, node), kSamples);
      if (all.integral) node.reject("an integral cannot be computed from another one");
      all.integral = true;
    } else if (const auto* page = std::get_if<Page>(&definition.model)) {
      all = visitPage(*page, own, node);
    }
    return all;
  }

  /// A page is visited once for each kind, however many properties and devices print it.
  const Needs& visitPage(const Page& page, KindIndex own, const Node& node) {
    const std::tuple key(page.record, page.page, own);
    const auto known = pages_.find(key);
    if (known != pages_.end()) return known->second;
    Needs all;
    for (const Definition& entry : properties_.record(page.record).onPage(page.page)) {
      all.add(visitDefinition(entry, own, node), 1);
    }
    return pages_.insert_or_assign(key, all).first->second;
  }

  const PropertyDb& properties_;
  const Topology& topology_;
  const DefinedNames& names_;
  const Node& manifest_;
  std::vector<Needs> needs_;
  std::map<std::tuple<std::size_t, int, KindIndex>, Needs> pages_;
  int running_ = 0;
};

}  // namespace

void boundEvaluation(const PropertyDb& properties, const Topology& topology,
                     const DefinedNames& names, const Node& manifest) {
  Evaluation evaluation(properties, topology, names, manifest);
  const auto count = static_cast<PropertyIndex>(properties.all().size());
  for (PropertyIndex index = 0; index < count; ++index) evaluation.visit(index);
}

}  // namespace sim
