#include "sim/manager.h"

#include <signal.h>

#include <utility>

#include "sim/builtin.h"
#include "sim/fields.h"
#include "sim/log.h"

namespace sim {
namespace {

constexpr std::array<std::string_view, 3> kClockNames{"real", "scaled", "stepped"};

Document readOr(const std::string& file, std::string_view builtin, const std::string& name) {
  return file.empty() ? parseJson(builtin, name) : readJsonFile(file);
}

}  // namespace

void Manager::load(const std::string& manifest, const std::string& profile,
                   const std::string& properties) {
  Topology topology = readTopology(readOr(manifest, kBuiltinManifest, "(built-in manifest)"));
  const Document document = readOr(properties, R"({"extends": "builtin", "properties": {}})", "");
  Document builtin;
  if (document.find("extends") != nullptr) {
    builtin = parseJson(kBuiltinProperties, "(built-in properties)");
  }
  PropertyDb db = readProperties(document, topology, builtin);
  Profile settings;
  if (!profile.empty()) settings = readProfile(readJsonFile(profile), topology, db);
  if (!settings.journal.empty()) {
    const auto mode = kClockNames[static_cast<std::size_t>(settings.clock.mode)];
    const std::string error = journal_.open(settings.journal, settings.seed, mode);
    if (!error.empty()) {
      throw FileError(profile + ": /journal: '" + settings.journal + "' " + error);
    }
  }
  journal_.dropKept();
  clock_.emplace(settings.clock);
  board_.emplace(std::move(topology), std::move(db), std::move(settings));
}

int Manager::init(const std::string& manifest, const std::string& profile,
                  const std::string& properties) {
  std::unique_lock lock(mutex_);
  if (board_) return kAlreadyRunning;
  const auto forget = [this] {
    board_.reset();
    journal_.close();
  };
  try {
    const int code = initialise(manifest, profile, properties, lock);
    if (code != kOk) forget();
    return code;
  } catch (...) {
    forget();
    throw;
  }
}

int Manager::initialise(const std::string& manifest, const std::string& profile,
                        const std::string& properties, std::unique_lock<std::mutex>& lock) {
  int code = kOk;
  JsonLine line;
  line.add("at", 0).add("call", "GPUManagerInit").add("manifest", manifest);
  line.add("profile", profile).add("properties", properties);
  try {
    load(manifest, profile, properties);
  } catch (const FileError& error) {
    logLine(Level::error, error.what());
    code = kFileRefused;
  }
  if (code == kOk) {
    Call call;
    call.operation = Operation::init;
    call.entry = "GPUManagerInit";
    if (const auto hit = board_->faults().strike(factsOf(call))) {
      noteFault(*hit, call, line);
      clock_->pass(hit->effect.delay, lock);
      code = hit->effect.code.value_or(kOk);
    }
  }
  journal_.write(line.add("code", code));
  return code;
}

int Manager::run() {
  const std::lock_guard lock(mutex_);
  int code = kOk;
  if (!board_) {
    code = kNotInitialised;
  } else if (running_) {
    code = kAlreadyRunning;
  } else {
    startThread();
    clock_->start();
    running_ = true;
  }
  JsonLine line;
  journal_.write(line.add("at", 0).add("call", "GPUManagerRun").add("code", code));
  return code;
}

void Manager::startThread() {
  // Signals are the process's own affair: none is to be delivered to a thread it does not know.
  struct WithoutSignals {
    WithoutSignals() {
      sigset_t all;
      sigfillset(&all);
      pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    sigset_t before{};
  } const withoutSignals;
  threadEnded_ = false;
  thread_ = std::thread([this] { deliver(); });
}

int Manager::stop() {
  std::unique_lock lock(mutex_);
  if (!board_) return kNotInitialised;
  if (stopping_) return kStopped;
  if (thread_.joinable() && thread_.get_id() == std::this_thread::get_id()) return kNotSupported;
  stopping_ = true;
  work_.notify_all();
  idle_.notify_all();
  std::thread thread = std::move(thread_);
  lock.unlock();
  if (thread.joinable()) thread.join();
  lock.lock();
  reportFaults();
  JsonLine line;
  line.add("at", clock_->now()).add("call", "GPUManagerStop").add("code", kOk);
  journal_.write(line);
  journal_.close();
  board_.reset();
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
    JsonLine line;
    line.add("rule", static_cast<std::int64_t>(i)).add("fired", fired[i]);
    journal_.write(line);
  }
}

void Manager::atExit() {
  constexpr std::chrono::seconds kPatience{2};
  std::unique_lock lock(mutex_);
  if (!thread_.joinable()) return;
  stopping_ = true;
  work_.notify_all();
  const bool own = thread_.get_id() == std::this_thread::get_id();
  if (!own) idle_.wait_for(lock, kPatience, [this] { return threadEnded_; });
  std::thread thread = std::move(thread_);
  const bool ended = threadEnded_;
  lock.unlock();
  if (ended) {
    thread.join();
  } else {
    thread.detach();
  }
}

void Manager::deliver() {
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    if (const std::optional<Update> update = board_->updates().take()) {
      makeCall(*update, lock);
      continue;
    }
    idle_.notify_all();
    const std::optional<Time> due = clock_->stepped() ? std::nullopt : board_->nextDue();
    if (due) {
      work_.wait_for(lock, clock_->realTimeUntil(*due));
      if (!stopping_) board_->advance(clock_->now());
    } else {
      work_.wait(lock);
    }
  }
  threadEnded_ = true;
  idle_.notify_all();
}

