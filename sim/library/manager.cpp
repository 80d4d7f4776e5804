#include "sim/library/manager.h"

#include <chrono>
#include <new>
#include <utility>

#include "sim/base/log.h"
#include "sim/library/calls.h"
#include "sim/library/quiet_thread.h"

namespace sim {
namespace {

/// There may be no memory for the line either.
void logLoss() noexcept try {
  logLine(Level::error, "updates are lost: out of memory");
} catch (const std::bad_alloc&) {
}

Result failed(int code) {
  Result result;
  result.code = code;
  return result;
}

}  // namespace

/// Waits for a call on the manager's clock, with the manager's lock open.
class Manager::CallWaiter : public Waiter {
 public:
  CallWaiter(Manager& manager, const journal::Capture& capture, std::int64_t number)
      SIM_REQUIRES(manager.mutex_)
      : manager_(manager), capture_(capture), number_(number), run_(manager.runs_) {}

  [[nodiscard]] Time now() const override SIM_REQUIRES(manager_.mutex_) {
    return manager_.clock_->now();
  }

  // Whoever ends the process while the call waits finds in the log what came before.
  bool elapse(Time span) override SIM_REQUIRES(manager_.mutex_) {
    if (!manager_.clock_->stepped()) flushLog();
    manager_.clock_->elapse(span, manager_.mutex_);
    return manager_.sameRun(run_);
  }

  // Only stop() ends a hang. It announces itself by `stopping_` before it takes the board away.
  void hang() override SIM_REQUIRES(manager_.mutex_) {
    flushLog();
    manager_.journal_.writeHang(capture_, number_, now());
    manager_.work_.notify_all();
    while (manager_.sameRun(run_)) manager_.idle_.wait(manager_.mutex_);
  }

