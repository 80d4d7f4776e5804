#include "tools/boardctl/entry.h"

#include <cstdio>
#include <exception>

#include "cli/command_line.h"
#include "cli/handlers.h"
#include "cli/registry.h"

namespace boardctl {

int runTool(int argc, const char* const* argv) {
  try {
    CommandLine line(std::vector<std::string>(argv, argv + argc), optionRegistry);
    line.parse();
    return line.run();
  } catch (const std::exception& error) {
    // What a command has already printed belongs before the error, the usage after it.
    std::fflush(stdout);
    std::fprintf(stderr, "[E]%s\n", error.what());
    std::fflush(stderr);
    printUsage({});
    return 0;
  }
}

}  // namespace boardctl
