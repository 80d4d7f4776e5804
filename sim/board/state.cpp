#include "sim/board/state.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "sim/base/random.h"

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

/// In two's complement, of 32 bits where they are enough for the number.
std::string toHex(std::int64_t number, int digits) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const bool narrow = number >= std::numeric_limits<std::int32_t>::min() && number < 0;
  auto rest = narrow ? static_cast<std::uint32_t>(number) : static_cast<std::uint64_t>(number);
  std::string text;
  do {
    text.insert(text.begin(), kDigits[rest % 16]);
    rest /= 16;
  } while (rest != 0);
  return "0x" + padded(std::move(text), static_cast<std::size_t>(digits));
}

std::string format(const Format& format, Fixed number) {
  switch (format.kind) {
    case Format::Kind::text:
      return "";
    case Format::Kind::integer:
      return formatDecimal(number, 0);
    case Format::Kind::real:
      return formatDecimal(number, format.precision);
    case Format::Kind::hex:
      return toHex(roundToWhole(number), format.digits);
    case Format::Kind::enumeration:
      return format.covers(number) ? format.names[static_cast<std::size_t>(roundToWhole(number))]
                                   : formatDecimal(number, 0);
  }
  return "";
}

/// `rate` per second over `span`, without overflow on the way.
Fixed accumulate(Fixed rate, Time span) {
  return addClamped(multiplyClamped(rate, span / kSecond * kOne),
                    multiplyClamped(rate, span % kSecond * (kOne / kSecond)));
}

constexpr Time kCompactionPeriod = 60 * kSecond;
/// How many values one call may compute beside those that it is asked for.
constexpr std::uint64_t kShare = 100'000;
/// More than a kind has devices.
constexpr std::size_t kPlaces = 256;

bool isIntegral(const Definition& definition) {
  return std::holds_alternative<Integral>(definition.model);
}

}  // namespace

BoardState::BoardState(PropertyDb properties, Topology topology, std::uint64_t seed)
    : properties_(std::move(properties)), topology_(std::move(topology)), seed_(seed) {
  for (const Device device : topology_.absent) {
    setPresent(device, std::numeric_limits<Time>::min(), false);
  }
  for (std::size_t i = 0; i < properties_.all().size(); ++i) {
    const Property& property = properties_.all()[i];
    const bool overridden = std::ranges::any_of(
        property.overrides, [](const auto& entry) { return isIntegral(entry.second); });
    if (overridden || isIntegral(property.definition)) {
      integrals_.push_back(static_cast<PropertyIndex>(i));
    }
  }
}

bool BoardState::presentAt(Device device, Time time) const {
  const auto& ofKind = presence_[static_cast<std::size_t>(device.kind)];
  const auto found = ofKind.find(device.id);
  if (found == ofKind.end()) return true;
  const auto& changes = found->second;
  const auto last = std::find_if(changes.rbegin(), changes.rend(),
                                 [&](const auto& change) { return change.first <= time; });
  return last == changes.rend() || last->second;
}

void BoardState::setPresent(Device device, Time time, bool present) {
  presence_[static_cast<std::size_t>(device.kind)][device.id].emplace_back(time, present);
}

void BoardState::set(PropertyIndex property, int deviceId, Time time, Fixed number,
                     std::string text) {
  changes_[{property, deviceId}].push_back(
      {.time = time, .cleared = false, .number = number, .text = std::move(text)});
}

void BoardState::clear(PropertyIndex property, int deviceId, Time time) {
  changes_[{property, deviceId}].push_back(
      {.time = time, .cleared = true, .number = 0, .text = {}});
}

const BoardState::Change* BoardState::lastChange(PropertyKey key, Time time) const {
  const auto found = changes_.find(key);
  if (found == changes_.end()) return nullptr;
  const auto& changes = found->second;
  const auto last = std::find_if(changes.rbegin(), changes.rend(),
                                 [&](const Change& change) { return change.time <= time; });
  return last == changes.rend() ? nullptr : &*last;
}

std::string BoardState::textAt(PropertyIndex property, int deviceId, Time time) const {
  const Definition& definition = properties_.at(property).definitionFor(deviceId);
  const PropertyKey key{property, deviceId};
  const Change* change = lastChange(key, time);
  if (definition.format.isText() && change != nullptr && !change->cleared) {
    return change->text;
  }
  if (definition.format.isText()) return print(definition, key, time);
  return format(definition.format, numberAt(property, deviceId, time));
}

Fixed BoardState::numberAt(PropertyIndex property, int deviceId, Time time) const {
  ++evaluations_;
  const Definition& definition = properties_.at(property).definitionFor(deviceId);
  const PropertyKey key{property, deviceId};
  const Change* change = lastChange(key, time);
  if (change == nullptr) return evaluate(definition, key, time);
  if (const auto* counter = std::get_if<Counter>(&definition.model)) {
    return addClamped(change->number, accumulate(counter->perSecond, time - change->time));
  }
  return change->cleared ? evaluate(definition, key, time) : change->number;
}

Fixed BoardState::evaluate(const Definition& definition, PropertyKey key, Time time) const {
  return std::visit(Overloaded{
                        [](const Constant& model) { return model.number; },
                        [&](const Counter& model) {
                          return addClamped(model.start, accumulate(model.perSecond, time));
                        },
                        [&](const RandomWalk& model) {
                          return randomWalk(model, definition, key.deviceId, time);
                        },
                        [&](const Aggregate& model) { return aggregate(model, key, time); },
                        [&](const Integral& model) { return integrate(model, key, time); },
                        [](const Serial& /*text*/) { return Fixed{0}; },
                        [](const Page& /*text*/) { return Fixed{0}; },
                    },
                    definition.model);
}

