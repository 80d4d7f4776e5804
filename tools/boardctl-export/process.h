#pragma once

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tools/boardctl-export/child.h"

namespace exporter {

using Clock = std::chrono::steady_clock;

/// SIGTERM, SIGINT and SIGHUP are held back, and noted when the program waits.
void holdSignals();
[[nodiscard]] bool interrupted();
/// Waits until then, or until the program is interrupted.
void waitUntil(Clock::time_point end);

/// The process that runs the library, as the program sees it. Nothing that it sends is trusted.
class Process {
 public:
  enum class Event {
    frame,
    late,         ///< nothing within the time for an answer
    over,         ///< nothing before the end
    ended,        ///< the process has ended, or closed its end of the socket
    damaged,      ///< what it sent is no frame
    interrupted,  ///< the program was
  };

  Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  /// Returns an error number. There must be no process.
  int start(const Settings& settings);
  [[nodiscard]] bool exists() const { return id_ != 0; }
  [[nodiscard]] pid_t id() const { return id_; }

  /// Asks for devices. It must have answered everything before. If it has ended, `next` tells.
  void ask(const std::vector<Request>& requests);

  /// The next frame, within the time from this call, and before the end. `text` is valid until the
  /// next call.
  Event next(Clock::duration time, Clock::time_point end, Frame& frame, std::string_view& text);

  /// Lets it stop the manager for as long as that, and kills it then.
  void stop(std::chrono::milliseconds time);
  /// Whether it is gone: what waits in a device driver stays.
  bool kill();
  /// How it ended, in words; for one that is gone.
  [[nodiscard]] std::string end() const;

 private:
  bool reap(std::chrono::milliseconds time);
  bool takeFrame(Frame& frame, std::string_view& text);
  void look();

  Shared* shared_;
  pid_t id_ = 0;
  int socket_ = -1;
  int status_ = 0;
  std::size_t taken_ = 0;  ///< of what has been written
  bool full_ = false;
  bool ended_ = false;
  std::array<char, kLongestText> text_ = {};
};

}  // namespace exporter
