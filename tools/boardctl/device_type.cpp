#include "tools/boardctl/device_type.h"

#include "devmgr/device_type.h"

namespace boardctl {

int getDeviceType(std::string_view word) {
  for (const DeviceKind& kind : kDeviceKinds) {
    if (kind.word == word) return static_cast<int>(kind.type);
  }
  return static_cast<int>(DeviceType::unknown);
}

}  // namespace boardctl
