#pragma once

#include <cstdint>

namespace boardctl {

/// How a command departs from the common start of the device manager.
struct StartRule {
  bool checksInit;       ///< a failed init ends the command with the library's code
  bool printsStartLine;  ///< "Starting GPU Manager..."
  bool waits;            ///< sleeps `startupWaitMs`
};

inline constexpr StartRule kStartForShell = {true, false, false};
inline constexpr StartRule kStartForList = {false, false, false};
inline constexpr StartRule kStartForGet = {true, true, true};
inline constexpr StartRule kStartForChange = {false, true, true};
inline constexpr StartRule kStartForRaw = {true, true, true};
inline constexpr StartRule kStartForCallback = {false, true, true};

/// A command's use of the device manager. Under the shell, which keeps the manager running, `start`
/// and `stop` do nothing. Nothing is stopped by destruction: several failure paths end the process
/// with the manager running. Main thread only.
class Manager {
 public:
  Manager();

  /// Returns 0 when the command may go on, else the code of a failed init, which has been reported
  /// on standard output.
  std::int32_t start(const StartRule& rule) const;
  void stop() const;

 private:
  bool owned_;
};

}  // namespace boardctl
