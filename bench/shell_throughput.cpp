#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/row.h"
#include "cli/handlers.h"
#include "devmgr/properties.h"

/// What a line of the shell costs beside a bare loop that makes the same library call and writes
/// the same bytes, prompt by prompt, without reading or parsing anything.

namespace {

constexpr int kLines = 2'000;
constexpr int kRounds = 1'000;
constexpr const char* kProperty = "gpu.thermal.temperature.primaryGPU.extendedPrecision";

void bareLoop() {
  for (int line = 0; line < kLines; ++line) {
    std::fputs("> ", stdout);
    std::fflush(stdout);
    char value[kPropertyValueSize] = {};
    if (DeviceGetData(0, kProperty, 0, 0, value, sizeof value, 0, 0) != 0) std::abort();
    std::printf("Device[%s%d](%s) %s\n", "gpu", 0, kProperty, value);
  }
  std::fputs("> ", stdout);
  std::fflush(stdout);
}

void shell() {
  std::rewind(stdin);
  boardctl::runShell({});
  std::fflush(stdout);
}

/// Runs one round into a file and returns what it wrote.
std::string output(void (*work)()) {
  std::FILE* const file = std::tmpfile();
  std::fflush(stdout);
  const int before = dup(STDOUT_FILENO);
  dup2(fileno(file), STDOUT_FILENO);
  work();
  dup2(before, STDOUT_FILENO);
  close(before);
  std::string text(static_cast<std::size_t>(lseek(fileno(file), 0, SEEK_CUR)), '\0');
  lseek(fileno(file), 0, SEEK_SET);
  if (read(fileno(file), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    std::abort();
  }
  std::fclose(file);
  return text;
}

}  // namespace

int main() {
  std::FILE* const input = std::tmpfile();
  for (int line = 0; line < kLines; ++line) std::fprintf(input, "get gpu 0 %s\n", kProperty);
  std::fputs("quit\n", input);
  std::fflush(input);
  dup2(fileno(input), STDIN_FILENO);

  if (output(shell) != output(bareLoop)) {
    std::fputs("the shell and the bare loop write different bytes\n", stderr);
    return 1;
  }

  std::fflush(stdout);
  const int terminal = dup(STDOUT_FILENO);
  dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
  const bench::Pair best = bench::compare(kRounds, shell, bareLoop);
  dup2(terminal, STDOUT_FILENO);
  bench::row("shell line, vs. the bare loop", best.measured / kLines, best.baseline / kLines, "ns");
  return 0;
}
