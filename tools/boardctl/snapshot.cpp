#include "devmgr/properties.h"
#include "tools/boardctl/output.h"
#include "tools/boardctl/shell_commands.h"

namespace boardctl {

std::int32_t snapshotData(std::vector<std::string> words) {
  if (words.empty()) {
    printMissingWords("possible params: refresh_status");
    return -1;
  }
  if (words[0] == "refresh_status") {
    bool running = false;
    SnapShotRefreshStatus(&running);
    print({"Snapshot Refresh Status: ", running ? "1" : "0", "\n"});
    flushOutput();
  }
  return 0;
}

}  // namespace boardctl
