#include "sim/library/player.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <thread>
#include <utility>

#include "catalogue/api_property_map.h"
#include "sim/base/codes.h"
#include "sim/base/log.h"
#include "sim/base/time.h"
#include "sim/library/quiet_thread.h"

namespace sim {
namespace {

using journal::Capture;
using journal::Entry;
using journal::Kind;

constexpr std::size_t kMaxLogCalls = 1024;

/// Nothing of an update's `DataInfo` is recorded but what the callback's other arguments say.
void callOne(const UpdateCallback& callback, const journal::Update& update) {
  const auto id = static_cast<std::uint16_t>(update.id);
  try {
    data_info::DataInfo info;
    info.propertyName = PropertyCatalogue::ApiPropertyMap.find(update.api).value_or("");
    info.apiName = update.api;
    info.deviceType = static_cast<std::int32_t>(id >> 8U);
    info.deviceId = static_cast<std::int32_t>(id & 0xffU);
    info.updateCount = update.sequence;
    callback(id, info, update.sequence);
  } catch (...) {
    logLine(Level::error, "a callback for " + update.api + " ended with an exception");
  }
}

std::shared_ptr<const UpdateCallback> callbackOf(const Capture& capture) {
  const auto found =
      std::ranges::find(capture.arguments(), Kind::callback, &journal::Argument::kind);
  return std::make_shared<const UpdateCallback>(*static_cast<const UpdateCallback*>(found->place));
}

}  // namespace

void Player::noteLog(const Capture& capture) {
  const Lock lock(mutex_);
  if (logCalls_.size() < kMaxLogCalls) logCalls_.push_back({capture.entry(), capture.input(0)});
}

void Player::dropLog() {
  const Lock lock(mutex_);
  logCalls_.clear();
}

void Player::start(Replay replay) {
  const Lock lock(mutex_);
  session_ = std::make_shared<Session>(std::move(replay));
  for (const LogCall& call : logCalls_) match(call);
  logCalls_.clear();
  active_ = true;
}

void Player::match(const LogCall& call) {
  const auto matchCapture = [&](const Capture& capture) SIM_REQUIRES(mutex_) {
    const Replay::Answer answer = session_->replay.next(capture);
    if (!answer.difference.empty()) logLine(Level::error, answer.difference);
  };
  if (const auto* const level = std::get_if<std::int64_t>(&call.argument)) {
    matchCapture(Capture(call.entry, *level));
  } else {
    const auto* const name = std::get_if<std::string>(&call.argument);
    const char* const file = name != nullptr ? name->c_str() : nullptr;
    matchCapture(Capture(call.entry, file));
  }
}

int Player::answer(const Capture& capture) {
  const Lock lock(mutex_);
  const std::shared_ptr<Session> session = session_;
  if (!session) return kNotInitialised;
  Replay& replay = session->replay;
  deliver(*session, replay.due());
  if (session != session_) return kStopped;
  const Replay::Answer answer = replay.next(capture);
  int code = kNotRecorded;
  if (answer.call != nullptr) {
    code = carryOut(*session, capture, answer);
  } else if (!answer.difference.empty()) {
    logLine(Level::error, answer.difference);
  }
  if (session != session_) return code;
  if (capture.entry() == Entry::managerStop && (code == kOk || code == kNotRecorded)) {
    ++session->stops;
    stopped_.notify_all();
    if (!replay.hasAnotherRun()) end();
  } else if (capture.entry() == Entry::managerInit && code != kOk && code != kNotRecorded &&
             replay.finished()) {
    end();
  }
  return code;
}

// With the lock open, another thread may stop the manager.
int Player::carryOut(Session& session, const Capture& capture, const Replay::Answer& answer) {
  const int stops = session.stops;
  const journal::Call& call = *answer.call;
  if (call.entry == Entry::setCallback) session.callbacks[call.number] = callbackOf(capture);
  if (session.replay.paced()) {
    const Time span = std::clamp<Time>(call.took, 0, kMaxSpanMs * kMillisecond);
    mutex_.unlock();
    std::this_thread::sleep_for(std::chrono::microseconds(span));
    mutex_.lock();
  }
  deliver(session, answer.updates);
  if (!call.code) hang(session, call, stops);
  if (session.stops != stops) return kStopped;
  capture.fill(call);
  return *call.code;
}

void Player::hang(const Session& session, const journal::Call& call, int stops) {
  logLine(Level::warning,
          session.replay.placeOf(call) + ": this call never returned, nor does it now");
  flushLog();
  while (session.stops == stops) stopped_.wait(mutex_);
}

// The callbacks may make calls of their own, so the lock is open while they run.
void Player::deliver(const Session& session, const Replay::Updates& updates) {
  std::vector<std::pair<std::shared_ptr<const UpdateCallback>, const journal::Update*>> calls;
  for (const journal::Update* const update : updates) {
    const auto found = session.callbacks.find(update->registration);
    if (found != session.callbacks.end()) calls.emplace_back(found->second, update);
  }
  if (calls.empty()) return;
  mutex_.unlock();
  try {
    startQuietThread([&] {
      for (const auto& [callback, update] : calls) callOne(*callback, *update);
    }).join();
  } catch (const std::exception& error) {
    logLine(Level::error, std::string("updates are lost: ") + error.what());
  }
  mutex_.lock();
}

void Player::end() {
  const std::string text = session_->replay.leftOver();
  if (!text.empty()) logLine(Level::error, text);
  flushLog();
  session_.reset();
  active_ = false;
}

void Player::atExit() {
  const Lock lock(mutex_);
  if (session_) end();
}

}  // namespace sim
