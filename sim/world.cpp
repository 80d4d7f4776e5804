#include "sim/world.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "sim/random.h"

namespace sim {
namespace {

template <class... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

std::string padded(std::string digits, std::size_t width) {
  if (digits.size() < width) digits.insert(0, width - digits.size(), '0');
  return digits;
}

std::string toHex(std::int64_t number, int digits) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  auto rest = static_cast<std::uint32_t>(number);
  std::string text;
  do {
    text.insert(text.begin(), kDigits[rest % 16]);
    rest /= 16;
  } while (rest != 0);
  return "0x" + padded(std::move(text), static_cast<std::size_t>(digits));
}

std::string format(const Format& format, Micro number) {
  switch (format.shape) {
    case Shape::text:
      return "";
    case Shape::integer:
      return formatDecimal(number, 0);
    case Shape::real:
      return formatDecimal(number, format.precision);
    case Shape::hex:
      return toHex(roundToWhole(number), format.digits);
    case Shape::enumeration: {
      const auto last = static_cast<std::int64_t>(format.names.size()) - 1;
      const std::int64_t index = std::clamp<std::int64_t>(roundToWhole(number), 0, last);
      return format.names[static_cast<std::size_t>(index)];
    }
  }
  return "";
}

/// `rate` per second over `span`, without overflow on the way.
Micro accumulate(Micro rate, Time span) {
  return addClamped(multiplyClamped(rate, span / kSecond * kUnit),
                    multiplyClamped(rate, span % kSecond * (kUnit / kSecond)));
}

}  // namespace

World::World(PropertyDb properties, Topology topology, std::uint64_t seed)
    : properties_(std::move(properties)), topology_(std::move(topology)), seed_(seed) {
  for (const Topology::Override& place : topology_.overrides) {
    if (place.absent) setPresent(place.device, std::numeric_limits<Time>::min(), false);
  }
  // Nothing of the file is needed from here on.
  topology_.overrides.clear();
  topology_.document = {};
}

bool World::presentAt(Device device, Time time) const {
  const auto& ofKind = presence_[static_cast<std::size_t>(device.kind)];
  const auto found = ofKind.find(device.id);
  if (found == ofKind.end()) return true;
  const auto& changes = found->second;
  const auto last = std::find_if(changes.rbegin(), changes.rend(),
                                 [&](const auto& change) { return change.first <= time; });
  return last == changes.rend() || last->second;
}

void World::setPresent(Device device, Time time, bool present) {
  presence_[static_cast<std::size_t>(device.kind)][device.id].emplace_back(time, present);
}

void World::set(PropertyIndex property, int deviceId, Time time, Micro number, std::string text) {
  changes_[{property, deviceId}].push_back(
      {.time = time, .cleared = false, .number = number, .text = std::move(text)});
}

void World::clear(PropertyIndex property, int deviceId, Time time) {
  changes_[{property, deviceId}].push_back(
      {.time = time, .cleared = true, .number = 0, .text = {}});
}

const World::Change* World::lastChange(Place place, Time time) const {
  const auto found = changes_.find(place);
  if (found == changes_.end()) return nullptr;
  const auto& changes = found->second;
  const auto last = std::find_if(changes.rbegin(), changes.rend(),
                                 [&](const Change& change) { return change.time <= time; });
  return last == changes.rend() ? nullptr : &*last;
}

std::string World::textAt(PropertyIndex property, int deviceId, Time time) const {
  const Definition& definition = properties_.at(property).definitionFor(deviceId);
  const Place place{property, deviceId};
  const Change* change = lastChange(place, time);
  if (definition.format.shape == Shape::text && change != nullptr && !change->cleared) {
    return change->text;
  }
  if (definition.format.shape == Shape::text) return print(definition, place, time);
  return format(definition.format, numberAt(property, deviceId, time));
}

Micro World::numberAt(PropertyIndex property, int deviceId, Time time) const {
  const Definition& definition = properties_.at(property).definitionFor(deviceId);
  const Place place{property, deviceId};
  const Change* change = lastChange(place, time);
  if (change == nullptr) return evaluate(definition, place, time);
  if (const auto* counter = std::get_if<Counter>(&definition.model)) {
    return addClamped(change->number, accumulate(counter->perSecond, time - change->time));
  }
  return change->cleared ? evaluate(definition, place, time) : change->number;
}

Micro World::evaluate(const Definition& definition, Place place, Time time) const {
  return std::visit(
      Overloaded{
          [](const Constant& model) { return model.number; },
          [&](const Counter& model) {
            return addClamped(model.start, accumulate(model.perSecond, time));
          },
          [&](const Walk& model) { return walk(model, definition, place.second, time); },
          [&](const Combine& model) { return combine(model, place, time); },
          [&](const Integral& model) {
            const auto known = sums_.find(place);
            return integrate(model, place, known == sums_.end() ? Sum{} : known->second, time);
          },
          [](const Serial& /*text*/) { return Micro{0}; },
          [](const Page& /*text*/) { return Micro{0}; },
      },
      definition.model);
}

