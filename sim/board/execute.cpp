#include <algorithm>
#include <utility>

#include "catalogue/api_property_map.h"
#include "sim/base/log.h"
#include "sim/board/board.h"

// The way of a call through the board.

namespace sim {
namespace {

bool touchesDevice(const Call& call) {
  switch (call.operation) {
    case Operation::get:
      return call.accessMode == 1;
    case Operation::set:
    case Operation::clear:
      return true;
    default:
      return call.usesPostbox();
  }
}

void applyTextFault(TextFault fault, Result& result) {
  if (fault == TextFault::truncated) result.text.resize(result.text.size() / 2);
  if (fault == TextFault::empty) result.text.clear();
  result.unterminated = fault == TextFault::unterminated;
}

/// Cuts the answer to what the caller has room for; a text has to fit whole.
void fitAnswer(const Call& call, Result& result) {
  if (!call.room || result.code != kOk) return;
  std::vector<std::uint32_t>& words = result.postbox.words;
  words.resize(std::min(words.size(), *call.room));
  if (result.unterminated) {
    result.text.resize(std::min(result.text.size(), *call.room));
  } else if (!call.usesPostbox() && result.text.size() >= *call.room) {
    result.code = kBufferTooSmall;
  }
}

}  // namespace

// The order is that of a real bus: time passes before the device fails, and it fails whether or not
// the caller still waits; but what a caller asked for and did not wait for has no effect. After a
// wait that ended with the board nothing of it may be touched.
Result Board::execute(Call& call, Waiter& waiter) {
  Result result;
  advance(waiter.now());
  result.code = resolve(call);
  if (result.code != kOk) return result;
  FaultEffect effect;
  if (auto firing = nextFiring(call, waiter.now())) {
    result.firedRule = firing->rule;
    effect = firing->effect;
  }
  if (effect.hang) {
    applyDeviceFault(effect, call, waiter.now());
    waiter.hang();
    result.code = kStopped;
    return result;
  }
  const Time span = effect.delay + latencyOf(call);
  const bool late = call.usesPostbox() && span > postbox_.settings().timeout;
  if (span > 0) {
    if (!waiter.elapse(late ? postbox_.settings().timeout : span)) {
      result.code = kStopped;
      return result;
    }
    advance(waiter.now());
  }
  const Time now = waiter.now();
  Time when = now;
  applyDeviceFault(effect, call, now);
  result.code = late ? kTimeout : effect.code.value_or(kOk);
  if (result.code == kOk) result.code = resolveReadTime(call, now, when);
  if (result.code != kOk) return result;
  result.answered = true;
  result.code = handleRequest(call, when, result);
  applyTextFault(effect.text, result);
  fitAnswer(call, result);
  return result;
}

int Board::resolve(Call& call) const {
  if (call.operation == Operation::list || call.operation == Operation::snapshot) return kOk;
  if (!call.usesPostbox()) {
    std::string_view name = call.name;
    if (call.operation == Operation::setCallback) {
      name = PropertyCatalogue::ApiPropertyMap.find(name).value_or("");
    }
    call.property = state_.properties().find(name);
    if (!call.property) return kNoSuchProperty;
    const Property& property = state_.properties().at(*call.property);
    call.propertyName = property.name;
    call.device = Device{property.kind, call.deviceId};
  }
  if (!state_.topology().has(*call.device)) return kNoSuchDevice;
  if (call.accessMode && *call.accessMode != 0 && *call.accessMode != 1) return kBadArgument;
  return kOk;
}

std::optional<Faults::Firing> Board::nextFiring(const Call& call, Time now) {
  auto firing = faults_.nextFiring(call, now);
  if (firing && isLogged(Level::warning)) {
    std::string text = "fault rule " + std::to_string(firing->rule) + " fired (" +
                       std::to_string(firing->fired) + "): " + std::string(call.entry);
    if (call.device) text += ' ' + nameOf(*call.device);
    if (!call.name.empty()) text += ' ' + call.name;
    logLine(Level::warning, text);
  }
  return firing;
}

/// The simulated time that the transfer to the device takes.
Time Board::latencyOf(const Call& call) const {
  if (call.usesPostbox()) return postbox_.settings().latency;
  return touchesDevice(call) ? latency_[static_cast<std::size_t>(call.device->kind)] : 0;
}

/// Whether the device can answer at `now`; `when`, the moment whose values the call sees, becomes
/// that of the snapshot if the call reads it.
int Board::resolveReadTime(const Call& call, Time now, Time& when) const {
  if (!call.device) return kOk;
  if (call.operation == Operation::get && call.accessMode == 0) {
    const std::optional<Time> taken = snapshot_.takenAt(now);
    if (!taken) return kNotReady;
    when = *taken;
  } else if (touchesDevice(call) && now < snapshot_.ready) {
    return kNotReady;
  }
  return state_.presentAt(*call.device, when) ? kOk : kDeviceAbsent;
}

/// The parts of a fault that concern the device: storms of updates, and falling off the bus, after
/// which it sends none.
void Board::applyDeviceFault(const FaultEffect& effect, const Call& call, Time now) {
  if (!call.device) return;
  if (effect.storm > 0 && now >= snapshot_.firstComplete()) {
    subscriptions_.burst(state_, now, *call.device, call.property, effect.storm);
  }
  if (effect.drop) {
    drop(*call.device, now, *effect.drop > 0 ? std::optional(now + *effect.drop) : std::nullopt);
  }
}

int Board::handleRequest(const Call& call, Time when, Result& result) {
  switch (call.operation) {
    case Operation::init:
      return kOk;
    case Operation::list:
      list(call, result);
      return kOk;
    case Operation::get:
      return read(call, when, result);
    case Operation::set:
      return write(call, when);
    case Operation::clear:
      return clear(call, when);
    case Operation::snapshot:
      result.refreshing = snapshot_.refreshing(when);
      return kOk;
    case Operation::setCallback:
      return subscribe(call, when);
    case Operation::raw:
    case Operation::rawSyncCmd:
    case Operation::rawAsyncCmd:
      return postbox_.request(state_, seed_, call.postbox, when, result.postbox);
  }
  return kInternal;
}

int Board::read(const Call& call, Time when, Result& result) const {
  if (!state_.properties().at(*call.property).readable) return kNotReadable;
  result.text = state_.textAt(*call.property, call.device->id, when);
  return kOk;
}

int Board::write(const Call& call, Time now) {
  const Property& property = state_.properties().at(*call.property);
  const Format& format = property.definitionFor(call.device->id).format;
  const Fixed number = call.value * kOne;
  if (!property.writable || format.isText()) return kNotWritable;
  if (number < property.low || number > property.high || !format.covers(number)) return kOutOfRange;
  state_.set(*call.property, call.device->id, now, number);
  pollChanged(*call.property, call.device->id, now);
  return kOk;
}

int Board::clear(const Call& call, Time now) {
  if (!state_.properties().at(*call.property).clearable) return kNotClearable;
  state_.clear(*call.property, call.device->id, now);
  pollChanged(*call.property, call.device->id, now);
  return kOk;
}

int Board::subscribe(const Call& call, Time now) {
  if (!call.callback) return kBadArgument;
  if (!state_.properties().at(*call.property).readable) return kNotReadable;
  std::optional<std::string> text;
  if (now >= snapshot_.firstComplete()) {
    text = state_.textAt(*call.property, call.device->id, now);
  }
  subscriptions_.add(*call.device, call.name, *call.property, call.callback, std::move(text),
                     call.number);
  return kOk;
}

void Board::list(const Call& call, Result& result) const {
  const auto last = static_cast<KindIndex>(kDeviceKinds.size());
  for (KindIndex k = call.kind.value_or(0); k < (call.kind ? *call.kind + 1 : last); ++k) {
    for (const PropertyIndex index : state_.properties().ofKind(k)) {
      const Property& property = state_.properties().at(index);
      if (call.room) result.text.append(result.names.empty() ? "" : "\n").append(property.name);
      result.names.push_back(property.name);
      result.units.push_back(property.unit);
    }
  }
}

}  // namespace sim
