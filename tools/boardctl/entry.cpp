#include "tools/boardctl/entry.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>

#include "cli/command_line.h"
#include "cli/handlers.h"
#include "cli/output.h"
#include "cli/registry.h"

namespace boardctl {
namespace {

/// Takes the place of each standard descriptor that is closed with one that fails when it is used.
/// A file opened later, such as the log, would get that place, and the tool would write into it.
void holdClosedDescriptors() {
  pollfd standard[] = {{STDIN_FILENO, 0, 0}, {STDOUT_FILENO, 0, 0}, {STDERR_FILENO, 0, 0}};
  if (poll(standard, std::size(standard), 0) < 1) return;
  for (const pollfd& entry : standard) {
    if ((entry.revents & POLLNVAL) == 0) continue;
    static_cast<void>(entry.fd == STDIN_FILENO ? open("/dev/null", O_WRONLY)
                                               : open("/dev/null", O_RDONLY));
  }
}

int runCommandLine(int argc, const char* const* argv) {
  try {
    CommandLine line(std::vector<std::string>(argv, argv + argc), optionRegistry);
    line.parse();
    return line.run();
  } catch (const std::exception& error) {
    // What a command has already printed belongs before the error, the usage after it.
    flushOutput();
    std::fprintf(stderr, "[E]%s\n", error.what());
    std::fflush(stderr);
  }
  try {
    printUsage({});
  } catch (const std::exception&) {
    // The error has been reported; the memory that its usage text needs is not there.
  }
  return 0;
}

}  // namespace

int runTool(int argc, const char* const* argv) {
  holdClosedDescriptors();
  const int status = runCommandLine(argc, argv);
  flushOutput();
  if (const int error = takeOutputError(); error != 0) {
    std::fprintf(stderr, "boardctl: standard output: %s\n", std::strerror(error));
  }
  return status;
}

}  // namespace boardctl
