#include "tools/boardctl-export/collector.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "tools/boardctl-export/text.h"
#include "tools/boardctl-export/usage_error.h"

namespace exporter {
namespace {

constexpr Clock::duration kLongestWait = std::chrono::hours(1);

const std::string kLate = "not finished within ";

using Event = Process::Event;

double inSeconds(std::chrono::nanoseconds time) {
  return std::chrono::duration<double>(time).count();
}

std::string secondsText(std::chrono::nanoseconds time) {
  char text[32];
  std::snprintf(text, sizeof text, "%g seconds", inSeconds(time));
  return text;
}

}  // namespace

Clock::duration nextWait(Clock::duration before, Clock::duration interval) {
  return std::clamp(before * 2, interval, std::max(interval, kLongestWait));
}

bool DeviceReport::up() const {
  return !lost && std::ranges::any_of(
                      readings, [](const Reading& reading) { return reading.failure.empty(); });
}

Collector::Collector(const Settings& settings)
    : settings_(settings), backoffs_(settings.devices.size()), unmatched_(settings.patterns) {
  for (const DeviceId& device : settings.devices) unlisted_.insert(device.kind);
}

Round Collector::collect() {
  const Clock::time_point begin = Clock::now();
  deadline_ = begin + settings_.timeout;
  Round round;
  for (const DeviceId& device : settings_.devices) round.devices.emplace_back().id = &device;
  const std::vector<Request> devices = order(round);
  if (makeReady(round)) readAll(devices, round);
  round.seconds = inSeconds(Clock::now() - begin);
  round.time = inSeconds(std::chrono::system_clock::now().time_since_epoch());
  return round;
}

void Collector::readAll(std::vector<Request> devices, Round& round) {
  while (!devices.empty() && (ready_ || makeReady(round))) {
    process_.ask(devices);
    auto next = devices.begin();
    while (next != devices.end() && ready_) {
      read(*next++, round);
      if (interrupted()) return;
    }
    if (!round.reason.empty()) return;
    devices.erase(devices.begin(), next);
    std::erase_if(devices, [&](Request device) { return round.devices[device].lost; });
  }
}

std::vector<Request> Collector::order(Round& round) const {
  std::vector<Request> sound;
  std::vector<Request> doubtful;
  for (std::size_t i = 0; i < backoffs_.size(); ++i) {
    const Backoff& backoff = backoffs_[i];
    round.devices[i].skipped = Clock::now() < backoff.end;
    if (round.devices[i].skipped) continue;
    (backoff.wait == Clock::duration::zero() ? sound : doubtful).push_back(static_cast<Request>(i));
  }
  sound.insert(sound.end(), doubtful.begin(), doubtful.end());
  return sound;
}

bool Collector::kill(Round& round) {
  ready_ = false;
  kinds_.clear();
  if (process_.kill()) return true;
  round.up = false;
  round.reason = "process " + std::to_string(process_.id()) +
                 ", which runs the library, cannot be killed; no other one is started";
  return false;
}

bool Collector::makeReady(Round& round) {
  Frame frame;
  std::string_view text;
  // Nothing is due now, so there is something only if the process has ended.
  if (ready_ && process_.next({}, Clock::now(), frame, text) == Event::over) {
    round.up = true;
    return true;
  }
  if (!kill(round)) return false;
  if (const int error = process_.start(settings_); error != 0) {
    round.reason = std::string("no process for the library: ") + std::strerror(error);
    return false;
  }
  const Event event = process_.next(settings_.timeout, deadline_, frame, text);
  if (event == Event::frame && frame.what == Frame::What::ready) {
    ready_ = round.up = true;
    return true;
  }
  const std::string why = toPrintable(text);
  if (!kill(round) || event == Event::interrupted) return false;
  round.reason = event == Event::over ? "the library did not start within the " +
                                            secondsText(settings_.timeout) + " of a round"
                 : event == Event::ended ? "the library did not start: " + process_.end()
                 : frame.what == Frame::What::failed ? "the library did not start: " + why
                                                     : "the library wrote into the program's pipe";
  return false;
}

void Collector::read(std::size_t device, Round& round) {
  DeviceReport& report = round.devices[device];
  Kind& kind = kinds_[report.id->kind];
  report.names = kind.names;
  report.readings.reserve(kind.names->size());
  for (;;) {
    Frame frame;
    std::string_view text;
    const Event event = process_.next(settings_.readTimeout, deadline_, frame, text);
    const bool isFrame = event == Event::frame;
    if (isFrame && frame.what == Frame::What::done && kind.listed &&
        report.readings.size() == kind.names->size()) {
      report.listing = kind.failure;
      std::erase_if(report.readings, [](const Reading& one) { return one.property->empty(); });
      backoffs_[device] = {};
      return;
    }
    if (isFrame && take(frame, text, kind, report)) continue;
    if (event == Event::interrupted) return;
    if (event == Event::over) {
      report.lost = true;
      round.reason = kLate + secondsText(settings_.timeout);
      kill(round);
    } else {
      lose(device, round, event == Event::late ? "timeout" : "crash");
    }
    std::erase_if(report.readings, [](const Reading& one) { return one.property->empty(); });
    return;
  }
}

/// False for what cannot be an answer to the request.
bool Collector::take(const Frame& frame, std::string_view text, Kind& kind, DeviceReport& report) {
  switch (frame.what) {
    case Frame::What::name: {
      if (kind.listed || kind.names->size() == kMostNames) return false;
      const std::string name = toPrintable(text);
      kind.names->push_back(kind.seen.insert(name).second ? name : "");
      std::erase_if(unmatched_, [&](const std::string& pattern) { return matches(pattern, text); });
      return true;
    }
    case Frame::What::listed:
      if (kind.listed) return false;
      kind.listed = true;
      kind.names->shrink_to_fit();
      if (frame.code != 0) kind.failure = std::to_string(frame.code);
      if (frame.code == 0) unlisted_.erase(report.id->kind);
      return true;
    case Frame::What::value:
      if (!kind.listed || report.readings.size() == kind.names->size()) return false;
      report.readings.push_back({&(*kind.names)[report.readings.size()], toUtf8(text),
                                 frame.code == 0 ? "" : std::to_string(frame.code)});
      return true;
    default:
      return false;
  }
}

void Collector::lose(std::size_t device, Round& round, const std::string& failure) {
  DeviceReport& report = round.devices[device];
  const Kind kind = kinds_[report.id->kind];
  const bool gone = kill(round);
  report.lost = true;
  leaveOut(device);
  std::string place = "list of properties";
  if (!kind.listed) {
    // All devices of the kind would meet the same.
    report.listing = failure;
    for (std::size_t i = 0; i < backoffs_.size(); ++i) {
      if (i == device || settings_.devices[i].kind != report.id->kind) continue;
      round.devices[i].lost = true;
      leaveOut(i);
    }
  } else {
    const std::size_t next = report.readings.size();
    place = next < kind.names->size() ? (*kind.names)[next] : "end";
    if (next < kind.names->size()) report.readings.push_back({&(*kind.names)[next], "", failure});
  }
  std::string what = failure == "timeout"
                         ? "no answer within " + secondsText(settings_.readTimeout)
                         : "the library crashed" + (gone ? ": " + process_.end() : "");
  if (settings_.every) what += "; left out for " + secondsText(backoffs_[device].wait);
  std::fprintf(stderr, "boardctl-export: %s %d: %s: %s\n", report.id->kind->word.data(),
               report.id->number, place.c_str(), what.c_str());
}

void Collector::leaveOut(std::size_t device) {
  Backoff& backoff = backoffs_[device];
  backoff.wait = nextWait(backoff.wait, settings_.every.value_or(std::chrono::seconds(1)));
  backoff.end = Clock::now() + backoff.wait;
}

void Collector::checkPatterns() const {
  if (!unlisted_.empty() || unmatched_.empty()) return;
  throw UsageError("--properties: '" + toPrintable(unmatched_.front()) +
                   "' matches no property of these devices");
}

}  // namespace exporter
