#include "sim/library/replay.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "sim/base/codes.h"
#include "sim/library/replay_text.h"

namespace sim {
namespace {

using journal::Capture;

bool answers(const journal::Call& call, const Capture& capture) {
  return call.entry == capture.entry() &&
         (call.entry == journal::Entry::managerInit || capture.difference(call).empty());
}

/// Orders updates: those during a call come before those after it and before the next.
std::int64_t orderOf(const journal::Update* update) {
  return 2 * update->after + (update->during ? 0 : 1);
}

std::string fromHereOn() {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "; from here on every call answers 0x%x", kNotRecorded);
  return text.data();
}

}  // namespace

Replay::Replay(ReplaySettings settings, journal::Recording recording)
    : settings_(std::move(settings)), recording_(std::move(recording)) {
  if (recording_.header.version < 2) {
    throw FileError(settings_.journal +
                    ":1:1: cannot be replayed: version 1 does not hold the names of listings and "
                    "the arguments of rejected calls");
  }
  for (const journal::Update& update : recording_.updates) updates_.push_back(&update);
  std::ranges::stable_sort(updates_, {}, orderOf);
  made_.resize(recording_.calls.size());
}

std::string Replay::placeOf(const journal::Call& call) const {
  return settings_.journal + ':' + std::to_string(call.line);
}

bool Replay::finished() const { return differs_ || next_ == recording_.calls.size(); }

bool Replay::hasAnotherRun() const {
  if (finished() || settings_.match == ReplaySettings::Match::byRequest) return false;
  return recording_.calls[next_].entry <= journal::Entry::managerInit;
}

std::string Replay::leftOver() const {
  if (finished() || settings_.match == ReplaySettings::Match::byRequest) return "";
  const std::size_t count = recording_.calls.size() - next_;
  const journal::Call& first = recording_.calls[next_];
  return placeOf(first) + ": " + std::to_string(count) +
         (count == 1 ? " recorded call was" : " recorded calls were") + " not made, from " +
         textOf(first) + " on";
}

Replay::Updates Replay::updatesBetween(std::int64_t begin, std::int64_t end) const {
  const auto before = [](const journal::Update* update, std::int64_t order) {
    return orderOf(update) < order;
  };
  const auto from = std::lower_bound(updates_.begin(), updates_.end(), begin, before);
  return {from, std::lower_bound(from, updates_.end(), end, before)};
}

Replay::Updates Replay::takeUpdates(std::int64_t end) {
  return updatesBetween(std::exchange(taken_, end), end);
}

Replay::Updates Replay::due() {
  if (finished() || settings_.match == ReplaySettings::Match::byRequest) return {};
  return takeUpdates(2 * recording_.calls[next_].number);
}

Replay::Answer Replay::next(const Capture& capture) {
  return settings_.match == ReplaySettings::Match::inOrder ? nextInOrder(capture)
                                                           : nextByRequest(capture);
}

Replay::Answer Replay::nextInOrder(const Capture& capture) {
  if (differs_) return {};
  if (finished() || !answers(recording_.calls[next_], capture)) {
    std::string why = difference(capture);
    differs_ = true;
    return {nullptr, {}, std::move(why)};
  }
  const journal::Call& call = recording_.calls[next_++];
  return {&call, takeUpdates(finished() ? INT64_MAX : 2 * call.number + 1), ""};
}

// Updates come when the call is answered first; when others came after it counts for nothing here.
Replay::Answer Replay::nextByRequest(const Capture& capture) {
  const std::vector<journal::Call>& calls = recording_.calls;
  const journal::Call* found = nullptr;
  bool repeated = false;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    if (!answers(calls[i], capture)) continue;
    found = &calls[i];
    repeated = made_[i];
    made_[i] = true;
    if (!repeated) break;
  }
  if (found == nullptr) {
    std::string what = settings_.journal + ": not recorded: " + textOf(capture);
    if (!named_.insert(what).second) return {};
    return {nullptr, {}, std::move(what)};
  }
  if (repeated) return {found, {}, ""};
  return {found, updatesBetween(2 * found->number, 2 * found->number + 2), ""};
}

std::string Replay::nearestMatch(const Capture& capture) const {
  const std::vector<journal::Call>& calls = recording_.calls;
  for (std::size_t distance = 1; distance <= calls.size(); ++distance) {
    // What is behind may still come, so it is looked at first.
    for (const std::size_t place : {next_ + distance, next_ - distance}) {
      if (place < calls.size() && answers(calls[place], capture)) {
        return "; the nearest line that matches is " + std::to_string(calls[place].line);
      }
    }
  }
  return "; no line matches";
}

std::string Replay::difference(const Capture& capture) const {
  std::string text;
  if (next_ < recording_.calls.size()) {
    const journal::Call& expected = recording_.calls[next_];
    text = placeOf(expected) + ": recorded " + textOf(expected) + ", called " + textOf(capture) +
           ": " + whatDiffers(expected, capture);
  } else {
    const bool limited = recording_.end && recording_.end->how == "limit";
    text = settings_.journal + ": the recording ends" + (limited ? " at its size limit" : "") +
           ", called " + textOf(capture);
  }
  return text + nearestMatch(capture) + fromHereOn();
}

}  // namespace sim
