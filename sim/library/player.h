#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "devmgr/callbacks.h"
#include "sim/library/mutex.h"
#include "sim/library/replay.h"

namespace sim {

/// Answers the calls of this process from a recording, in place of a board. It begins with the
/// initialisation of the manager and ends with its stop, unless the recording holds another run.
///
/// Threads: every function locks by itself. Updates are delivered on a thread of the player's while
/// the call waits to which they belong.
class Player {
 public:
  /// Costs one comparison.
  [[nodiscard]] bool active() const { return active_.load(std::memory_order_relaxed); }

  /// Notes a call that configured the log, for a replay that may begin later.
  void noteLog(const journal::Capture& capture);
  void dropLog();

  /// Begins a replay: the calls noted before are the first to be matched.
  void start(Replay replay);
  int answer(const journal::Capture& capture);

  /// Says what was left over if the process ends without having stopped the manager.
  void atExit();

 private:
  struct Session {
    explicit Session(Replay replayed) : replay(std::move(replayed)) {}
    Replay replay;
    /// By the number of the recorded registration.
    std::map<std::int64_t, std::shared_ptr<const UpdateCallback>> callbacks;
    int stops = 0;
  };
  struct LogCall {
    journal::Entry entry;
    journal::Value argument;
  };

  int carryOut(Session& session, const journal::Capture& capture, const Replay::Answer& answer)
      SIM_REQUIRES(mutex_);
  void hang(const Session& session, const journal::Call& call, int stops) SIM_REQUIRES(mutex_);
  void deliver(const Session& session, const Replay::Updates& updates) SIM_REQUIRES(mutex_);
  void match(const LogCall& call) SIM_REQUIRES(mutex_);
  void end() SIM_REQUIRES(mutex_);

  Mutex mutex_;
  std::condition_variable_any stopped_;
  std::vector<LogCall> logCalls_ SIM_GUARDED_BY(mutex_);
  std::shared_ptr<Session> session_ SIM_GUARDED_BY(mutex_);
  std::atomic<bool> active_ = false;
};

}  // namespace sim
