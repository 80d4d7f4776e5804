#include "sim/base/log.h"

#include <ext/stdio_sync_filebuf.h>
#include <time.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include "devmgr/logger.h"
#include "sim/base/codes.h"
#include "sim/base/text.h"

Logger logger;

namespace sim {
namespace {

/// Set up before anybody else logs, and torn down after: the default level, and the buffer through
/// which lines reach standard output without overtaking what the process prints with stdio.
struct LogSetup {
  LogSetup() { logger.levelText.assign(1, '3'); }
  __gnu_cxx::stdio_sync_filebuf<char> standardOutput{stdout};
  bool fileWanted = false;
  std::optional<FileId> file;
};

LogSetup& setup() {
  // Never destroyed: `logger` may write through the buffer until the process ends.
  static auto* const instance = new LogSetup;
  return *instance;
}

[[maybe_unused]] const LogSetup& eagerSetup = setup();

// The stream's own buffer decides whether the stream counts as open, the buffer of its base where
// the text goes.
std::ostream& base() { return logger.output; }

std::string stamp() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm utc{};
  const time_t seconds = now.tv_sec;
  gmtime_r(&seconds, &utc);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "[%02d/%02d/%02d %02d:%02d:%02d.%09d]", utc.tm_mon + 1,
                utc.tm_mday, utc.tm_year % 100, utc.tm_hour, utc.tm_min, utc.tm_sec,
                static_cast<int>(now.tv_nsec));
  return text.data();
}

char letterOf(Level level) {
  constexpr std::array<char, 6> kLetters{'O', 'P', 'E', 'W', 'D', 'I'};
  return kLetters[static_cast<std::size_t>(level)];
}

}  // namespace

bool isLogged(Level level) {
  return !logger.levelText.empty() && logger.levelText.front() - '0' >= static_cast<int>(level);
}

void logLine(Level level, std::string_view message) {
  if (!isLogged(level)) return;
  std::string line = stamp();
  line += letterOf(level) + printable(message) + '\n';
  const std::lock_guard lock(logger.lock);
  if (logger.output.is_open()) {
    logger.output << line;
    if (level <= Level::warning) base().flush();
  } else if (level == Level::error) {
    std::fputs(line.c_str(), stderr);
  }
}

int openLogFile(const char* fileName, const UsedFiles& others) {
  if (fileName == nullptr || *fileName == '\0') return kBadArgument;
  const std::string name = fileName;
  if (const std::string_view use = others.useOf(fileNamed(fileName)); !use.empty()) {
    logLine(Level::error, name + ": is " + std::string(use) + "; the log needs a file of its own");
    return kCannotOpen;
  }
  {
    const std::lock_guard lock(logger.lock);
    setup().fileWanted = true;
    if (logger.output.is_open()) logger.output.close();
    logger.output.clear();
    base().rdbuf(logger.output.rdbuf());
    errno = 0;
    logger.output.open(name, std::ios::app);
    setup().file = logger.output.is_open() ? fileNamed(fileName) : std::nullopt;
    if (logger.output.is_open()) return kOk;
  }
  logLine(Level::error, name + ": cannot be opened as the log file: " + std::strerror(errno));
  return kCannotOpen;
}

std::optional<FileId> logFile() {
  const std::lock_guard lock(logger.lock);
  return setup().file;
}

int setLogLevel(int level) {
  if (level < 0 || level > 5) return kBadArgument;
  const std::lock_guard lock(logger.lock);
  logger.levelText.assign(1, static_cast<char>('0' + level));
  if (!setup().fileWanted && !logger.output.is_open()) {
    logger.output.open("/dev/null", std::ios::app);
    base().rdbuf(&setup().standardOutput);
  }
  return kOk;
}

void flushLog() {
  const std::lock_guard lock(logger.lock);
  if (logger.output.is_open()) base().flush();
}

}  // namespace sim
