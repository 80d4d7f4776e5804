#include "tools/boardctl/settings.h"

namespace boardctl {

std::string manifestFile;
std::string profileFile;
std::string propertiesFile;
bool shellActive = false;
std::int32_t startupWaitMs = 6000;

}  // namespace boardctl
