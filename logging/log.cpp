#include "logging/log.h"

#include <time.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace boardctl {
namespace {

char levelLetter(int level) {
  constexpr char kLetters[] = "OPEWDI";
  const auto index = static_cast<std::uint8_t>(level);
  return index < sizeof kLetters - 1 ? kLetters[index] : 'O';
}

/// Writes `value` right-aligned over the zeros of a field that ends before `end`.
void writeDigits(char* end, int value) {
  for (; value > 0; value /= 10) *--end = static_cast<char>('0' + value % 10);
}

constexpr char kTimeStamp[] = "[00/00/00 00:00:00.000000000]";
constexpr std::size_t kTimeStampLength = sizeof kTimeStamp - 1;

/// Writes "[" UTC date and time "]", what strftime calls "%D %T" and the nanoseconds.
void writeTimeStamp(char* buffer) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  tm utc = {};
  gmtime_r(&now.tv_sec, &utc);
  std::memcpy(buffer, kTimeStamp, kTimeStampLength);
  writeDigits(buffer + 3, utc.tm_mon + 1);
  writeDigits(buffer + 6, utc.tm_mday);
  writeDigits(buffer + 9, utc.tm_year % 100);
  writeDigits(buffer + 12, utc.tm_hour);
  writeDigits(buffer + 15, utc.tm_min);
  writeDigits(buffer + 18, utc.tm_sec);
  writeDigits(buffer + 28, static_cast<int>(now.tv_nsec));
}

}  // namespace

void logWrite(Logger& target, int level, const char* format, ...) {
  if (!logPasses(target, level)) return;

  const std::lock_guard guard(target.lock);
  if (!target.output.is_open()) return;

  char line[kTimeStampLength + 1 + kLogMessageLength + 1];
  std::size_t length = 0;
  if ((level & kLogNoTimeStamp) == 0) {
    writeTimeStamp(line);
    length = kTimeStampLength;
  }
  line[length++] = levelLetter(level);

  char* const message = line + length;
  va_list arguments;
  va_start(arguments, format);
  const int written = std::vsnprintf(message, kLogMessageLength + 1, format, arguments);
  va_end(arguments);
  if (written > 0) length += std::strlen(message);

  target.output.write(line, static_cast<std::streamsize>(length));
}

}  // namespace boardctl
