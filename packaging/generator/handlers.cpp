#include "cli/handlers.h"

#include <cstdlib>

#include "tools/boardctl/shell_commands.h"

/// The tables name handlers; here they are read, and no handler is ever run.
#define NEVER_RUN(handler) \
  std::int32_t handler(std::vector<std::string> /*words*/) { std::abort(); }

namespace boardctl {

NEVER_RUN(printUsage)
NEVER_RUN(setManifestFile)
NEVER_RUN(setProfileFile)
NEVER_RUN(setPropertiesFile)
NEVER_RUN(setLogLevel)
NEVER_RUN(setLogFile)
NEVER_RUN(listGpuProperties)
NEVER_RUN(getGpuData)
NEVER_RUN(setGpuData)
NEVER_RUN(clearGpuData)
NEVER_RUN(registerCallbackApi)
NEVER_RUN(rawData)
NEVER_RUN(rawSyncCmdData)
NEVER_RUN(rawAsyncCmdData)
NEVER_RUN(runShell)
NEVER_RUN(snapshotData)

}  // namespace boardctl
