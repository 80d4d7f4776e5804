#pragma once

#include <condition_variable>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "sim/board/board.h"
#include "sim/config/json_file.h"
#include "sim/library/clock.h"
#include "sim/library/journal.h"
#include "sim/library/mutex.h"
#include "sim/library/player.h"

namespace sim {

/// The device manager behind the entry points: the board with the one lock, the clock, the journal,
/// and the thread that calls the update callbacks.
///
/// Threads: every function locks by itself. With a stepped clock, a call returns after all
/// callbacks that it caused have returned, unless it was made by such a callback.
class Manager {
 public:
  int init(const std::string& manifest, const std::string& profile, const std::string& properties,
           const journal::Capture& capture);
  int run(const journal::Capture& capture);
  int stop(const journal::Capture& capture);

  /// Ends the thread before the process does. Waits two seconds for a callback that does not
  /// return.
  void atExit();

  /// Carries out a call on the running board, hands over what it gave, and journals it.
  int execute(Call call, const journal::Capture& capture);

  /// Journals a call that was rejected for its arguments alone; returns `code`.
  int reject(const journal::Capture& capture, int code);

  /// Answers calls in place of the board once `init` has read a profile that says so.
  Player& player() { return player_; }

  /// Configure the log, and journal it.
  int openLog(const char* fileName, const journal::Capture& capture);
  int setLogLevel(int level, const journal::Capture& capture);

 private:
  class CallWaiter;

  [[nodiscard]] bool sameRun(std::int64_t run) const SIM_REQUIRES(mutex_) {
    return run == runs_ && !stopping_;
  }
  [[nodiscard]] bool initialised() const SIM_REQUIRES(mutex_) { return board_ && !initialising_; }
  [[nodiscard]] bool onOwnThread() const SIM_REQUIRES(mutex_) {
    return thread_.get_id() == std::this_thread::get_id();
  }
  int initialise(const std::string& manifest, const std::string& profile,
                 const std::string& properties, const journal::Capture& capture)
      SIM_REQUIRES(mutex_);
  void load(const std::string& manifest, const std::string& profile, const std::string& properties)
      SIM_REQUIRES(mutex_);
  void replay(const Document& profile, const ReplaySettings& settings) SIM_REQUIRES(mutex_);
  void openJournal(const Document& profile, const Profile& settings) SIM_REQUIRES(mutex_);
  [[nodiscard]] UsedFiles usedFiles() const SIM_REQUIRES(mutex_);
  int noteLog(const journal::Capture& capture, int code) SIM_REQUIRES(mutex_);
  void forget() SIM_REQUIRES(mutex_);
  void startThread() SIM_REQUIRES(mutex_);
  void deliver();
  void serve() SIM_REQUIRES(mutex_);
  void makeCall(const Update& update) SIM_REQUIRES(mutex_);
  void drain() SIM_REQUIRES(mutex_);
  void reportFaults() SIM_REQUIRES(mutex_);
  int carryOut(Call& call, const journal::Capture& capture) SIM_REQUIRES(mutex_);
  /// Journals a call that takes no time; returns `code`.
  int note(const journal::Capture& capture, int code) SIM_REQUIRES(mutex_);

  Mutex mutex_;
  std::condition_variable_any work_;  ///< The thread has something to do, or has to end.
  std::condition_variable_any idle_;  ///< The thread is idle, or waiting calls have to end.
  std::optional<Board> board_ SIM_GUARDED_BY(mutex_);
  std::optional<Clock> clock_ SIM_GUARDED_BY(mutex_);
  Journal journal_ SIM_GUARDED_BY(mutex_);
  Player player_;
  UsedFiles files_ SIM_GUARDED_BY(mutex_);  ///< Those that made the board, and the journal.
  std::thread thread_ SIM_GUARDED_BY(mutex_);
  std::int64_t runs_ SIM_GUARDED_BY(mutex_) = 0;      ///< How many have ended.
  bool initialising_ SIM_GUARDED_BY(mutex_) = false;  ///< The board is there, but nobody's yet.
  bool running_ SIM_GUARDED_BY(mutex_) = false;
  bool stopping_ SIM_GUARDED_BY(mutex_) = false;
  bool calling_ SIM_GUARDED_BY(mutex_) = false;
  bool threadEnded_ SIM_GUARDED_BY(mutex_) = false;
};

}  // namespace sim
