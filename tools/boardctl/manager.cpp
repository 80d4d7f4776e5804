#include "tools/boardctl/manager.h"

#include <time.h>

#include <cerrno>

#include "devmgr/manager.h"
#include "tools/boardctl/output.h"
#include "tools/boardctl/settings.h"

namespace boardctl {
namespace {

void waitForStartup() {
  if (startupWaitMs < 1) return;
  timespec left = {};
  left.tv_sec = startupWaitMs / 1000;
  left.tv_nsec = (startupWaitMs % 1000) * 1'000'000L;
  while (nanosleep(&left, &left) == -1 && errno == EINTR) {
  }
}

}  // namespace

ManagerSession::ManagerSession() : ManagerSession(!shellActive) {}

std::int32_t ManagerSession::start(const StartOptions& options) const {
  if (!owned_) return 0;
  const std::int32_t result =
      GPUManagerInit(manifestFile.c_str(), profileFile.c_str(), propertiesFile.c_str());
  if (result != 0 && options.checksInit) {
    print("GPU Manager Init failed!!\n");
    return result;
  }
  GPUManagerRun(0, 0);
  if (options.printsStartLine) print("Starting GPU Manager...\n");
  if (options.waits) waitForStartup();
  return 0;
}

void ManagerSession::stop() const {
  if (owned_) GPUManagerStop();
}

}  // namespace boardctl
