#pragma once

#include <cstdint>

#include "devmgr/logger.h"

namespace boardctl {

/// Levels of a line and the letters that they are written with. The debug level lies below the
/// information level, unlike in most systems. 0 and anything above 5 is written with an "O".
enum LogLevel : int {
  kLogPanic = 1,    ///< "P"
  kLogError = 2,    ///< "E"
  kLogWarning = 3,  ///< "W"
  kLogDebug = 4,    ///< "D"
  kLogInfo = 5,     ///< "I"
};

/// Added to a level: the line is written without its time stamp.
inline constexpr int kLogNoTimeStamp = 0x8000;

/// Longest message; what goes beyond is cut without notice.
inline constexpr std::size_t kLogMessageLength = 1023;

/// Whether a line of this level is to be written. Takes no lock and allocates nothing.
inline bool logPasses(const Logger& target, int level) noexcept {
  const std::string& text = target.levelText;
  return !text.empty() &&
         static_cast<std::uint8_t>(text[0] - '0') >= static_cast<std::uint8_t>(level);
}

/// Writes one line, "[" UTC date and time with nanoseconds "]", level letter, message, to the
/// output of `target`.
///
/// `level`: a `LogLevel` in its low 8 bits, optionally with `kLogNoTimeStamp`. A line above the
/// configured level costs one comparison. `format`: as for printf; it supplies its own newline.
/// A closed output drops the line. Raises `std::system_error` when the lock cannot be taken.
/// Threads: any; a line is written whole under the lock of `target`.
void logWrite(Logger& target, int level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// `logWrite` to the library's `logger` with the level test made in place, so that a line that is
/// filtered out costs a few instructions and does not evaluate its arguments. A macro because no
/// function hands on variable arguments whose format both compilers check.
#define BOARDCTL_LOG(LEVEL, ...)                                                       \
  (boardctl::logPasses(logger, LEVEL) ? boardctl::logWrite(logger, LEVEL, __VA_ARGS__) \
                                      : static_cast<void>(0))

}  // namespace boardctl
