#pragma once

#include <cstdint>

namespace boardctl {

/// How a command departs from the common start of the device manager.
struct StartOptions {
  bool checksInit;       ///< a failed init ends the command with the library's code
  bool printsStartLine;  ///< "Starting GPU Manager..."
  bool waits;            ///< sleeps `startupWaitMs`
};

inline constexpr StartOptions kStartForShell = {
    .checksInit = true, .printsStartLine = false, .waits = false};
inline constexpr StartOptions kStartForList = {
    .checksInit = false, .printsStartLine = false, .waits = false};
inline constexpr StartOptions kStartForGet = {
    .checksInit = true, .printsStartLine = true, .waits = true};
inline constexpr StartOptions kStartForChange = {
    .checksInit = false, .printsStartLine = true, .waits = true};
inline constexpr StartOptions kStartForRaw = {
    .checksInit = true, .printsStartLine = true, .waits = true};
inline constexpr StartOptions kStartForCallback = {
    .checksInit = false, .printsStartLine = true, .waits = true};

/// A use of the device manager. Nothing is stopped by destruction: several failure paths end the
/// process with the manager running. Main thread only.
class ManagerSession {
 public:
  /// For a command: under the shell, which keeps the manager running, `start` and `stop` do
  /// nothing.
  ManagerSession();

  /// For the shell itself, which starts and stops the manager in any case.
  static ManagerSession forShell() { return ManagerSession(true); }

  /// Returns 0 when the command may go on, else the code of a failed init, which has been reported
  /// on standard output.
  std::int32_t start(const StartOptions& options) const;
  void stop() const;

 private:
  explicit ManagerSession(bool owned) : owned_(owned) {}

  bool owned_;
};

}  // namespace boardctl
