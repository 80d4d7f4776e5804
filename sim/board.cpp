#include "sim/board.h"

#include <algorithm>
#include <utility>

#include "catalogue/api_property_map.h"
#include "sim/log.h"

namespace sim {
namespace {

/// More looks than this are not made up for when the clock has jumped.
constexpr Time kMaxLooks = 1000;

constexpr Time kSettlePeriod = 60 * kSecond;

bool touchesDevice(const Call& call) {
  switch (call.operation) {
    case Operation::get:
      return call.accessMode == 1;
    case Operation::set:
    case Operation::clear:
    case Operation::raw:
    case Operation::rawSyncCmd:
    case Operation::rawAsyncCmd:
      return true;
    default:
      return false;
  }
}

bool usesMailbox(const Call& call) {
  return call.operation == Operation::raw || call.operation == Operation::rawSyncCmd ||
         call.operation == Operation::rawAsyncCmd;
}

}  // namespace

Board::Board(Topology topology, PropertyDb properties, Profile profile)
    : world_(std::move(properties), std::move(topology), profile.seed),
      seed_(profile.seed),
      snapshot_(profile.snapshot),
      latency_(profile.latency),
      faults_(std::move(profile.faults), profile.seed),
      timeline_(std::move(profile.timeline)),
      mailbox_(profile.mailbox),
      callbackPeriod_(profile.callbackPeriod),
      nextLook_(profile.snapshot.firstComplete()) {}

int Board::resolve(Call& call, int deviceId) const {
  if (call.operation == Operation::list || call.operation == Operation::snapshot) return kOk;
  if (!call.device) {
    std::string_view name = call.name;
    if (call.operation == Operation::setCallback) {
      name = PropertyCatalogue::ApiPropertyMap.find(name).value_or("");
    }
    call.property = world_.properties().find(name);
    if (!call.property) return kNoSuchProperty;
    call.device = Device{world_.properties().at(*call.property).kind, deviceId};
  }
  if (!world_.topology().has(*call.device)) return kNoSuchDevice;
  if (call.accessMode && *call.accessMode != 0 && *call.accessMode != 1) return kBadArgument;
  return kOk;
}

Time Board::latencyOf(const Call& call) const {
  if (!touchesDevice(call)) return 0;
  return usesMailbox(call) ? mailbox_.settings().latency
                           : latency_[static_cast<std::size_t>(call.device->kind)];
}

std::optional<Time> Board::timeLimitOf(const Call& call) const {
  if (!usesMailbox(call)) return {};
  return mailbox_.settings().timeout;
}

int Board::reach(const Call& call, Time now, Time& when) const {
  when = now;
  if (!call.device) return kOk;
  if (call.operation == Operation::get && call.accessMode == 0) {
    const std::optional<Time> taken = snapshot_.takenAt(now);
    if (!taken) return kNotReady;
    when = *taken;
  } else if (touchesDevice(call) && now < snapshot_.ready) {
    return kNotReady;
  }
  return world_.presentAt(*call.device, when) ? kOk : kDeviceAbsent;
}

void Board::advance(Time now) {
  if (updates_.empty() && nextLook_ > snapshot_.firstComplete() && nextLook_ <= now) {
    nextLook_ += (now - nextLook_) / callbackPeriod_ * callbackPeriod_;
  }
  for (;;) {
    const std::optional<Time> event = timeline_.next();
    if (event && *event <= now && *event <= nextLook_) {
      apply(timeline_.take(), *event);
    } else if (nextLook_ <= now) {
      look(nextLook_);
      nextLook_ += callbackPeriod_;
      const Time due = (now - nextLook_) / callbackPeriod_;
      if (due > kMaxLooks) nextLook_ += (due - kMaxLooks) * callbackPeriod_;
    } else {
      break;
    }
  }
  if (now - settled_ >= kSettlePeriod) {
    settled_ = now;
    if (const auto taken = snapshot_.takenAt(now)) world_.settle(*taken);
  }
  if (const std::int64_t lost = updates_.takeOverflow(); lost > 0) {
    logLine(Level::warning, std::to_string(lost) + " updates dropped: the callbacks are too slow");
  }
}

std::optional<Time> Board::nextDue() const {
  const std::optional<Time> event = timeline_.next();
  if (updates_.empty()) return event;
  return event ? std::min(*event, nextLook_) : nextLook_;
}

void Board::look(Time time) {
  if (time == snapshot_.firstComplete() && snapshot_.refresh * 2 > snapshot_.period) {
    logLine(Level::warning, "slow refresh: the snapshot took " +
                                std::to_string(snapshot_.refresh / kMillisecond) + " ms of its " +
                                std::to_string(snapshot_.period / kMillisecond) + " ms");
  }
  updates_.look(world_, time);
}

void Board::apply(const Event& event, Time time) {
  for (int id = 0; id < world_.topology().countOf(*event.device.kind); ++id) {
    const Device device{*event.device.kind, id};
    if (event.device.matches(device)) applyTo(event, device, time);
  }
}

void Board::applyTo(const Event& event, Device device, Time time) {
  static constexpr std::array<std::string_view, 6> kWords{"set",     "clear", "drop",
                                                          "restore", "burst", "lose"};
  const bool ofDevice = event.kind == EventKind::drop || event.kind == EventKind::restore;
  const std::string& name = world_.properties().at(event.property).name;
  if (isLogged(Level::debug)) {
    logLine(Level::debug, "timeline: " + std::string(kWords[static_cast<std::size_t>(event.kind)]) +
                              ' ' + nameOf(device) + (ofDevice ? "" : ' ' + name));
  }
  switch (event.kind) {
    case EventKind::set:
      world_.set(event.property, device.id, time, event.number, event.text);
      changed(event.property, device.id, time);
      break;
    case EventKind::clear:
      world_.clear(event.property, device.id, time);
      changed(event.property, device.id, time);
      break;
    case EventKind::drop:
    case EventKind::restore:
      setPresent(device, time, event.kind == EventKind::restore);
      break;
    case EventKind::burst:
      if (time >= snapshot_.firstComplete()) {
        updates_.burst(world_, time, device, name, event.count);
      }
      break;
    case EventKind::lose:
      updates_.lose(event.property, device.id, event.count);
      break;
  }
}

void Board::changed(PropertyIndex property, int deviceId, Time time) {
  if (time >= snapshot_.firstComplete()) updates_.look(world_, time, property, deviceId);
}

void Board::setPresent(Device device, Time time, bool present) {
  world_.setPresent(device, time, present);
  if (!present) mailbox_.reset(device);
}

void Board::suffer(const FaultEffect& effect, const Call& call, Time now) {
  if (effect.drop && call.device) {
    setPresent(*call.device, now, false);
    if (*effect.drop > 0) {
      Event back;
      back.kind = EventKind::restore;
      back.device = {call.device->kind, call.device->id};
      timeline_.add(now + *effect.drop, back);
    }
  }
  if (effect.storm > 0 && call.device && now >= snapshot_.firstComplete()) {
    const std::string_view pattern =
        call.property ? world_.properties().at(*call.property).name : std::string_view("*");
    updates_.burst(world_, now, *call.device, pattern, effect.storm);
  }
}

int Board::read(const Call& call, Time when, std::string& text) const {
  if (!world_.properties().at(*call.property).readable) return kNotReadable;
  text = world_.textAt(*call.property, call.device->id, when);
  return kOk;
}

int Board::write(const Call& call, Time now, std::int32_t value) {
  const Property& property = world_.properties().at(*call.property);
  const Micro number = value * kUnit;
  if (!property.writable) return kNotWritable;
  if (number < property.low || number > property.high) return kOutOfRange;
  world_.set(*call.property, call.device->id, now, number);
  changed(*call.property, call.device->id, now);
  return kOk;
}

int Board::clear(const Call& call, Time now) {
  if (!world_.properties().at(*call.property).clearable) return kNotClearable;
  world_.clear(*call.property, call.device->id, now);
  changed(*call.property, call.device->id, now);
  return kOk;
}

int Board::listen(const Call& call, Time now, const UpdateCallback& callback) {
  if (!callback) return kBadArgument;
  if (!world_.properties().at(*call.property).readable) return kNotReadable;
  std::optional<std::string> text;
  if (now >= snapshot_.firstComplete()) {
    text = world_.textAt(*call.property, call.device->id, now);
  }
  updates_.add(*call.device, call.name, *call.property, callback, std::move(text));
  return kOk;
}

int Board::request(const MailboxRequest& request, Time now, MailboxReply& reply) {
  return mailbox_.request(world_, request, now, reply);
}

int Board::asyncRequest(const MailboxRequest& request, Time now, MailboxReply& reply) {
  return mailbox_.asyncRequest(seed_, request, now, reply);
}

void Board::list(std::optional<KindIndex> kind, std::vector<std::string>& names,
                 std::vector<std::string>& details) const {
  const auto last = static_cast<KindIndex>(kDeviceKinds.size());
  for (KindIndex k = kind.value_or(0); k < (kind ? *kind + 1 : last); ++k) {
    for (const PropertyIndex index : world_.properties().ofKind(k)) {
      names.push_back(world_.properties().at(index).name);
      details.push_back(world_.properties().at(index).unit);
    }
  }
}

}  // namespace sim