// Turning points at whole multiples of the period, a straight line between two of them. Each
// turning point is drawn from its own number, so that any moment can be computed without those
// before it.
Fixed BoardState::randomWalk(const RandomWalk& model, const Definition& definition, int deviceId,
                             Time time) const {
  constexpr std::int64_t kSteps = 1 << 16;
  const auto span = static_cast<std::uint64_t>(model.high - model.low) + 1;
  const std::uint64_t sequence = definition.salt + static_cast<std::uint64_t>(deviceId);
  const std::int64_t turn = time / model.periodUs;
  const auto at = [&](std::int64_t index) {
    const std::uint64_t number = draw(seed_, sequence, static_cast<std::uint64_t>(index));
    return model.low + static_cast<Fixed>(number % span);
  };
  const Fixed from = at(turn);
  const std::int64_t step = time % model.periodUs * kSteps / model.periodUs;
  return from + (at(turn + 1) - from) * step / kSteps;
}

Fixed BoardState::aggregate(const Aggregate& model, PropertyKey key, Time time) const {
  Fixed total = 0;
  Fixed highest = std::numeric_limits<Fixed>::min();
  std::int64_t terms = 0;
  const auto add = [&](PropertyIndex source, int deviceId) {
    const Fixed number = numberAt(source, deviceId, time);
    total = addClamped(total, number);
    highest = std::max(highest, number);
    ++terms;
  };
  const KindIndex own = properties_.at(key.property).kind;
  for (const PropertyIndex source : model.sources) {
    const KindIndex kind = properties_.at(source).kind;
    if (kind == own) {
      add(source, key.deviceId);
      continue;
    }
    for (int id = 0; id < topology_.countOf(kind); ++id) {
      if (presentAt({kind, id}, time)) add(source, id);
    }
  }
  if (terms == 0) return model.offset;
  const Fixed result = model.rule == Aggregate::Rule::sum       ? total
                       : model.rule == Aggregate::Rule::average ? total / terms
                                                                : highest;
  return addClamped(multiplyClamped(result, model.scale), model.offset);
}

// One sample for each whole second, taken at its beginning; the running second counts in part. The
// samples lie at fixed moments, so the sum does not depend on when and how often it is read. Up to
// a moment before which nobody will ask, the sum is kept.
Fixed BoardState::integrate(const Integral& model, PropertyKey key, Time time) const {
  const auto sumUpTo = [&](Sum& sum, Time end) {
    while (sum.seconds < end / kSecond) addSample(model, key, sum);
  };
  Sum& kept = sums_[key];
  sumUpTo(kept, std::min(time, settled_));
  Sum sum = kept;
  sumUpTo(sum, time);
  const Fixed rate =
      multiplyClamped(numberAt(model.source, key.deviceId, time / kSecond * kSecond), model.scale);
  return addClamped(sum.total, accumulate(rate, time % kSecond));
}

void BoardState::addSample(const Integral& model, PropertyKey key, Sum& sum) const {
  const Fixed sample = numberAt(model.source, key.deviceId, sum.seconds * kSecond);
  sum.total = addClamped(sum.total, multiplyClamped(sample, model.scale));
  ++sum.seconds;
}

// What is kept begins at a whole second, because the next sample of a sum lies there.
void BoardState::compactHistory(Time time) {
  settled_ = time / kSecond * kSecond;
  if (!begun_) {
    if (settled_ - forgotten_ < kCompactionPeriod) return;
    begun_ = settled_;
    carried_ = 0;
  }
  if (!carrySums(*begun_)) return;
  forgetChanges(*begun_);
  forgotten_ = *std::exchange(begun_, std::nullopt);
}

/// Carries the sums on, since their samples need the changes that are about to be forgotten.
/// Returns false when that is more than a share.
bool BoardState::carrySums(Time time) {
  const std::uint64_t enough = evaluations_ + kShare;
  for (; carried_ < integrals_.size() * kPlaces; ++carried_) {
    const PropertyKey key{integrals_[carried_ / kPlaces], static_cast<int>(carried_ % kPlaces)};
    const Property& property = properties_.at(key.property);
    if (key.deviceId >= topology_.countOf(property.kind)) continue;
    const auto* model = std::get_if<Integral>(&property.definitionFor(key.deviceId).model);
    if (model == nullptr) continue;
    for (Sum& sum = sums_[key]; sum.seconds < time / kSecond; addSample(*model, key, sum)) {
      if (evaluations_ >= enough) return false;
    }
  }
  return true;
}

/// Of the changes up to that moment the last one stays: it is still in effect.
void BoardState::forgetChanges(Time time) {
  for (auto& [key, changes] : changes_) {
    const auto later =
        std::ranges::find_if(changes, [&](const Change& c) { return c.time > time; });
    if (later - changes.begin() > 1) changes.erase(changes.begin(), later - 1);
  }
}

std::string BoardState::print(const Definition& definition, PropertyKey key, Time time) const {
  return std::visit(Overloaded{
                        [](const Constant& model) { return model.text; },
                        [&](const Serial& model) {
                          std::string number = std::to_string(model.first + key.deviceId);
                          return std::string(model.pattern)
                              .replace(model.begin, model.width,
                                       padded(std::move(number), model.width));
                        },
                        [&](const Page& model) { return printPage(model, key, time); },
                        [](const auto& /*number*/) { return std::string(); },
                    },
                    definition.model);
}

std::string BoardState::printPage(const Page& page, PropertyKey key, Time time) const {
  std::string text;
  for (const Definition& entry : properties_.record(page.record).onPage(page.page)) {
    if (!text.empty()) text += ' ';
    text += entry.format.isText() ? print(entry, key, time)
                                  : format(entry.format, evaluate(entry, key, time));
  }
  return text;
}

}  // namespace sim