// Turning points at whole multiples of the period, a straight line between two of them.
Micro World::walk(const Walk& model, const Definition& definition, int deviceId, Time time) const {
  constexpr std::int64_t kSteps = 1 << 16;
  const auto span = static_cast<std::uint64_t>(model.high - model.low) + 1;
  const std::uint64_t sequence = definition.salt + static_cast<std::uint64_t>(deviceId);
  const std::int64_t turn = time / model.periodUs;
  const auto at = [&](std::int64_t index) {
    const std::uint64_t number = draw(seed_, sequence, static_cast<std::uint64_t>(index));
    return model.low + static_cast<Micro>(number % span);
  };
  const Micro from = at(turn);
  const std::int64_t step = time % model.periodUs * kSteps / model.periodUs;
  return from + (at(turn + 1) - from) * step / kSteps;
}

Micro World::combine(const Combine& model, Place place, Time time) const {
  Micro total = 0;
  Micro highest = std::numeric_limits<Micro>::min();
  std::int64_t terms = 0;
  const auto add = [&](PropertyIndex source, int deviceId) {
    const Micro number = numberAt(source, deviceId, time);
    total = addClamped(total, number);
    highest = std::max(highest, number);
    ++terms;
  };
  const KindIndex own = properties_.at(place.first).kind;
  for (const PropertyIndex source : model.sources) {
    const KindIndex kind = properties_.at(source).kind;
    if (kind == own) {
      add(source, place.second);
      continue;
    }
    for (int id = 0; id < topology_.countOf(kind); ++id) {
      if (presentAt({kind, id}, time)) add(source, id);
    }
  }
  if (terms == 0) return model.offset;
  const Micro result = model.rule == Combine::Rule::sum       ? total
                       : model.rule == Combine::Rule::average ? total / terms
                                                              : highest;
  return addClamped(multiplyClamped(result, model.scale), model.offset);
}

// One sample for each whole second; the running second counts in part.
World::Sum World::sumUpTo(const Integral& model, Place place, Sum from, Time time) const {
  const std::int64_t seconds = time / kSecond;
  for (; from.seconds < seconds; ++from.seconds) {
    const Micro sample = numberAt(model.source, place.second, from.seconds * kSecond);
    from.total = addClamped(from.total, multiplyClamped(sample, model.scale));
  }
  return from;
}

Micro World::integrate(const Integral& model, Place place, Sum from, Time time) const {
  const Sum whole = sumUpTo(model, place, from, time);
  const Micro rate =
      multiplyClamped(numberAt(model.source, place.second, time / kSecond * kSecond), model.scale);
  return addClamped(whole.total, accumulate(rate, time % kSecond));
}

void World::settle(Time time) {
  for (int index = 0; index < static_cast<int>(properties_.size()); ++index) {
    const Property& property = properties_.at(index);
    for (int id = 0; id < topology_.countOf(property.kind); ++id) {
      const auto* model = std::get_if<Integral>(&property.definitionFor(id).model);
      if (model == nullptr) continue;
      Sum& sum = sums_[{index, id}];
      sum = sumUpTo(*model, {index, id}, sum, time);
    }
  }
  const Time kept = time / kSecond * kSecond;
  for (auto& [place, changes] : changes_) {
    const auto later =
        std::ranges::find_if(changes, [&](const Change& c) { return c.time > kept; });
    if (later - changes.begin() > 1) changes.erase(changes.begin(), later - 1);
  }
}

std::string World::print(const Definition& definition, Place place, Time time) const {
  return std::visit(Overloaded{
                        [](const Constant& model) { return model.text; },
                        [&](const Serial& model) {
                          return model.before +
                                 padded(std::to_string(model.first + place.second), model.width) +
                                 model.after;
                        },
                        [&](const Page& model) { return printPage(model, place, time); },
                        [](const auto& /*number*/) { return std::string(); },
                    },
                    definition.model);
}

std::string World::printPage(const Page& page, Place place, Time time) const {
  const Record& record = properties_.record(page.record);
  const std::size_t begin = static_cast<std::size_t>(page.page) * record.entriesPerPage;
  const std::size_t end = std::min(begin + record.entriesPerPage, record.entries.size());
  std::string text;
  for (std::size_t i = begin; i < end; ++i) {
    const Definition& entry = record.entries[i];
    if (!text.empty()) text += ' ';
    text += entry.format.shape == Shape::text ? print(entry, place, time)
                                              : format(entry.format, evaluate(entry, place, time));
  }
  return text;
}

}  // namespace sim
