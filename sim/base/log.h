#pragma once

#include <optional>
#include <string_view>

#include "sim/base/used_files.h"

namespace sim {

/// The levels that the library logs at, with the letters of the line format.
enum class Level { error = 2, warning = 3, debug = 4 };

/// Whether lines of that level are kept at present. Costs one comparison.
bool isLogged(Level level);

/// Appends one line to `logger`: "[date time.nanoseconds]", the level's letter and the message, to
/// which the newline is added. Errors and warnings go to the operating system at once. The message
/// is written whole, with '?' for what is not printable. While the output is not open, errors go to
/// standard error and other lines are dropped. Threads: any.
void logLine(Level level, std::string_view message);

/// Opens a file, to which lines are appended, as the output of `logger`; 0 or a code. A file with
/// another use is refused, and the log stays what it was.
int openLogFile(const char* fileName, const UsedFiles& others);

/// The regular file that lines are appended to.
std::optional<FileId> logFile();

/// Sets the level, 0..5. Standard output becomes the output, in step with C stdio, unless a log
/// file was asked for.
int setLogLevel(int level);

/// Hands buffered lines to the operating system.
void flushLog();

}  // namespace sim
