#include <algorithm>

#include "cli/handlers.h"
#include "devmgr/properties.h"
#include "logging/log.h"
#include "tools/boardctl/device_type.h"
#include "tools/boardctl/log_lines.h"
#include "tools/boardctl/manager.h"
#include "tools/boardctl/output.h"

namespace boardctl {
namespace {

/// A request of `set` or `clear`.
struct ChangeRequest {
  int deviceId;
  const std::string& property;
  std::int32_t value;  ///< `set` only
};

/// What differs between `set` and `clear`.
struct Change {
  std::size_t wordsNeeded;
  std::string_view usage;
  const char* name;
  int entryLine;
  void (*logRequest)(const Change&, const ChangeRequest&);
  std::int32_t (*apply)(const ChangeRequest&);
  std::string_view failureText;
  std::string_view doneText;
};

constexpr Change kSet = {
    .wordsNeeded = 3,
    .usage = "set <devId> <propName> <propValue>",
    .name = "setGpuData",
    .entryLine = kSetEntryLine,
    .logRequest =
        [](const Change& change, const ChangeRequest& request) {
          BOARDCTL_LOG(kLogDebug, "[%s:%d][%s]: devId : %d, propName : %s, propValue : %d.\n",
                       __FILE__, kSetRequestLine, change.name, request.deviceId,
                       request.property.c_str(), request.value);
        },
    .apply =
        [](const ChangeRequest& request) {
          return DeviceSetData(request.deviceId, request.property.c_str(), &request.value,
                               sizeof request.value, 0);
        },
    .failureText = "Set failed, rc = 0x",
    .doneText = "Set done.\n",
};

constexpr Change kClear = {
    .wordsNeeded = 2,
    .usage = "clear <devId> <propName>",
    .name = "clearGpuData",
    .entryLine = kClearEntryLine,
    .logRequest =
        [](const Change& change, const ChangeRequest& request) {
          BOARDCTL_LOG(kLogDebug, "[%s:%d][%s]: gpuId : %d, propName : %s.\n", __FILE__,
                       kClearRequestLine, change.name, request.deviceId, request.property.c_str());
        },
    .apply =
        [](const ChangeRequest& request) {
          return DeviceClearData(request.deviceId, request.property.c_str(), 0);
        },
    .failureText = "Clear failed, rc = 0x",
    .doneText = "Clear done.\n",
};

std::int32_t changeProperty(const Change& change, const std::vector<std::string>& words) {
  BOARDCTL_LOG(kLogDebug, "[%s:%d][%s]: Entry().\n", __FILE__, change.entryLine, change.name);
  if (words.size() < change.wordsNeeded) {
    printMissingWords(change.usage);
    return -1;
  }
  const std::string& property = words[1];
  const ChangeRequest request = {std::stoi(words[0]), property,
                                 change.wordsNeeded > 2 ? std::stoi(words[2]) : 0};
  change.logRequest(change, request);

  const ManagerSession manager;
  manager.start(kStartForChange);

  const std::string_view kind = std::string_view(property).substr(0, property.find('.'));
  std::vector<std::string> names;
  std::vector<std::string> details;
  std::int32_t result = DeviceGetSupportedProperties(getDeviceType(kind), names, details);
  if (result != 0) {
    printDecimalCode("Get Properties list failed, rc = ", result, ".\n");
    return result;
  }
  if (std::find(names.begin(), names.end(), property) == names.end()) {
    print({"Property (", property, ") is not supported!\n"});
    return -1;
  }
  result = change.apply(request);
  if (result != 0) {
    printHexCode(change.failureText, result);
  } else {
    print(change.doneText);
  }
  manager.stop();
  return result;
}

}  // namespace

std::int32_t setGpuData(std::vector<std::string> words) { return changeProperty(kSet, words); }

std::int32_t clearGpuData(std::vector<std::string> words) { return changeProperty(kClear, words); }

}  // namespace boardctl
