#pragma once

#include <functional>

#include "tools/devmgr-check/report.h"

/// Where a process that runs the library is before it calls anything, and when it ends normally.
inline constexpr const char* kLoading = "its constructor";
inline constexpr const char* kEnding = "its destructor";

/// How long the library may take for one step and for all of them, in seconds.
inline constexpr int kStepSeconds = 60;
inline constexpr int kAllSeconds = 600;

/// Runs `work` in a process of its own, which then exits as a program does, and passes the rows of
/// its report on to `report` as they come. Unless that process has come to its proper end, a last
/// row says what happened and where. Returns within a bounded time whatever the process does; no
/// process of its group is left. What it prints goes to standard error. Raises
/// `std::system_error` when no process can be started, and passes on what `report` raises.
void runIsolated(const std::function<void(Report&)>& work, Report& report);

/// The part of it that the new process runs: `records` is the pipe to the parent. Ends the process.
[[noreturn]] void runWork(const std::function<void(Report&)>& work, int records) noexcept;

/// Both sides' agreement: a record is a line of a letter, a text, a tab and another text. The
/// letter is a `Verdict` or one of these.
inline constexpr char kPlaceRecord = '@';      ///< what begins now
inline constexpr char kExceptionRecord = '!';  ///< what() of what the library has thrown
inline constexpr char kOverflowRecord = '^';   ///< the stack has
/// The exit status of a process that has made its whole report, and of one that cannot report.
inline constexpr int kFinished = 167;
inline constexpr int kNoPipe = 168;
