#include "sim/board/board.h"

#include <algorithm>
#include <utility>

#include "sim/base/log.h"

// What happens to the board by itself, in the course of time.

namespace sim {
namespace {

constexpr std::int64_t kMaxCatchUpPolls = 1000;

}  // namespace

Board::Board(Topology topology, PropertyDb properties, Profile profile)
    : state_(std::move(properties), std::move(topology), profile.seed),
      seed_(profile.seed),
      snapshot_(profile.snapshot),
      latency_(profile.latency),
      faults_(std::move(profile.faults), profile.seed),
      timeline_(std::move(profile.timeline)),
      postbox_(profile.postbox),
      callbackPeriod_(profile.callbackPeriod),
      nextPoll_(profile.snapshot.firstComplete()) {}

// Events and polls happen in the order of time, whenever somebody comes to ask; an event goes first
// when both are due at one moment, so that the poll sees it. When the clock has jumped far ahead,
// only the first and the last polls are made up for: more would keep the caller waiting for updates
// that nobody could tell apart. Without subscriptions there is nothing to poll, and the moment
// moves on at once.
void Board::advance(Time now) {
  if (subscriptions_.empty() && nextPoll_ > snapshot_.firstComplete() && nextPoll_ <= now) {
    nextPoll_ += (now - nextPoll_) / callbackPeriod_ * callbackPeriod_;
  }
  for (;;) {
    const std::optional<Time> event = timeline_.next();
    if (event && *event <= now && *event <= nextPoll_) {
      apply(timeline_.take(), *event);
    } else if (nextPoll_ <= now) {
      // Not to be tried again when there is no memory for it: the next one sees the same changes.
      pollChanges(std::exchange(nextPoll_, nextPoll_ + callbackPeriod_));
      const std::int64_t others = (now - nextPoll_) / callbackPeriod_ + 1;
      if (others > kMaxCatchUpPolls) nextPoll_ += (others - kMaxCatchUpPolls) * callbackPeriod_;
    } else {
      break;
    }
  }
  // Nobody asks for a moment before the one that the snapshot holds.
  if (const auto taken = snapshot_.takenAt(now)) state_.compactHistory(*taken);
  if (const std::int64_t lost = subscriptions_.takeOverflow(); lost > 0) {
    logLine(Level::warning, std::to_string(lost) + " updates dropped: the callbacks are too slow");
  }
}

std::optional<Time> Board::nextDue() const {
  const std::optional<Time> event = timeline_.next();
  if (subscriptions_.empty()) return event;
  return event ? std::min(*event, nextPoll_) : nextPoll_;
}

void Board::pollChanges(Time time) {
  if (time == snapshot_.firstComplete() && snapshot_.refresh * 2 > snapshot_.period) {
    logLine(Level::warning, "slow refresh: the snapshot took " +
                                std::to_string(snapshot_.refresh / kMillisecond) + " ms of its " +
                                std::to_string(snapshot_.period / kMillisecond) + " ms");
  }
  subscriptions_.pollChanges(state_, time);
}

void Board::apply(const Event& event, Time time) {
  for (int id = 0; id < state_.topology().countOf(*event.device.kind); ++id) {
    const Device device{*event.device.kind, id};
    if (event.device.matches(device)) applyTo(event, device, time);
  }
}

void Board::applyTo(const Event& event, Device device, Time time) {
  if (event.endsDrop && !endsDrop(device, time)) return;
  const std::string name = event.ofDevice() ? "" : state_.properties().at(event.property).name;
  if (isLogged(Level::debug)) {
    const std::string_view word = kEventWords[static_cast<std::size_t>(event.kind)];
    logLine(Level::debug, "timeline: " + std::string(word) + ' ' + nameOf(device) +
                              (event.ofDevice() ? "" : ' ' + name));
  }
  switch (event.kind) {
    case EventKind::set:
      state_.set(event.property, device.id, time, event.number, event.text);
      pollChanged(event.property, device.id, time);
      break;
    case EventKind::clear:
      state_.clear(event.property, device.id, time);
      pollChanged(event.property, device.id, time);
      break;
    case EventKind::drop:
      drop(device, time, {});
      break;
    case EventKind::restore:
      restore(device, time);
      break;
    case EventKind::burst:
      if (time >= snapshot_.firstComplete()) {
        subscriptions_.burst(state_, time, device, event.property, event.count);
      }
      break;
    case EventKind::lose:
      subscriptions_.lose(event.property, device.id, event.count);
      break;
  }
}

void Board::pollChanged(PropertyIndex property, int deviceId, Time time) {
  if (time >= snapshot_.firstComplete()) {
    subscriptions_.pollChanges(state_, time, property, deviceId);
  }
}

// A device stays off the bus while any of its drops lasts, so a drop never brings it back sooner.
// One that is off without a known end, or was never fitted, waits for a `restore` of the timeline.
void Board::drop(Device device, Time time, std::optional<Time> until) {
  const std::pair place(device.kind, device.id);
  const auto known = returns_.find(place);
  const bool present = state_.presentAt(device, time);
  if (!until) {
    returns_.erase(place);
  } else if (present || (known != returns_.end() && known->second < *until)) {
    returns_[place] = *until;
    Event back;
    back.kind = EventKind::restore;
    back.device = {device.kind, device.id};
    back.endsDrop = true;
    timeline_.add(*until, back);
  }
  if (!present) return;
  state_.setPresent(device, time, false);
  postbox_.reset(device);
}

void Board::restore(Device device, Time time) {
  returns_.erase({device.kind, device.id});
  state_.setPresent(device, time, true);
}

bool Board::endsDrop(Device device, Time time) const {
  const auto known = returns_.find({device.kind, device.id});
  return known != returns_.end() && known->second == time;
}

}  // namespace sim
