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

/// Writes "[" time "]" and returns the number of characters.
std::size_t writeTimeStamp(char* buffer, std::size_t size) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  tm utc = {};
  gmtime_r(&now.tv_sec, &utc);
  char text[100];
  if (std::strftime(text, sizeof text, "%D %T", &utc) == 0) text[0] = '\0';
  const int length =
      std::snprintf(buffer, size, "[%s.%09ld]", text, static_cast<long>(now.tv_nsec));
  return static_cast<std::size_t>(length);
}

}  // namespace

void logWrite(Logger& target, int level, const char* format, ...) {
  if (!logPasses(target, level)) return;

  const std::lock_guard guard(target.lock);
  if (!target.output.is_open()) return;

  char line[128 + 1 + kLogMessageLength + 1];
  std::size_t length = 0;
  if ((level & kLogNoTimeStamp) == 0) length = writeTimeStamp(line, 128);
  line[length++] = levelLetter(level);

  char* const message = line + length;
  message[0] = '\0';
  va_list arguments;
  va_start(arguments, format);
  const int written = std::vsnprintf(message, kLogMessageLength + 1, format, arguments);
  va_end(arguments);
  if (written > 0) length += std::strlen(message);

  target.output.write(line, static_cast<std::streamsize>(length));
}

}  // namespace boardctl