void Manager::makeCall(const Update& update, std::unique_lock<std::mutex>& lock) {
  const Property& property = board_->world().properties().at(update.property);
  data_info::DataInfo info;
  info.propertyName = property.name;
  info.apiName = update.apiName;
  info.valueText = update.text;
  info.unit = property.unit;
  info.deviceType = static_cast<std::int32_t>(typeOf(update.device.kind));
  info.deviceId = update.device.id;
  info.updateCount = update.sequence;
  if (journal_.isOpen()) {
    JsonLine line;
    line.add("at", update.time).add("update", update.apiName).add("device", nameOf(update.device));
    line.add("value", update.text).add("sequence", static_cast<std::int64_t>(update.sequence));
    journal_.write(line);
  }
  const auto code = static_cast<std::uint16_t>(info.deviceType << 8 | info.deviceId);
  calling_ = true;
  lock.unlock();
  try {
    (*update.callback)(code, info, update.sequence);
  } catch (...) {
    logLine(Level::error, "a callback for " + update.apiName + " ended with an exception");
  }
  lock.lock();
  calling_ = false;
}

void Manager::drain(std::unique_lock<std::mutex>& lock) {
  if (!running_ || !board_->updates().pending()) return;
  work_.notify_all();
  if (!clock_->stepped() || thread_.get_id() == std::this_thread::get_id()) return;
  const std::int64_t run = runs_;
  idle_.wait(lock, [&] { return !sameRun(run) || (!calling_ && !board_->updates().pending()); });
}

void Manager::noteLog(std::string_view entry, std::string_view argument, int code) {
  const std::lock_guard lock(mutex_);
  JsonLine line;
  line.add("at", clock_ ? clock_->now() : 0).add("call", entry).add("argument", argument);
  line.add("code", code);
  if (journal_.isOpen()) {
    journal_.write(line);
  } else {
    journal_.keep(line);
  }
}

int Manager::noteRefusal(std::string_view entry, int code) {
  if (journal_.isOpen()) {
    JsonLine line;
    journal_.write(line.add("at", clock_->now()).add("call", entry).add("code", code));
  }
  return code;
}

int Manager::refuse(std::string_view entry, int code) {
  const std::lock_guard lock(mutex_);
  return noteRefusal(entry, code);
}

int Manager::perform(Call& call, int deviceId, JsonLine& line, const Body& body) {
  std::unique_lock lock(mutex_);
  if (!board_) return kNotInitialised;
  if (!running_) return noteRefusal(call.entry, kNotRunning);
  if (stopping_) return kStopped;
  const std::int64_t run = runs_;
  const bool ownCallback = thread_.get_id() == std::this_thread::get_id();
  if (!ownCallback) clock_->step();
  const Time begin = clock_->now();
  const int code = admit(call, deviceId, line, body, lock);
  if (!sameRun(run)) return kStopped;
  if (journal_.isOpen()) {
    JsonLine whole;
    whole.add("at", begin).add("call", call.entry).addJson("args", line.text());
    journal_.write(whole.add("code", code).add("took", clock_->now() - begin));
  }
  drain(lock);
  return code;
}

int Manager::admit(Call& call, int deviceId, JsonLine& line, const Body& body,
                   std::unique_lock<std::mutex>& lock) {
  const std::int64_t run = runs_;
  board_->advance(clock_->now());
  textFault_ = TextFault::none;
  if (const int code = board_->resolve(call, deviceId); code != kOk) return code;
  FaultEffect effect;
  if (const auto hit = board_->faults().strike(factsOf(call))) {
    effect = hit->effect;
    noteFault(*hit, call, line);
  }
  if (effect.hang) return hang(call, lock);
  const Time span = effect.delay + board_->latencyOf(call);
  const std::optional<Time> limit = board_->timeLimitOf(call);
  const bool late = limit && span > *limit;
  if (span > 0) {
    clock_->pass(late ? *limit : span, lock);
    if (!sameRun(run)) return kStopped;
    board_->advance(clock_->now());
  }
  if (late) return kTimeout;
  board_->suffer(effect, call, clock_->now());
  if (effect.code.value_or(kOk) != kOk) return *effect.code;
  textFault_ = effect.text;
  Time when = 0;
  if (const int code = board_->reach(call, clock_->now(), when); code != kOk) return code;
  return body(call, when);
}

CallFacts Manager::factsOf(const Call& call) const {
  CallFacts facts{call.operation, call.device, "", call.accessMode, clock_->now()};
  if (call.property) facts.property = board_->world().properties().at(*call.property).name;
  return facts;
}

void Manager::noteFault(const Faults::Hit& hit, const Call& call, JsonLine& line) {
  line.add("fault", static_cast<std::int64_t>(hit.rule));
  if (!isLogged(Level::warning)) return;
  std::string text = "fault rule " + std::to_string(hit.rule) + " fired (" +
                     std::to_string(hit.fired) + "): " + std::string(call.entry);
  if (call.device) text += ' ' + nameOf(*call.device);
  if (!call.name.empty()) text += ' ' + call.name;
  logLine(Level::warning, text);
}

int Manager::hang(const Call& call, std::unique_lock<std::mutex>& lock) {
  const std::int64_t run = runs_;
  if (journal_.isOpen()) {
    JsonLine line;
    journal_.write(line.add("at", clock_->now()).add("call", call.entry).add("hang", 1));
  }
  idle_.wait(lock, [&] { return !sameRun(run); });
  return kStopped;
}

}  // namespace sim
