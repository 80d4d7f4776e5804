#include "cli/output.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace boardctl {
namespace {

int outputError = 0;

void noteFailure() {
  if (outputError == 0) outputError = errno;
}

}  // namespace

void print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) noteFailure();
}

void printFormat(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vprintf(format, arguments);
  va_end(arguments);
  if (length < 0) noteFailure();
}

void flushOutput() {
  if (std::fflush(stdout) != 0) noteFailure();
}

void printNow(std::string_view text) {
  // Taken again by its owner, the lock costs little.
  flockfile(stdout);
  print(text);
  flushOutput();
  funlockfile(stdout);
}

int takeOutputError() { return std::exchange(outputError, 0); }

}  // namespace boardctl