 private:
  Manager& manager_;
  const journal::Capture& capture_;
  std::int64_t number_;
  std::int64_t run_;
};

int Manager::init(const std::string& manifest, const std::string& profile,
                  const std::string& properties, const journal::Capture& capture) {
  const Lock lock(mutex_);
  if (board_) return note(capture, kAlreadyRunning);
  // A fault may open the lock for a while, in which nothing can be done with the board.
  initialising_ = true;
  try {
    const int code = initialise(manifest, profile, properties, capture);
    if (code != kOk) forget();
    initialising_ = false;
    return code;
  } catch (...) {
    forget();
    throw;
  }
}

void Manager::forget() {
  initialising_ = false;
  board_.reset();
  journal_.close();
  files_ = {};
}

int Manager::initialise(const std::string& manifest, const std::string& profile,
                        const std::string& properties, const journal::Capture& capture) {
  int code = kOk;
  std::optional<std::size_t> fault;
  try {
    load(manifest, profile, properties);
  } catch (const FileError& error) {
    logLine(Level::error, error.what());
    code = kFileRefused;
  }
  const std::int64_t number = journal_.enter();
  if (board_) {
    Call call;
    call.operation = Operation::init;
    call.entry = "GPUManagerInit";
    if (const auto firing = board_->nextFiring(call, clock_->now())) {
      fault = firing->rule;
      clock_->elapse(firing->effect.delay, mutex_);
      code = firing->effect.code.value_or(kOk);
    }
  }
  journal_.writeCall(capture, number, 0, code, 0, fault);
  journal_.leave(number);
  return code;
}

int Manager::run(const journal::Capture& capture) {
  const Lock lock(mutex_);
  int code = kOk;
  if (!initialised()) {
    code = kNotInitialised;
  } else if (stopping_) {
    code = kStopped;
  } else if (running_) {
    code = kAlreadyRunning;
  } else {
    startThread();
    clock_->start();
    running_ = true;
  }
  return note(capture, code);
}

void Manager::startThread() {
  threadEnded_ = false;
  thread_ = startQuietThread([this] { deliver(); });
}

// The thread may be in a callback that makes calls, so it is joined with the lock open. Meanwhile
// `stopping_` turns new calls away and ends those that wait; `runs_` tells a call that slept
// through all of this, and perhaps through the next start, that its board is gone.
int Manager::stop(const journal::Capture& capture) {
  const Lock lock(mutex_);
  if (!initialised()) return note(capture, kNotInitialised);
  if (stopping_) return note(capture, kStopped);
  if (thread_.joinable() && onOwnThread()) return note(capture, kNotSupported);
  const std::int64_t number = journal_.enter();
  const Time begin = clock_->now();
  stopping_ = true;
  work_.notify_all();
  idle_.notify_all();
  std::thread thread = std::move(thread_);
  mutex_.unlock();
  if (thread.joinable()) thread.join();
  mutex_.lock();
  reportFaults();
  journal_.writeCall(capture, number, begin, kOk, clock_->now() - begin);
  journal_.writeEnd("stop");
  forget();
  clock_.reset();
  running_ = false;
  stopping_ = false;
  ++runs_;
  flushLog();
  return kOk;
}

void Manager::reportFaults() {
  const std::vector<std::int64_t> fired = board_->faults().fired();
  for (std::size_t i = 0; i < fired.size(); ++i) {
    logLine(Level::warning, "fault rule " + std::to_string(i) + " fired " +
                                std::to_string(fired[i]) + " times in all");
    journal::Line line;
    line.add("rule", static_cast<std::int64_t>(i)).add("fired", fired[i]);
    journal_.write(line);
  }
}

void Manager::atExit() {
  constexpr std::chrono::seconds kPatience{2};
  player_.atExit();
  std::thread thread;
  bool ended = false;
  {
    const Lock lock(mutex_);
    if (!thread_.joinable()) return;
    stopping_ = true;
    work_.notify_all();
    const auto limit = std::chrono::steady_clock::now() + kPatience;
    while (!onOwnThread() && !threadEnded_) {
      if (idle_.wait_until(mutex_, limit) == std::cv_status::timeout) break;
    }
    thread = std::move(thread_);
    ended = threadEnded_;
  }
  if (ended) {
    thread.join();
  } else {
    thread.detach();
  }
}

// Nothing may be thrown out of a thread: what there is no memory for is lost.
void Manager::deliver() {
  const Lock lock(mutex_);
  while (!stopping_) {
    try {
      serve();
    } catch (const std::bad_alloc&) {
      logLoss();
    }
  }
  threadEnded_ = true;
  idle_.notify_all();
}

// Calls are made one at a time with the lock open, so that a callback may make calls of its own. In
// real time the thread sleeps until the next thing is due. A stepped clock moves with calls only:
// there the calls let everything happen, and the thread only delivers.
void Manager::serve() {
  if (const std::optional<Update> update = board_->subscriptions().take()) {
    makeCall(*update);
    return;
  }
  idle_.notify_all();
  const std::optional<Time> due = clock_->stepped() ? std::nullopt : board_->nextDue();
  if (due) {
    work_.wait_for(mutex_, clock_->realTimeUntil(*due));
    if (!stopping_) board_->advance(clock_->now());
  } else {
    work_.wait(mutex_);
  }
}

void Manager::makeCall(const Update& update) {
  const Property& property = board_->state().properties().at(update.property);
  data_info::DataInfo info;
  info.propertyName = property.name;
  info.apiName = update.apiName;
  info.valueText = update.text;
  info.unit = property.unit;
  info.deviceType = static_cast<std::int32_t>(typeOf(update.device.kind));
  info.deviceId = update.device.id;
  info.updateCount = update.sequence;
  const auto id = static_cast<std::uint16_t>(info.deviceType << 8 | info.deviceId);
  if (journal_.isOpen()) {
    journal::Line line;
    line.add("at", update.time).add("update", update.apiName).add("device", nameOf(update.device));
    line.add("value", update.text).add("id", id);
    line.addUnsigned("sequence", update.sequence);
    journal_.writeUpdate(std::move(line), update.registration);
  }
  bool ended = false;
  calling_ = true;
  mutex_.unlock();
  try {
    (*update.callback)(id, info, update.sequence);
    ended = true;
  } catch (...) {
  }
  mutex_.lock();
  calling_ = false;
  if (!ended) {
    logLine(Level::error, "a callback for " + update.apiName + " ended with an exception");
  }
}

// With a stepped clock the order of calls and callbacks is part of what repeats, so a call returns
// only after the callbacks that it caused. The thread's own calls cannot wait for themselves.
void Manager::drain() {
  if (!running_ || !board_->subscriptions().pending()) return;
  work_.notify_all();
  if (!clock_->stepped() || onOwnThread()) return;
  const std::int64_t run = runs_;
  while (sameRun(run) && (calling_ || board_->subscriptions().pending())) idle_.wait(mutex_);
}

int Manager::note(const journal::Capture& capture, int code) {
  const std::int64_t number = journal_.enter();
  journal_.writeCall(capture, number, clock_ ? clock_->now() : 0, code, 0);
  journal_.leave(number);
  return code;
}

int Manager::reject(const journal::Capture& capture, int code) {
  const Lock lock(mutex_);
  return note(capture, code);
}

int Manager::execute(Call call, const journal::Capture& capture) {
  const Lock lock(mutex_);
  int code = kOk;
  if (!initialised()) {
    code = kNotInitialised;
  } else if (!running_) {
    code = kNotRunning;
  } else if (stopping_) {
    code = kStopped;
  }
  if (code == kOk) return carryOut(call, capture);
  handOver(failed(code), capture);
  return note(capture, code);
}

int Manager::carryOut(Call& call, const journal::Capture& capture) {
  const std::int64_t run = runs_;
  if (!onOwnThread()) clock_->step();
  const Time begin = clock_->now();
  call.number = journal_.enter();
  CallWaiter waiter(*this, capture, call.number);
  Result result = board_->execute(call, waiter);
  if (!sameRun(run)) result = failed(kStopped);
  handOver(result, capture);
  if (!sameRun(run)) return result.code;
  const Time took = clock_->now() - begin;
  journal_.writeCall(capture, call.number, begin, result.code, took, result.firedRule);
  if (call.operation == Operation::setCallback) work_.notify_all();
  drain();
  if (sameRun(run)) journal_.leave(call.number);
  return result.code;
}

}  // namespace sim
