#pragma once

#include <fstream>
#include <mutex>
#include <string>

#include "devmgr/api.h"

/// The part of the library's logging object that a writer of log lines uses, in this order. The
/// library's own object may be larger, so it must never be copied, created or assigned by anyone
/// else; take its address only.
struct Logger {
  /// Held while one line is written, so that lines never interleave.
  std::mutex lock;
  /// Where lines go. May be closed: lines are then dropped. Flushed by the library or by the
  /// stream's own buffering, never per line.
  std::ofstream output;
  /// The configured level as text; the first character is a digit from '0' to '5'. Empty means that
  /// nothing is logged. Read without the lock, so it must not change while other threads log.
  std::string levelText;
};

/// The process-wide logging object: created, configured and destroyed by the library, valid from
/// the library's initialisation until its destruction at process exit.
extern DEVMGR_API Logger logger;

inline constexpr int kHighestLogLevel = 5;

extern "C" {

/// Opens `fileName` as the output of `logger`.
///
/// `fileName`: NUL-terminated and not empty; the library keeps no reference to it. Whether an
/// existing file is cut or appended to is the library's decision.
/// Returns 0, or a library error code when the file cannot be opened; the tool ignores it.
/// Threads: main thread, before `GPUManagerInit`.
DEVMGR_API int GPUSetLogger(const char* fileName);

/// Sets the level up to which lines are logged.
///
/// `level`: 0 to `kHighestLogLevel`; the caller has checked it.
/// Returns 0 or a library error code; the tool ignores it.
/// Threads: main thread, before `GPUManagerInit`.
DEVMGR_API int GPUSetLogLevel(int level);

}  // extern "C"
