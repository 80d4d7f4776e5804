#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tools/boardctl-export/process.h"
#include "tools/boardctl-export/settings.h"

namespace exporter {

/// An answer, or why there is none.
struct Reading {
  const std::string* property;  ///< printable; in the names of the report
  std::string text;             ///< the value if there is no failure
  std::string failure;          ///< the library's code in decimal, "timeout" or "crash"
};

/// A device in one round.
struct DeviceReport {
  const DeviceId* id = nullptr;
  bool skipped = false;  ///< left out, because an earlier read hung or crashed
  bool lost = false;     ///< it did not answer everything in this round
  std::string listing;   ///< the failure of the listing of its kind's properties
  std::shared_ptr<const std::vector<std::string>> names;
  std::vector<Reading> readings;

  /// Whether it gave at least one value, and an answer to everything.
  [[nodiscard]] bool up() const;
};

struct Round {
  bool up = false;     ///< the manager has answered, and there is no process that cannot be killed
  std::string reason;  ///< why `up` is false, or why devices were not asked
  double time = 0;     ///< of its end, in seconds since 1970
  double seconds = 0;  ///< that it took
  std::vector<DeviceReport> devices;
};

/// How long a device is left out that is lost again after having been left out for `before`: from
/// an interval of rounds, doubled each time, to an hour or the interval.
Clock::duration nextWait(Clock::duration before, Clock::duration interval);

/// Reads the devices round after round, in a process that is kept between rounds.
class Collector {
 public:
  explicit Collector(const Settings& settings);

  /// Takes no longer than the timeout of the settings, and a second when a process must be killed.
  /// When the program is interrupted, the round means nothing.
  Round collect();

  /// Stops the manager.
  void stop() { process_.stop(settings_.readTimeout); }

  /// Raises `UsageError` if a pattern stands for no property of any device. Passes while the
  /// properties are not known.
  void checkPatterns() const;

 private:
  struct Kind {
    bool listed = false;
    std::string failure;
    /// An empty one would be there twice. Kept by reports, so it does not change once it is listed.
    std::shared_ptr<std::vector<std::string>> names = std::make_shared<std::vector<std::string>>();
    std::set<std::string> seen;
  };
  struct Backoff {
    Clock::duration wait{};
    Clock::time_point end;
  };

  bool makeReady(Round& round);
  bool kill(Round& round);
  std::vector<Request> order(Round& round) const;
  void readAll(std::vector<Request> devices, Round& round);
  void read(std::size_t device, Round& round);
  bool take(const Frame& frame, std::string_view text, Kind& kind, DeviceReport& report);
  void lose(std::size_t device, Round& round, const std::string& failure);
  void leaveOut(std::size_t device);

  const Settings& settings_;
  Process process_;
  bool ready_ = false;
  Clock::time_point deadline_;
  std::map<const DeviceKind*, Kind> kinds_;
  std::vector<Backoff> backoffs_;         ///< of each device
  std::set<const DeviceKind*> unlisted_;  ///< since the program began
  std::vector<std::string> unmatched_;    ///< patterns
};

}  // namespace exporter
